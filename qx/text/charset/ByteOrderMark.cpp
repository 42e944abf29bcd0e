#include "qx/text/charset/ByteOrderMark.h"

#include <algorithm>
#include <bit>
#include <string_view>

namespace qx::text::charset {

namespace {

using namespace std::string_view_literals;

constexpr struct {
    std::string_view bytes;
    const char16_t* encoding;
} Marks[] = {
    {"\xFF\xFE\0\0"sv, u"UTF-32LE"}, // before the one that it begins with
    {"\0\0\xFE\xFF"sv, u"UTF-32BE"}, {"\xEF\xBB\xBF"sv, u"UTF-8"},
    {"\xFF\xFE"sv, u"UTF-16LE"},     {"\xFE\xFF"sv, u"UTF-16BE"},
};

constexpr bool IsLittle = std::endian::native == std::endian::little;

constexpr MarkedEncoding Encodings[] = {
    {u"UTF-16", u"UTF-16BE", IsLittle ? u"UTF-16LE" : u"UTF-16BE", 4},
    {u"UTF-32", u"UTF-32BE", IsLittle ? u"UTF-32LE" : u"UTF-32BE", 8},
    {u"UTF-8-SIG", u"UTF-8", u"UTF-8", 6},
};

/// A mark among those of the encodings whose names begin with @p kind.
ByteOrderMark findMark(std::string_view text, std::u16string_view kind) {
    ByteOrderMark found;
    for (const auto& mark : Marks) {
        if (!std::u16string_view(mark.encoding).starts_with(kind))
            continue;
        if (text.starts_with(mark.bytes) && !found.encoding) {
            found.encoding = mark.encoding;
            found.length = static_cast<int32_t>(mark.bytes.size());
        } else if (mark.bytes.starts_with(text)) {
            found.isOpen = true;
        }
    }
    return found;
}

std::string_view textOf(const signed char* bytes, int32_t count) {
    return {reinterpret_cast<const char*>(bytes), static_cast<size_t>(std::max(count, 0))};
}

} // namespace

ByteOrderMark findByteOrderMark(const signed char* bytes, int32_t count) {
    return findMark(textOf(bytes, count), {});
}

std::span<const MarkedEncoding> markedEncodings() { return Encodings; }

BTCMarked::BTCMarked(const MarkedEncoding& encoding)
    : ByteToCharConverter({encoding.name, encoding.maxBytesPerChar, 4}), m_encoding(encoding) {}

int32_t BTCMarked::convert(const signed char* in, int32_t* inPosition, int32_t inLength,
                           char16_t* out, int32_t* outPosition, int32_t outCapacity) {
    if (m_converter) {
        m_converter->setSubstitutionMode(getSubstitutionMode());
        m_converter->setSubstitutionChars(substitution().data(),
                                          static_cast<int32_t>(substitution().size()));
        return m_converter->convert(in, inPosition, inLength, out, outPosition, outCapacity);
    }
    // The kind of UTF-8-SIG is UTF-8.
    const std::u16string_view kind = std::u16string_view(m_encoding.unmarked).substr(0, 6);
    const ByteOrderMark mark = findMark(textOf(in + *inPosition, inLength - *inPosition), kind);
    if (inLength <= *inPosition || (mark.isOpen && !mark.encoding))
        return 0;
    m_converter =
        ByteToCharConverter::getConverter(mark.encoding ? mark.encoding : m_encoding.unmarked);
    int32_t position = *inPosition + mark.length;
    try {
        const int32_t written =
            BTCMarked::convert(in, &position, inLength, out, outPosition, outCapacity);
        *inPosition = position;
        return written;
    } catch (...) {
        m_converter.reset();
        throw;
    }
}

int32_t BTCMarked::flush(char16_t* out, int32_t* outPosition, int32_t outCapacity) {
    return m_converter ? m_converter->flush(out, outPosition, outCapacity) : 0;
}

void BTCMarked::reset() { m_converter.reset(); }

CTBMarked::CTBMarked(const MarkedEncoding& encoding)
    : CharToByteConverter({encoding.name, encoding.maxBytesPerChar, 4}),
      m_converter(CharToByteConverter::getConverter(encoding.written)) {}

int32_t CTBMarked::convert(const char16_t* in, int32_t* inPosition, int32_t inLength,
                           signed char* out, int32_t* outPosition, int32_t outCapacity) {
    m_converter->setSubstitutionMode(getSubstitutionMode());
    m_converter->setReplaceHalves(replacesHalves());
    if (m_hasBegun || *inPosition >= inLength)
        return m_converter->convert(in, inPosition, inLength, out, outPosition, outCapacity);
    constexpr char16_t Mark = 0xFEFF;
    int32_t read = 0;
    int32_t end = *outPosition;
    m_converter->convert(&Mark, &read, 1, out, &end, outCapacity);
    if (read == 0)
        return 0;
    const int32_t start = *outPosition;
    m_converter->convert(in, inPosition, inLength, out, &end, outCapacity);
    m_hasBegun = true;
    *outPosition = end;
    return end - start;
}

int32_t CTBMarked::flush(signed char* out, int32_t* outPosition, int32_t outCapacity) {
    m_converter->setReplaceHalves(replacesHalves());
    return m_converter->flush(out, outPosition, outCapacity);
}

void CTBMarked::reset() {
    m_converter->reset();
    m_hasBegun = false;
}

} // namespace qx::text::charset
