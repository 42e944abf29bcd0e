#include <memory>
#include <random>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/text/charset/AMP7.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/SingleByte.h>
#include <qx/text/charset/UTF16.h>
#include <qx/text/charset/UTF32.h>
#include <qx/text/charset/UTF8.h>

#include "tests/text/ConverterSupport.h"

namespace {

using namespace qx;
using namespace qx::text::charset;
using namespace std::string_literals;
using namespace qxtest;

Units allOfUnicode(char32_t last) {
    Units units;
    for (char32_t value = 0; value <= last; ++value) {
        char16_t pair[2];
        if (!isSurrogate(value))
            units.append(pair, writeUtf16(value, pair));
    }
    return units;
}

template <class Decoder, class Encoder>
struct Pair {
    using Decode = Decoder;
    using Encode = Encoder;
};

template <class Pair>
class UnicodeConverter : public testing::Test {
protected:
    typename Pair::Decode m_decoder;
    typename Pair::Encode m_encoder;
};

using Pairs = testing::Types<Pair<BTCUTF8, CTBUTF8>, Pair<BTCUTF16LE, CTBUTF16LE>,
                             Pair<BTCUTF16BE, CTBUTF16BE>, Pair<BTCUTF32LE, CTBUTF32LE>,
                             Pair<BTCUTF32BE, CTBUTF32BE>, Pair<BTCAMP7, CTBAMP7>>;
TYPED_TEST_SUITE(UnicodeConverter, Pairs);

TYPED_TEST(UnicodeConverter, CarriesAllOfUnicodeAndBack) {
    constexpr bool isAmp7 = std::is_same_v<typename TypeParam::Encode, CTBAMP7>;
    Units units = allOfUnicode(isAmp7 ? 0xFFFFF : LastCodePoint);
    if constexpr (isAmp7)
        units.erase(units.find(ReplacementCharacter), 1); // its escape counts as invalid
    if constexpr (std::is_same_v<typename TypeParam::Decode, BTCUTF8>)
        this->m_decoder.setStrict(true); // an over-long form would read back as well
    const Bytes bytes = encode(this->m_encoder, units);
    EXPECT_TRUE(decode(this->m_decoder, bytes) == units);
    // Through the buffers of a reader: pieces and outputs that end anywhere.
    EXPECT_TRUE(convertPieces<Units>(this->m_decoder, bytes, 997, 1021) == units);
    EXPECT_TRUE(convertPieces<Bytes>(this->m_encoder, units, 1013, 991) == bytes);
}

TYPED_TEST(UnicodeConverter, GivesTheSameInPiecesOfEverySize) {
    const Units units = u"a&é€😀\uFFFF\u0000z\"𝔘𝔘\u07FF\u0800tail of plain text, long enough"s;
    const Bytes bytes = encode(this->m_encoder, units);
    for (size_t piece = 1; piece <= 9; ++piece) {
        for (size_t capacity : {2u, 3u, 8u, 9u, 33u, 64u}) {
            SCOPED_TRACE(testing::Message() << "piece " << piece << ", capacity " << capacity);
            EXPECT_EQ(convertPieces<Units>(this->m_decoder, bytes, piece, capacity), units);
            if (capacity >= 8) {
                EXPECT_EQ(convertPieces<Bytes>(this->m_encoder, units, piece, capacity), bytes);
            }
        }
    }
}

/// The encoders that hold a high surrogate back between calls.
struct HoldingEncoder {
    CharToByteConverter* (*make)();
    Bytes pair;         // of U+1F600
    Bytes low;          // of U+DE00 alone; empty when that throws
    bool isKeptByFlush; // until reset
};

template <class Encoder>
HoldingEncoder holding(const Bytes& pair, const Bytes& low, bool isKeptByFlush) {
    return {[]() -> CharToByteConverter* { return new Encoder(); }, pair, low, isKeptByFlush};
}

const HoldingEncoder holdingEncoders[] = {
    holding<CTBUTF8>("\xF0\x9F\x98\x80", "\xED\xB8\x80", false),
    holding<CTBUTF32LE>("\0\xF6\1\0"s, "\0\xDE\0\0"s, false),
    holding<CTBUTF32BE>("\0\1\xF6\0"s, "\0\0\xDE\0"s, false),
    holding<CTBCP437>("?", "", true),
    holding<CTBISO8859_1>("?", "", true),
};

TEST(HoldingEncoders, CompleteAPairInALaterCallAndRefuseHalfOfOne) {
    for (const HoldingEncoder& row : holdingEncoders) {
        SCOPED_TRACE(&row - holdingEncoders);
        const Reference<CharToByteConverter> encoder(row.make());
        signed char out[512];
        int32_t consumed = 0;
        const auto bytes = [&](size_t count) {
            return Bytes(reinterpret_cast<const char*>(out), count);
        };
        const auto convert = [&](const Units& units, int32_t capacity = 512) {
            int32_t produced = consumed = 0;
            encoder->convert(units.data(), &consumed, static_cast<int32_t>(units.size()), out,
                             &produced, capacity);
            return bytes(static_cast<size_t>(produced));
        };
        const auto flush = [&] {
            int32_t produced = 0;
            return encoder->flush(out, &produced, 8);
        };
        const auto room = static_cast<int32_t>(row.pair.size());
        EXPECT_EQ(convert(u"\xD83D"), "");
        EXPECT_EQ(convert(u"\xDE00", room - 1), "");
        EXPECT_EQ(consumed, 0);
        EXPECT_EQ(convert(u"\xDE00", room), row.pair);
        EXPECT_EQ(flush(), 0);
        convert(u"\xD83D");
        EXPECT_THROW(flush(), InvalidCharacterException);
        if (row.isKeptByFlush) {
            EXPECT_EQ(convert(u"\xDE00"), row.pair);
        }
        EXPECT_EQ(flush(), 0);
        convert(u"\xD83D");
        encoder->reset();
        EXPECT_EQ(flush(), 0);

        const Bytes plain = convert(u"plain "),
                    around = convert(u"and behind it, for a wide step or two");
        const auto refused = [&](const Units& units, const char16_t* description) {
            expectThrows<InvalidCharacterException>(description, [&] { convert(units); });
            EXPECT_EQ(consumed, 0);
            encoder->reset();
        };
        refused(u"\xD800\x0041"s, u"leading surrogate without trailing");
        refused(u"\xD800\xD800"s, u"leading surrogate without trailing");
        refused(u"plain \xDBFF\xE000"s, u"leading surrogate without trailing");
        EXPECT_EQ(bytes(plain.size()), plain) << "written in front of the fault";
        const Units low = u"plain \xDE00 and behind it, for a wide step or two"s;
        if (row.low.empty()) {
            refused(low, u"trailing surrogate without leading");
        } else {
            EXPECT_EQ(convert(low), plain + row.low + convert(u" ") + around);
        }
    }
}

TEST(Utf8Encoder, TakesAHighSurrogateEvenWithoutRoom) {
    CTBUTF8 encoder;
    int32_t consumed = 0;
    int32_t produced = 0;
    encoder.convert(u"\xD83D\xDE00", &consumed, 2, nullptr, &produced, 0);
    EXPECT_EQ(consumed, 1);
    signed char out[4];
    encoder.convert(u"\xDE00", &(consumed = 0), 1, out, &produced, 4);
    EXPECT_EQ(Bytes(reinterpret_cast<char*>(out), 4), "\xF0\x9F\x98\x80");
}

TEST(Utf32Encoder, LeavesAHighSurrogateWithoutRoom) {
    CTBUTF32LE encoder;
    signed char out[4];
    int32_t consumed = 0;
    int32_t produced = 0;
    encoder.convert(u"\xD83D\xDE00", &consumed, 2, out, &produced, 3);
    EXPECT_EQ(consumed, 0);
}

TEST(Utf8DecoderEdges, SaysWhatItThrows) {
    BTCUTF8 decoder;
    expectThrows<InvalidCharacterException>(
        u"Invalid UTF-8 sequence (decoded chars in surrogate range)",
        [&] { decode(decoder, "\xED\xA0\x80"); });
}

template <class Decoder>
void expectOutOfRangeIsSubstituted(const Bytes& bytes) {
    Decoder decoder;
    EXPECT_EQ(decode(decoder, bytes + bytes), u"\uFFFD\uFFFD");
    decoder.setSubstitutionChars(u"<?>", 3);
    EXPECT_EQ(decode(decoder, bytes), u"<?>");
    // One unit stays free.
    EXPECT_EQ(convertPieces<Units>(decoder, bytes, 8, 3), u"");
    EXPECT_EQ(convertPieces<Units>(decoder, bytes, 8, 4), u"<?>");
    decoder.setSubstitutionChars(nullptr, 0);
    EXPECT_EQ(decode(decoder, bytes), u"");
    EXPECT_EQ(convertPieces<Units>(decoder, bytes, 8, 0), u"");
    decoder.setSubstitutionMode(false);
    expectThrows<UnmappableCharacterException>(u"", [&] { decode(decoder, bytes); });
}

TEST(UnicodeDecoders, SubstituteWhatLiesAboveUnicode) {
    expectOutOfRangeIsSubstituted<BTCUTF8>("\xF4\x90\x80\x80");
    expectOutOfRangeIsSubstituted<BTCUTF32LE>("\0\0\x11\0"s);
    expectOutOfRangeIsSubstituted<BTCUTF32BE>("\xFF\xFF\xFF\xFF"s);
}

TEST(Utf8DecoderEdges, ReplacesInvalidBytesWhateverTheSubstitutionMode) {
    BTCUTF8 decoder;
    decoder.setSubstitutionChars(u"x", 1);
    for (bool mode : {true, false}) {
        decoder.setSubstitutionMode(mode);
        EXPECT_EQ(decode(decoder, "\xC0\x80\xFF"), u"\uFFFD\uFFFD\uFFFD");
    }
}

TEST(Utf16Decoder, LeavesAnOddByteAndPassesSurrogates) {
    BTCUTF16BE big;
    Bytes rest;
    EXPECT_EQ(convertPieces<Units>(big, "\0A\xD8"s, 8, 8, &rest), u"A");
    EXPECT_EQ(rest, "\xD8");
    EXPECT_EQ(decode(big, "\xDC\x00\xD8\x00"s), u"\xDC00\xD800"s);
    CTBUTF16LE little;
    EXPECT_EQ(encode(little, u"\xDC00\xD800"s), "\x00\xDC\x00\xD8"s);
}

TEST(Utf16Decoder, TakesAMarkForACharacter) {
    BTCUTF16LE decoder;
    EXPECT_EQ(decode(decoder, "\xFF\xFE\xFE\xFF"s), u"\uFEFF\uFFFE"s);
}

TEST(Utf32Decoder, ThrowsOnSurrogatesBehindWhatItWrote) {
    BTCUTF32LE decoder;
    char16_t out[4] = {};
    int32_t consumed = 0;
    int32_t produced = 0;
    const Bytes bytes = "A\0\0\0\0\xD8\0\0"s;
    expectThrows<InvalidCharacterException>(u"Illegal UTF-32 char in surrogate range", [&] {
        decoder.convert(reinterpret_cast<const signed char*>(bytes.data()), &consumed, 8, out,
                        &produced, 4);
    });
    EXPECT_EQ(consumed, 0);
    EXPECT_EQ(produced, 0);
    EXPECT_EQ(out[0], u'A');
    // Without room the fault waits.
    decoder.convert(reinterpret_cast<const signed char*>(bytes.data()), &consumed, 8, out,
                    &produced, 1);
    EXPECT_EQ(consumed, 4);
}

/// Byte orders of one's own work through the virtual function alone.
class TaggedUtf16 : public BTCUTF16 {
public:
    const char16_t* getEncodingName() const override { return u"tagged"; }
    char16_t convertUTF16(char16_t unit) const override { return unit ^ 0x5A5A; }
};

class TaggedUtf32 : public BTCUTF32 {
public:
    const char16_t* getEncodingName() const override { return u"tagged"; }
    char32_t convertUTF32(char32_t value) const override { return value ^ 0x5A5A5A5A; }
};

class TaggedUtf32Encoder : public CTBUTF32 {
public:
    const char16_t* getEncodingName() const override { return u"tagged"; }
    char32_t convertUTF32(char32_t value) const override { return value ^ 0x5A5A5A5A; }
};

TEST(UnicodeBases, ConvertThroughTheirVirtualFunction) {
    TaggedUtf16 utf16;
    EXPECT_EQ(decode(utf16, "\x1B\x5A\x67\x64"s), u"A\x3E3D"s);
    TaggedUtf32 utf32;
    TaggedUtf32Encoder encoder;
    const Units text = u"A😀\uFFFD"s;
    EXPECT_EQ(encode(encoder, u"A"), "\x1B\x5A\x5A\x5A");
    EXPECT_EQ(decode(utf32, encode(encoder, text)), text);
}

TEST(Converters, KeepTheirSubstitutionWithinItsLimit) {
    BTCUTF8 decoder;
    char16_t units[4] = {};
    EXPECT_TRUE(decoder.getSubstitutionMode());
    EXPECT_EQ(decoder.getSubstitutionChars(nullptr, 0), 1);
    EXPECT_EQ(decoder.getSubstitutionChars(units, 4), 1);
    EXPECT_EQ(units[0], u'\uFFFD');
    decoder.setSubstitutionChars(u"abc", 3);
    EXPECT_EQ(decoder.getSubstitutionChars(units, 2), 2);
    EXPECT_THROW(decoder.setSubstitutionChars(u"abcd", 4), RangeErrorException);
    EXPECT_THROW(decoder.setSubstitutionChars(u"a", -1), RangeErrorException);
    EXPECT_EQ(decoder.getSubstitutionChars(nullptr, 0), 3);

    CTBUTF8 encoder;
    signed char bytes[8] = {};
    EXPECT_EQ(encoder.getSubstitutionBytes(bytes, 8), 1);
    EXPECT_EQ(bytes[0], '?');
    const signed char seven[] = {1, 2, 3, 4, 5, 6, 7, 8};
    encoder.setSubstitutionBytes(seven, 7);
    EXPECT_EQ(encoder.getSubstitutionBytes(bytes, 8), 7);
    EXPECT_THROW(encoder.setSubstitutionBytes(seven, 8), RangeErrorException);
}

} // namespace
