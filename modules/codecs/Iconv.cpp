#include "Iconv.h"

#include <iterator>

#include <qx/core/Result.h>
#include <qx/core/String.h>

namespace qx::codecs {

Iconv::Iconv(const char* to, const char* from) {
    throwIfFailedOf(QXConverterOpen(to, from, m_converter.put()),
                    [&] { return String::fromUtf8(std::string(from).append(" to ").append(to)); });
}

Iconv::Outcome Iconv::decode(std::string_view bytes, char32_t* first, char32_t* second) {
    char32_t points[Room / sizeof(char32_t)] = {};
    int32_t written = Room;
    const int32_t result = QXConverterRun(m_converter.get(), bytes.data(),
                                          static_cast<int32_t>(bytes.size()), points, &written, 1);
    *first = points[0];
    *second = points[1];
    if (result == result::EndOfFile)
        return Outcome::Incomplete;
    constexpr int32_t One = sizeof(char32_t);
    return result >= 0 && (written == One || written == 2 * One) ? Outcome::Converted
                                                                 : Outcome::Invalid;
}

std::string_view Iconv::encode(std::u32string_view text, bool isWhole) {
    int32_t written = Room;
    const auto size = static_cast<int32_t>(text.size() * sizeof(char32_t));
    if (QXConverterRun(m_converter.get(), text.data(), size, m_bytes, &written, isWhole) < 0)
        return {};
    return {m_bytes, static_cast<std::size_t>(written)};
}

} // namespace qx::codecs
