#include <gtest/gtest.h>

#include <qx/text/charset/AMP7.h>
#include <qx/text/charset/EncodingException.h>

#include "tests/text/ConverterSupport.h"

namespace {

using namespace qx::text::charset;
using namespace std::string_literals;
using namespace qxtest;

TEST(Amp7, WritesAndReadsBack) {
    const struct {
        Units text;
        Bytes bytes;
    } rows[] = {
        {u"a&b"s, "a&AMP;b"},
        {u"\t\n\r ~\"'"s, "\t\n\r ~\"'"},
        {u"\x0000\x0001\x001F"s, "&_0;&_1;&_1F;"},
        {u"\x007F"s, "&_7F;"},
        {u"é"s, "&_E9;"},
        {u"€"s, "&_20AC;"},
        {u"😀"s, "&_1F600;"}, // one escape, not two
        {u"\U000FFFFF"s, "&_FFFFF;"},
        {u"text &_41; as text"s, "text &AMP;_41; as text"},
    };
    CTBAMP7 encoder;
    BTCAMP7 decoder;
    for (const auto& row : rows) {
        EXPECT_EQ(encode(encoder, row.text), row.bytes);
        EXPECT_EQ(decode(decoder, row.bytes), row.text);
    }
}

TEST(Amp7Decoder, ReadsWhatTheEncoderNeverWrites) {
    const struct {
        Bytes bytes;
        Units text;
    } rows[] = {
        {"&QUOT;&APOS;&AMP;", u"\"'&"s},
        {"&_e9;&_E9;&_0e9;&_000E9;", u"éééé"s},
        {"&_;", u"\x0000"s},
        {"\x7F\x01", u"\x007F\x0001"s},
        // What is invalid costs one byte; the rest is text again.
        {"&quot;", u"\uFFFDquot;"s},
        {"&amp;", u"\uFFFDamp;"s},
        {"&AMPX;", u"\uFFFDAMPX;"s},
        {"& ", u"\uFFFD "s},
        {"&&AMP;", u"\uFFFD&"s},
        {"&_0000E9;", u"\uFFFD_0000E9;"s}, // six digits
        {"&_12G;", u"\uFFFD_12G;"s},
        {"&_FFFD;", u"\uFFFD_FFFD;"s},
        {"\x80z\xFF", u"\uFFFDz\uFFFD"s},
        // Runs of plain text that are longer than a step of the decoder.
        {Bytes(1500, 'a') + "&AMP;" + Bytes(700, 'b') + "\x80",
         Units(1500, u'a') + u"&" + Units(700, u'b') + u"\uFFFD"},
    };
    BTCAMP7 decoder;
    for (const auto& row : rows) {
        EXPECT_EQ(decode(decoder, row.bytes), row.text) << row.bytes;
        for (size_t piece = 1; piece < row.bytes.size(); ++piece)
            EXPECT_EQ(convertPieces<Units>(decoder, row.bytes, piece, 2), row.text) << row.bytes;
    }
}

TEST(Amp7Decoder, WaitsForTheEndOfASequence) {
    const Bytes whole[] = {"&QUOT;", "&APOS;", "&AMP;", "&_1F600;", "&_;"};
    for (const Bytes& sequence : whole) {
        for (size_t length = 1; length < sequence.size(); ++length) {
            BTCAMP7 decoder;
            Bytes rest;
            EXPECT_EQ(
                convertPieces<Units>(decoder, "ab" + sequence.substr(0, length), 99, 99, &rest),
                u"ab");
            EXPECT_EQ(rest, sequence.substr(0, length));
        }
    }
}

TEST(Amp7Decoder, WritesAPairOnlyWhole) {
    BTCAMP7 decoder;
    Bytes rest;
    EXPECT_EQ(convertPieces<Units>(decoder, "&_1F600;"s, 99, 1, &rest), u"");
    EXPECT_EQ(rest, "&_1F600;");
}

TEST(Amp7Decoder, RefusesEscapedSurrogates) {
    for (const char* bytes : {"&_D800;", "&_dfff;", "&_0DC00;"}) {
        BTCAMP7 decoder;
        expectThrows<InvalidCharacterException>(
            u"Invalid AMP-7 sequence (decoded chars in surrogate range)",
            [&] { decode(decoder, bytes); });
    }
}

TEST(Amp7Decoder, SubstitutesOrThrows) {
    BTCAMP7 decoder;
    decoder.setSubstitutionChars(u"<>", 2);
    EXPECT_EQ(decode(decoder, "a\x80&x"), u"a<><>x");
    Bytes rest;
    EXPECT_EQ(convertPieces<Units>(decoder, "\x80z"s, 9, 1, &rest), u"");
    EXPECT_EQ(rest, "\x80z");
    decoder.setSubstitutionMode(false);
    for (const char* bytes : {"\x80", "&x", "&_FFFD;"})
        EXPECT_THROW(decode(decoder, bytes), UnmappableCharacterException) << bytes;
}

TEST(Amp7Encoder, WritesAnEscapeOnlyWhole) {
    const struct {
        Units text;
        size_t length;
    } rows[] = {{u"&"s, 5}, {u"é"s, 5}, {u"\U000FFFFF"s, 8}};
    for (const auto& row : rows) {
        for (size_t capacity = 0; capacity <= row.length; ++capacity) {
            CTBAMP7 encoder;
            EXPECT_EQ(convertPieces<Bytes>(encoder, row.text, 9, capacity).size(),
                      capacity == row.length ? capacity : 0);
        }
    }
}

TEST(Amp7Encoder, SubstitutesWhatHasMoreThanFiveDigits) {
    CTBAMP7 encoder;
    EXPECT_EQ(encode(encoder, u"a\U00100000\U0010FFFFz"), "a??z");
    // One byte stays free behind the substitution.
    EXPECT_EQ(convertPieces<Bytes>(encoder, u"\U00100000"s, 9, 1), "");
    EXPECT_EQ(convertPieces<Bytes>(encoder, u"\U00100000"s, 9, 2), "?");
    encoder.setSubstitutionMode(false);
    EXPECT_THROW(encode(encoder, u"\U00100000"), UnmappableCharacterException);
    EXPECT_EQ(encode(encoder, u"\U000FFFFF"), "&_FFFFF;");
}

TEST(Amp7Encoder, LeavesAHighSurrogateAtTheEndAndRefusesItElsewhere) {
    CTBAMP7 encoder;
    Units rest;
    EXPECT_EQ(convertPieces<Bytes>(encoder, u"ab\xD83D"s, 9, 9, &rest), "ab");
    EXPECT_EQ(rest, u"\xD83D");
    EXPECT_EQ(encode(encoder, u"\xDC00"), "&_DC00;");
    expectThrows<InvalidCharacterException>(u"leading surrogate without trailing",
                                            [&] { encode(encoder, u"\xD83D "); });
}

} // namespace
