#include "Source.h"

#include <cstdint>
#include <cstdio>
#include <string_view>

#include <qx/text/charset/Surrogates.h>

using qx::String;

namespace charset = qx::text::charset;

namespace {

constexpr char Beginning[] = R"(// Made by qxbundle compile.

#include <cstdint>

#include <qx/i18n/BundleFactory.h>
#include <qx/pcom/ModuleExports.h>

namespace {

using qx::i18n::CompiledBundle;
using qx::i18n::CompiledText;
)";

template <class... Numbers>
std::string formatted(const char* format, Numbers... numbers) {
    char text[128];
    std::snprintf(text, sizeof text, format, static_cast<unsigned>(numbers)...);
    return text;
}

/// One character of a literal; what is not ASCII is written so that the encoding of the source
/// does not matter.
std::string literalCharacter(char32_t character) {
    switch (character) {
    case U'\n':
        return "\\n";
    case U'"':
    case U'\\':
    case U'?': // two of them and another character would be one
        return {'\\', static_cast<char>(character)};
    default:
        if (character < 0x20 || character == 0x7F)
            return formatted("\\%03o", character); // of a fixed length, unlike "\x"
        if (character < 0x7F)
            return {static_cast<char>(character)};
        return formatted(character < 0x10000 ? "\\u%04X" : "\\U%08X", character);
    }
}

/// Pairs are whole in what is read from message files.
std::string literal(const String& text) {
    std::string result = "u\"";
    const std::u16string_view units = text.view();
    for (size_t i = 0; i < units.size(); ++i) {
        char32_t character = units[i];
        if (charset::isHighSurrogate(character) && i + 1 < units.size()) {
            character = charset::joinSurrogates(units[i], units[i + 1]);
            ++i;
        }
        result += literalCharacter(character);
    }
    return result + '"';
}

std::string textsOf(const NamedMessages& each, const std::string& number) {
    std::string text = "\nconstexpr CompiledText s_texts" + number + "[] = {\n";
    for (const auto& message : each.file.messages())
        text += "    {" + literal(message.key) + ", " + literal(message.text) + "},\n";
    return text + "};\n";
}

std::string bundleOf(const NamedMessages& each, const std::string& number,
                     const std::string& parent) {
    const size_t count = each.file.messages().size();
    return "constexpr CompiledBundle s_bundle" + number + "{" + literal(each.name.localeName) +
           ", " + (count ? "s_texts" + number : "nullptr") + ", " + std::to_string(count) + ", " +
           parent + "};\n";
}

std::string classOf(const NamedMessages& each, const std::string& number) {
    const qx::GUID id = each.name.classId();
    std::string text = "constexpr qx::GUID s_class" + number +
                       formatted("{0x%08X, 0x%04X, 0x%04X, {", id.Data1, id.Data2, id.Data3);
    const char* separator = "";
    for (const uint8_t byte : id.Data4) {
        text += separator + formatted("0x%02X", byte);
        separator = ", ";
    }
    return text + "}};\n" + "const char16_t* nameOf" + number + "() { return " +
           literal(each.name.componentName()) + "; }\n";
}

std::string rowOf(const std::string& number) {
    return "    {&s_class" + number + ", reinterpret_cast<uintptr_t>(&s_bundle" + number +
           "),\n     &qx::i18n::createBundleFactory, &nameOf" + number +
           ", nullptr, nullptr, nullptr},\n";
}

} // namespace

std::string moduleSource(const std::vector<NamedMessages>& set) {
    std::string source = Beginning;
    std::string rows;
    for (size_t i = 0; i < set.size(); ++i) {
        const NamedMessages& each = set[i];
        const std::string number = std::to_string(i);
        const NamedMessages* const general = generalOf(set, each);
        if (!each.file.messages().empty())
            source += textsOf(each, number);
        source += bundleOf(
            each, number, general ? "&s_bundle" + std::to_string(general - set.data()) : "nullptr");
        source += classOf(each, number);
        rows += rowOf(number);
    }
    return source + "\nqx::pcom::ClassData s_classes[] = {\n" + rows +
           "    {},\n};\n\n} // namespace\n\nQX_DEFINE_MODULE(s_classes);\n";
}
