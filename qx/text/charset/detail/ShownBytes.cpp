#include "qx/text/charset/detail/ShownBytes.h"

#include <algorithm>

#include <qx/platform/detail/HexDigits.h>
#include <qx/text/charset/EncodingException.h>

namespace qx::text::charset::detail {

String shownBytes(std::string_view bytes) {
    String text;
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        if (code >= 0x20 && code < 0x7F) {
            text += static_cast<char16_t>(code);
            continue;
        }
        char16_t escape[] = u"\\x__";
        qx::platform::writeHex<2>(code, escape + 2);
        text += escape;
    }
    return text;
}

void throwMalformedUtf8(std::string_view text, size_t at) {
    constexpr size_t Around = 24;
    const size_t from = at - std::min(at, Around);
    const std::string_view shown = text.substr(from, 2 * Around);
    throw InvalidCharacterException(u"malformed UTF-8 at byte " + String::valueOf(at) +
                                    (from > 0 ? u": \"..." : u": \"") + shownBytes(shown) +
                                    (from + shown.size() < text.size() ? u"...\"" : u"\""));
}

} // namespace qx::text::charset::detail
