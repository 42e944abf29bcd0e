#include <cstring>
#include <iconv.h>

#include <gtest/gtest.h>

#include <qx/core/Reference.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/SingleByte.h>

#include "tests/text/ConverterSupport.h"

namespace {

using namespace qx::text::charset;
using namespace std::string_literals;
using namespace qxtest;

/// The system's own conversion of one character; empty when it has none.
class Iconv {
public:
    Iconv(const char* to, const char* from) : m_handle(iconv_open(to, from)) {}
    ~Iconv() { iconv_close(m_handle); }
    Iconv(const Iconv&) = delete;
    Iconv& operator=(const Iconv&) = delete;

    std::string operator()(std::string input) {
        char out[16];
        char* in = input.data();
        char* end = out;
        size_t left = input.size();
        size_t room = sizeof out;
        iconv(m_handle, nullptr, nullptr, nullptr, nullptr);
        const size_t result = iconv(m_handle, &in, &left, &end, &room);
        // A positive result counts characters that it only approximates.
        return result == 0 ? std::string(out, end) : std::string();
    }

private:
    iconv_t m_handle;
};

struct Encoding {
    const char* iconvName;
    ByteToCharConverter* (*makeDecoder)();
    CharToByteConverter* (*makeEncoder)();
};

template <class Decoder, class Encoder>
Encoding encoding(const char* iconvName) {
    return {iconvName, []() -> ByteToCharConverter* { return new Decoder(); },
            []() -> CharToByteConverter* { return new Encoder(); }};
}

const Encoding encodings[] = {
    encoding<BTCASCII, CTBASCII>("ASCII"),
    encoding<BTCISO8859_1, CTBISO8859_1>("ISO-8859-1"),
    encoding<BTCCP437, CTBCP437>("CP437"),
    encoding<BTCCP1252, CTBCP1252>("CP1252"),
};

TEST(SingleByte, DecodesEveryByteAsIconvDoes) {
    for (const Encoding& e : encodings) {
        Iconv reference("UTF-16LE", e.iconvName);
        const qx::Reference<ByteToCharConverter> decoder(e.makeDecoder());
        for (int byte = 0; byte < 256; ++byte) {
            const Bytes input(1, static_cast<char>(byte));
            const std::string answer = reference(input);
            Units model = u"\uFFFD";
            if (answer.size() == 2)
                std::memcpy(model.data(), answer.data(), 2);
            EXPECT_EQ(decode(*decoder, input), model) << e.iconvName << " byte " << byte;
        }
    }
}

TEST(SingleByte, EncodesEveryUnitAsIconvDoes) {
    for (const Encoding& e : encodings) {
        Iconv reference(e.iconvName, "UTF-16LE");
        const qx::Reference<CharToByteConverter> encoder(e.makeEncoder());
        for (char32_t unit = 0; unit < 0x10000; ++unit) {
            if (isSurrogate(unit))
                continue;
            std::string input(2, '\0');
            std::memcpy(input.data(), &unit, 2);
            const std::string answer = reference(input);
            ASSERT_EQ(encode(*encoder, Units(1, static_cast<char16_t>(unit))),
                      answer.empty() ? "?" : answer)
                << e.iconvName << std::hex << " unit " << static_cast<uint32_t>(unit);
        }
    }
}

TEST(SingleByte, ThrowsOnWhatIsUnmappableWithoutSubstitution) {
    BTCASCII ascii;
    ascii.setSubstitutionMode(false);
    EXPECT_THROW(decode(ascii, "A\xC4"), UnmappableCharacterException);
    BTCCP1252 cp1252;
    cp1252.setSubstitutionMode(false);
    EXPECT_EQ(decode(cp1252, "\x80"), u"€");
    EXPECT_THROW(decode(cp1252, "\x81"), UnmappableCharacterException);
    CTBCP1252 encoder;
    encoder.setSubstitutionMode(false);
    EXPECT_THROW(encode(encoder, u"漢"), UnmappableCharacterException);
    EXPECT_THROW(encode(encoder, u"😀"), UnmappableCharacterException);
}

TEST(SingleByte, WritesOnlyASubstitutionOfOneUnit) {
    BTCASCII decoder;
    CTBASCII encoder;
    decoder.setSubstitutionChars(u"!", 1);
    EXPECT_EQ(decode(decoder, "a\xC4z"), u"a!z");
    EXPECT_EQ(encode(encoder, u"aÄ😀z"), "a??z");
    for (int32_t length : {0, 2, 3}) {
        decoder.setSubstitutionChars(u"abc", length);
        EXPECT_EQ(decode(decoder, "a\xC4z"), u"az");
        encoder.setSubstitutionBytes(reinterpret_cast<const signed char*>("abc"), length);
        EXPECT_EQ(encode(encoder, u"aÄ😀z"), "az");
    }
}

TEST(SingleByte, StopsWhereTheOutputEnds) {
    BTCCP1252 decoder;
    Bytes bytes;
    for (int i = 0; i < 200; ++i)
        bytes += static_cast<char>(i * 11);
    const Units units = decode(decoder, bytes);
    CTBCP1252 encoder;
    const Units text = u"a漢😀é€ – plain text that is long enough for several wide steps, and é"s;
    const Bytes encoded = encode(encoder, text);
    for (size_t piece : {1u, 2u, 3u, 64u, 300u}) {
        for (size_t capacity : {1u, 2u, 33u, 100u}) {
            EXPECT_EQ(convertPieces<Units>(decoder, bytes, piece, capacity), units);
            EXPECT_EQ(convertPieces<Bytes>(encoder, text, piece, capacity), encoded);
        }
    }
    // A byte that is dropped needs no room, the others do.
    decoder.setSubstitutionChars(u"", 0);
    Bytes rest;
    convertPieces<Units>(decoder, "\x81\x8D\x41"s, 3, 0, &rest);
    EXPECT_EQ(rest, "A");
}

/// An encoding of one's own, by its two virtual functions alone.
class ShiftedDecoder : public BTCSingleByte {
public:
    const char16_t* getEncodingName() const override { return u"shifted"; }
    char16_t convertByte(signed char byte) const override {
        return byte == 0 ? ReplacementCharacter
                         : static_cast<char16_t>(0x400 + static_cast<uint8_t>(byte));
    }
};

class ShiftedEncoder : public CTBSingleByte {
public:
    const char16_t* getEncodingName() const override { return u"shifted"; }
    signed char convertChar(char16_t unit) const override {
        return unit > 0x400 && unit < 0x500 ? static_cast<signed char>(unit - 0x400) : '\0';
    }
};

TEST(SingleByteBases, ConvertThroughTheirVirtualFunction) {
    ShiftedDecoder decoder;
    EXPECT_EQ(decode(decoder, "\x01\0\xFF"s), u"\x0401\xFFFD\x04FF");
    ShiftedEncoder encoder;
    EXPECT_EQ(encode(encoder, u"\x0401\x0000X\x04FF"s), "\x01\0?\xFF"s);
}

} // namespace
