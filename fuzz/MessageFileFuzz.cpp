#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include <qx/core/String.h>
#include <qx/i18n/MessageFile.h>

using qx::String;
using qx::i18n::MessageFile;

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

/// The part as a file can have it, every unit that could mean something else as an escape.
std::string escaped(const String& part) {
    std::u16string text;
    for (const char16_t unit : part.view()) {
        switch (unit) {
        case u'\n':
            text += u"\\n";
            break;
        case u'\r':
            text += u"\\r";
            break;
        case u'\t':
            text += u"\\t";
            break;
        case u'\\':
        case u'=':
        case u'#':
        case u' ':
            text += u'\\';
            text += unit;
            break;
        default:
            if (unit < 0x20 || unit == 0x7F) {
                text += u"\\u00";
                text += u"01234567"[unit >> 4];
                text += u"0123456789ABCDEF"[unit & 0xF];
            } else {
                text += unit;
            }
        }
    }
    return String(text).toUtf8();
}

} // namespace

/// Messages written down read as they were; mistakes lie within the file and in order.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const MessageFile file(bytes);
    const auto lines = static_cast<int32_t>(std::count(bytes.begin(), bytes.end(), '\n')) + 1;
    int32_t last = 1;
    for (const auto& [line, reason] : file.mistakes()) {
        require(line >= 1 && line <= lines && !reason.isEmpty());
    }
    require(file.mistakes().size() <= size_t{MessageFile::MostMistakes} + 2);

    std::string written = "\n"; // a key may begin with what is a byte order mark in front
    for (const auto& [key, text, line] : file.messages()) {
        require(line >= last && line <= lines);
        last = line + 1; // one message a line
        require(!key.isEmpty() && !key.contains(u'\0') && !text.contains(u'\0'));
        written += escaped(key) + '=' + escaped(text) + '\n';
    }
    const MessageFile again(written);
    require(again.mistakes().empty() && again.messages().size() == file.messages().size());
    for (size_t i = 0; i < again.messages().size(); ++i) {
        require(again.messages()[i].key == file.messages()[i].key);
        require(again.messages()[i].text == file.messages()[i].text);
    }
    return 0;
}
