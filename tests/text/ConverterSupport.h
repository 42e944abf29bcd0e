#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qx/text/charset/ByteToCharConverter.h>
#include <qx/text/charset/CharToByteConverter.h>
#include <qx/text/charset/Surrogates.h>

/// Converters driven the way readers and writers drive them.
namespace qxtest {

using Bytes = std::string;
using Units = std::u16string;

inline Units unitsOf(char32_t codePoint) {
    char16_t units[2];
    return {units, qx::text::charset::writeUtf16(codePoint, units)};
}

/// Converts @p input through outputs of @p capacity units each, handing over at most @p piece units
/// at a time, until nothing moves any more. What stays unconsumed goes to @p rest.
template <class OutString, class InString>
OutString convertPieces(auto& converter, const InString& input, size_t piece, size_t capacity,
                        InString* rest = nullptr) {
    using RawIn = std::conditional_t<std::is_same_v<InString, Bytes>, signed char, char16_t>;
    using RawOut = std::conditional_t<std::is_same_v<OutString, Bytes>, signed char, char16_t>;
    using Out = typename OutString::value_type;
    OutString result;
    const auto size = static_cast<int32_t>(input.size());
    const auto* const in = reinterpret_cast<const RawIn*>(input.data());
    int32_t position = 0;
    int32_t end = 0;
    constexpr auto Guard = static_cast<RawOut>(0xA5C3);
    std::vector<RawOut> out(capacity + 1, Guard);
    for (;;) {
        const int32_t before = position;
        int32_t produced = 0;
        converter.convert(in, &position, end, out.data(), &produced,
                          static_cast<int32_t>(capacity));
        EXPECT_TRUE(out.back() == Guard && position <= end) << "outside the buffers";
        result.append(reinterpret_cast<const Out*>(out.data()), static_cast<size_t>(produced));
        if (position != before || produced != 0)
            continue;
        if (end == size)
            break;
        end = std::min(size, end + static_cast<int32_t>(piece));
    }
    if (rest)
        *rest = input.substr(static_cast<size_t>(position));
    return result;
}

inline auto decoderOf(const char16_t* name) {
    using qx::text::charset::ByteToCharConverter;
    return qx::Reference<ByteToCharConverter>(ByteToCharConverter::getConverter(name));
}
inline auto encoderOf(const char16_t* name) {
    using qx::text::charset::CharToByteConverter;
    return qx::Reference<CharToByteConverter>(CharToByteConverter::getConverter(name));
}

/// One call with room for everything.
inline Units decode(qx::text::charset::ByteToCharConverter& decoder, const Bytes& bytes) {
    return convertPieces<Units>(decoder, bytes, bytes.size() + 1, 4 * bytes.size() + 16);
}

inline Bytes encode(qx::text::charset::CharToByteConverter& encoder, const Units& units) {
    return convertPieces<Bytes>(encoder, units, units.size() + 1, 8 * units.size() + 16);
}

/// The whole text through outputs of @p room bytes, and what ends it.
inline Bytes encodeWhole(qx::text::charset::CharToByteConverter& encoder, const Units& units,
                         size_t piece, size_t room) {
    encoder.reset();
    Bytes bytes = convertPieces<Bytes>(encoder, units, piece, room);
    signed char end[16];
    int32_t count = 0;
    EXPECT_EQ(encoder.flush(end, &count, sizeof end), count);
    return bytes.append(reinterpret_cast<const char*>(end), static_cast<size_t>(count));
}

} // namespace qxtest
