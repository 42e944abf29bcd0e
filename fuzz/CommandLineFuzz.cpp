// Command lines of every form: whatever is in them, the elements, positions and look-ups agree, and
// the legacy parser tells the same.

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/platform/result.h>
#include <qx/util/config/CmdLineParser.h>
#include <qx/util/config/CommandLineParser.h>

using qx::String;
using qx::util::CommandLineParser;

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

template <class Parser>
Parser makeParser() {
    Parser parser;
    parser.defineOption(u"a", 1, u"x,\"y z\"");
    parser.defineOption(u"B", 2);
    parser.defineOption(u"", 3, u"");
    return parser;
}

/// Everything that the getters tell, as text.
template <class Parser>
std::u16string told(const Parser& parser) {
    std::u16string text;
    int32_t parameters = 0;
    for (int32_t i = 0; i < parser.getElementCount(); ++i) {
        const auto element = parser.getElement(i);
        require(element->getPosition() == i);
        const bool isParameter =
            parameters < parser.getParameterCount() && parser.getParameter(parameters) == element;
        parameters += isParameter ? 1 : 0;
        require(isParameter || parser.isPresent(element->getName()));
        require(isParameter || parser.getOption(element->getName())->getPosition() >= i);
        text += element->getName().view();
        for (int32_t v = 0; v < element->getValueCount(); ++v) {
            text += u'\0';
            text += element->getValueString(v).view();
        }
        text += u'\1';
    }
    require(parameters == parser.getParameterCount());
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const bool ignoreCase = data[0] & 1;
    std::u16string line(data + 1, data + size);
    for (char16_t& unit : line)
        unit = unit == 0 ? u'A' : unit; // ends the line of the legacy parser

    auto parser = makeParser<CommandLineParser>();
    parser.setIgnoreCase(ignoreCase);
    parser.parse(String(std::u16string_view(line)));
    auto legacy = makeParser<CQXCmdLineParser>();
    legacy.setIgnoreCase(ignoreCase);
    legacy.parse(line.c_str());
    require(told(parser) == told(legacy));
    parser.findMistake();
    parser.setIgnoreCase(!ignoreCase);
    told(parser);

    // The same bytes as arguments, cut at line feeds.
    std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    std::vector<const char*> arguments{bytes.c_str()};
    for (char& byte : bytes)
        if (byte == '\n') {
            byte = '\0';
            arguments.push_back(&byte + 1);
        }
    const auto count = static_cast<int>(arguments.size());
    const std::u16string before = told(parser);
    try {
        parser.parse(count, arguments.data());
        told(parser);
        parser.parseArguments(count, arguments.data());
        told(parser);
    } catch (const qx::Exception& refusal) { // of an argument that is no text
        require(refusal.getResult() == qx::result::UnmappableCharacter);
        require(told(parser) == before);
    }
    return 0;
}
