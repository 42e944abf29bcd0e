#include <cstring>
#include <map>
#include <optional>
#include <span>

#include <qx/platform/detail/ByteOrder.h>
#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/PlainUtf8.h"
#include "tests/support/Sanitized.h"
#include "tests/text/ConverterSupport.h"

namespace {

using namespace qx;
using namespace qx::text::charset;
using namespace std::string_literals;
using namespace qxtest;

Units allOfUnicode(char32_t last) {
    Units units;
    for (char32_t value = 0; value <= last; ++value)
        units += isSurrogate(value) ? Units() : unitsOf(value);
    return units;
}

template <class Pair>
struct Converter : testing::Test {};
using Pairs = testing::Types<std::pair<BTCUTF8, CTBUTF8>, std::pair<BTCUTF16LE, CTBUTF16LE>,
                             std::pair<BTCUTF16BE, CTBUTF16BE>, std::pair<BTCUTF32LE, CTBUTF32LE>,
                             std::pair<BTCUTF32BE, CTBUTF32BE>, std::pair<BTCAMP7, CTBAMP7>,
                             std::pair<BTCCP1252, CTBCP1252>>;
TYPED_TEST_SUITE(Converter, Pairs);

TYPED_TEST(Converter, CarriesAllOfUnicodeAndBackHoweverItIsCut) {
    typename TypeParam::first_type decoder;
    typename TypeParam::second_type encoder;
    constexpr bool isPage = std::is_same_v<decltype(encoder), CTBCP1252>;
    constexpr bool isAmp7 = std::is_same_v<decltype(encoder), CTBAMP7>;
    Units units = allOfUnicode(isPage ? 0x7F : isAmp7 ? 0xFFFFF : LastCodePoint);
    if constexpr (isAmp7)
        units.erase(units.find(ReplacementCharacter), 1); // its escape counts as invalid
    if constexpr (std::is_same_v<decltype(decoder), BTCUTF8>)
        decoder.setStrict(true); // an over-long form would read back as well
    const Bytes bytes = encode(encoder, units);
    EXPECT_TRUE(decode(decoder, bytes) == units);
    // Through the buffers of a reader: pieces and outputs that end anywhere.
    EXPECT_TRUE(convertPieces<Units>(decoder, bytes, 997, 1021) == units);
    EXPECT_TRUE(convertPieces<Bytes>(encoder, units, 1013, 991) == bytes);

    const Units text =
        u"a&é€😀漢\uFFFF\u0000z\"𝔘𝔘\u07FF\u0800plain text, long enough for wide steps, é"s;
    const Bytes encoded = encode(encoder, text) + (isPage ? "\x81\xFF\x80" : "");
    const Units decoded = decode(decoder, encoded);
    EXPECT_EQ(decoded == text, !isPage);
    for (const size_t piece : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 64u}) {
        for (const size_t capacity : {2u, 3u, 8u, 9u, 33u, 64u}) {
            SCOPED_TRACE(testing::Message() << "piece " << piece << ", capacity " << capacity);
            EXPECT_EQ(convertPieces<Units>(decoder, encoded, piece, capacity), decoded);
            if (capacity >= 8) {
                EXPECT_EQ(convertPieces<Bytes>(encoder, decoded, piece, capacity),
                          encode(encoder, decoded));
            }
        }
    }
}

// The encoders that hold a high surrogate back between calls.
TEST(HoldingEncoders, CompleteAPairInALaterCallAndRefuseHalfOfOne) {
    const std::tuple<const char16_t*, Bytes, Bytes, bool, size_t> rows[] = {
        // U+1F600, U+DE00 alone (empty: throws); kept by flush; units of a pair read without room
        {u"UTF-8", "\xF0\x9F\x98\x80", "\xED\xB8\x80", false, 1},
        {u"UTF-32LE", "\0\xF6\1\0"s, "\0\xDE\0\0"s, false, 0},
        {u"UTF-32BE", "\0\1\xF6\0"s, "\0\0\xDE\0"s, false, 0},
        {u"CP437", "?", "", true, 1},
        {u"latin1", "?", "", true, 1},
    };
    for (const auto& [name, whole, lowAlone, isKeptByFlush, readWithoutRoom] : rows) {
        SCOPED_TRACE(String(name));
        const auto encoder = encoderOf(name);
        signed char out[512];
        int32_t none = 0;
        const auto flush = [&] { return encoder->flush(out, &none, 8); };
        const Units pair = u"\xD83D\xDE00";
        Units rest;
        EXPECT_EQ(convertPieces<Bytes>(*encoder, pair, 1, whole.size()), whole);
        EXPECT_EQ(encode(*encoder, u"\xD83D"), "");
        EXPECT_EQ(convertPieces<Bytes>(*encoder, u"\xDE00"s, 1, whole.size() - 1, &rest), "");
        EXPECT_EQ(rest, u"\xDE00");
        EXPECT_EQ(encode(*encoder, rest), whole);
        EXPECT_EQ(flush(), 0);
        EXPECT_EQ(convertPieces<Bytes>(*encoder, pair, 2, whole.size() - 1, &rest), "");
        EXPECT_EQ(2 - rest.size(), readWithoutRoom);
        encoder->reset();
        encode(*encoder, u"\xD83D");
        EXPECT_THROW(flush(), InvalidCharacterException);
        if (isKeptByFlush) {
            EXPECT_EQ(encode(*encoder, u"\xDE00"), whole);
        }
        EXPECT_EQ(flush(), 0);
        encode(*encoder, u"\xD83D");
        encoder->reset();
        EXPECT_EQ(flush(), 0);

        const Bytes plain = encode(*encoder, u"plain ");
        const auto refused = [&](const Units& units, const char* description) {
            int32_t consumed = 0, produced = 0;
            EXPECT_EQ(descriptionOf<InvalidCharacterException>([&] {
                          encoder->convert(units.data(), &consumed,
                                           static_cast<int32_t>(units.size()), out, &produced, 512);
                      }),
                      description);
            EXPECT_EQ(consumed, 0);
        };
        encode(*encoder, u"\xD83D");
        refused(u"\xDE00\xD835x"s, "leading surrogate without trailing");
        EXPECT_EQ(encode(*encoder, u"\xDE00"), whole) << "what was pending in front of the fault";
        refused(u"\xD800\x0041"s, "leading surrogate without trailing");
        refused(u"\xD800\xD800"s, "leading surrogate without trailing");
        refused(u"plain \xDBFF\xE000"s, "leading surrogate without trailing");
        EXPECT_EQ(flush(), 0);
        EXPECT_EQ(std::memcmp(out, plain.data(), plain.size()), 0) << "in front of the fault";
        const Units behind = u" and behind it, for a wide step or two",
                    low = u"plain \xDE00" + behind;
        if (lowAlone.empty())
            refused(low, "trailing surrogate without leading");
        else
            EXPECT_EQ(encode(*encoder, low), plain + lowAlone + encode(*encoder, behind));
    }
}

TEST(Encoders, WriteReplacementsForHalvesOfPairsWhenAskedTo) {
    const Units halves = u"a\xD800"
                         "b\xDC00\xDC00"
                         "c\xD83D\xDE00\xDBFF\xD83D\xDE00 long plain text\xD800"s;
    const Units whole = u"a\uFFFDb\uFFFD\uFFFDc😀\uFFFD😀 long plain text"s;
    for (const CodecRow& row : codecTable()) {
        if (row.canonicalName)
            continue;
        SCOPED_TRACE(String(row.name));
        const auto encoder = encoderOf(row.name);
        encoder->setReplaceHalves(true);
        const Bytes last = encode(*encoder, u"\uFFFD"), expected = encode(*encoder, whole);
        const bool leavesHalf = String(row.name) == u"AMP-7"; // at the end to its caller
        for (const size_t piece : {1u, 2u, 5u, 99u}) {
            for (const size_t capacity : {8u, 11u, 99u})
                ASSERT_EQ(encodeWhole(*encoder, halves, piece, capacity),
                          expected + (leavesHalf ? "" : last));
        }
        encoder->reset();
        int32_t none = 0;
        if (encode(*encoder, u"\xD800").empty() && !leavesHalf)
            expectEach(result::BufferTooSmall, {[&] { encoder->flush(nullptr, &none, 0); }});
    }
}

TEST(MarkedEncodings, FollowTheMarkOfTheirKindAndWriteOne) {
    const std::tuple<const char16_t*, Bytes, Units> rows[] = {
        {u"UTF-16", "\xFF\xFE\x61\0"s, u"a"},
        {u"utf16", "\xFE\xFF\0a"s, u"a"},
        {u"UTF-16", "\0a\xFF\xFE"s, u"a\uFFFE"}, // big-endian, and the mark is none further on
        {u"UTF-16", "\xFF\xFE\0\0"s, u"\0"s},    // no mark of UTF-32
        {u"UTF-32", "\xFF\xFE\0\0\0\xF6\1\0"s, u"😀"},
        {u"UTF-32", "\0\0\xFE\xFF\0\1\xF6\0"s, u"😀"},
        {u"UTF-32", "\0\0\0a"s, u"a"},
        {u"UTF-8-SIG", "\xEF\xBB\xBF\xC3\xA4\xEF\xBB\xBF"s, u"ä\uFEFF"},
        {u"UTF-8-SIG", "\xC3\xA4"s, u"ä"},
    };
    for (const auto& [name, bytes, units] : rows) {
        const auto decoder = decoderOf(name);
        const auto encoder = encoderOf(name);
        for (const size_t piece : {1u, 3u, 99u}) {
            decoder->reset();
            EXPECT_EQ(convertPieces<Units>(*decoder, bytes, piece, 2), units) << String(name);
            encoder->reset();
            const Bytes written = convertPieces<Bytes>(*encoder, units, piece, 8);
            const auto mark =
                findByteOrderMark(reinterpret_cast<const signed char*>(written.data()), 4);
            EXPECT_TRUE(mark.encoding && decoder->getEncodingName() ==
                                             std::u16string_view(encoder->getEncodingName()));
            decoder->reset();
            EXPECT_EQ(decode(*decoder, written), units);
        }
        encoder->reset();
        EXPECT_EQ(encode(*encoder, u""), "");
    }
}

TEST(Decoders, SubstituteOnlyWholeWhatHasNoCharacterOrThrow) {
    const std::tuple<const char16_t*, Bytes, size_t> rows[] = {
        // with the room that a substitution of three units takes: one may have to stay free
        {u"UTF-8", "\xF4\x90\x80\x80"s, 4},
        {u"UTF-32LE", "\0\0\x11\0"s, 4},
        {u"UTF-32BE", "\xFF\xFF\xFF\xFF"s, 4},
        {u"AMP-7", "\x80"s, 3},
    };
    for (const auto& [name, bytes, room] : rows) {
        const auto decoder = decoderOf(name);
        EXPECT_EQ(decode(*decoder, bytes + bytes), u"\uFFFD\uFFFD");
        decoder->setSubstitutionChars(u"<?>", 3);
        EXPECT_THROW(decoder->setSubstitutionChars(u"", 8), RangeErrorException);
        char16_t chars[] = u"####";
        EXPECT_TRUE(decoder->getSubstitutionChars(chars, 2) == 2 && chars == u"<?##"s);
        EXPECT_TRUE(decoder->getSubstitutionChars(chars, 4) == 3 && chars == u"<?>#"s);
        EXPECT_EQ(convertPieces<Units>(*decoder, bytes, 8, room - 1), u"");
        EXPECT_EQ(convertPieces<Units>(*decoder, bytes, 8, room), u"<?>");
        decoder->setSubstitutionChars(nullptr, 0);
        EXPECT_EQ(convertPieces<Units>(*decoder, bytes, 8, 0), u"");
        decoder->setSubstitutionMode(false);
        EXPECT_THROW(decode(*decoder, bytes), UnmappableCharacterException);
    }
}

TEST(UnicodeDecoders, ReplaceOrRefuseWhatIsIllFormed) {
    BTCUTF8 utf8;
    utf8.setSubstitutionChars(u"x", 1); // is for what lies above Unicode
    for (bool mode : {true, false}) {
        utf8.setSubstitutionMode(mode);
        EXPECT_EQ(decode(utf8, "\xC0\x80\xFF"), u"\uFFFD\uFFFD\uFFFD");
    }

    BTCUTF16BE big; // leaves an odd byte and passes surrogates
    Bytes rest;
    EXPECT_EQ(convertPieces<Units>(big, "\0A\xD8"s, 8, 8, &rest), u"A");
    EXPECT_EQ(rest, "\xD8");
    EXPECT_EQ(decode(big, "\xDC\x00\xD8\x00"s), u"\xDC00\xD800"s);
    CTBUTF16LE little;
    EXPECT_EQ(encode(little, u"\xDC00\xD800\xFEFF"s), "\x00\xDC\x00\xD8\xFF\xFE"s);
    BTCUTF16LE decoder; // takes a mark for a character
    EXPECT_EQ(decode(decoder, "\xFF\xFE\xFE\xFF"s), u"\uFEFF\uFFFE"s);

    // A fault shows behind what was written; without room for that it waits.
    const auto decodeTwo = [](auto converter, const char* bytes, int32_t length, int32_t room) {
        char16_t out[4] = {};
        int32_t consumed = 0, produced = 0;
        const std::string thrown = descriptionOf<InvalidCharacterException>([&] {
            converter.convert(reinterpret_cast<const signed char*>(bytes), &consumed, length, out,
                              &produced, room);
        });
        EXPECT_EQ(out[0], u'A');
        EXPECT_TRUE(room == 4 ? consumed == 0 && produced == 0 : consumed > 0 && produced == 1);
        return thrown;
    };
    const char *const cut8 = "A\xED\xA0\x80", *const cut32 = "A\0\0\0\0\xD8\0";
    EXPECT_EQ(decodeTwo(BTCUTF8(), cut8, 4, 4),
              "Invalid UTF-8 sequence (decoded chars in surrogate range)");
    EXPECT_EQ(decodeTwo(BTCUTF8(), cut8, 4, 1), "nothing thrown");
    EXPECT_EQ(decodeTwo(BTCUTF32LE(), cut32, 8, 4), "Illegal UTF-32 char in surrogate range");
    EXPECT_EQ(decodeTwo(BTCUTF32LE(), cut32, 8, 1), "nothing thrown");
}

/// Encodings of one's own, by their virtual functions alone.
template <class Base>
struct Own : Base {
    const char16_t* getEncodingName() const override { return u"own"; }
};
struct OwnUtf16 : Own<BTCUTF16> {
    char16_t convertUTF16(char16_t unit) const override {
        return platform::ordered<std::endian::little>(unit) ^ 0x5A5A;
    }
};
template <class Base>
struct OwnUtf32 : Own<Base> {
    char32_t convertUTF32(char32_t value) const override {
        return platform::ordered<std::endian::little>(value) ^ 0x5A5A5A5A;
    }
};
// For the tables of their bases theirs stand alone.
struct OwnDecoder : Own<BTCCP1252> {
    char16_t convertByte(signed char byte) const override {
        return byte == 0 ? ReplacementCharacter
                         : static_cast<char16_t>(0x400 + static_cast<uint8_t>(byte));
    }
};
struct OwnMultiEncoder : CTBMultiByte {
    OwnMultiEncoder() : CTBMultiByte({u"own"_qs}) {}
    int32_t convertChar(char32_t value, signed char* bytes, int32_t) override {
        bytes[0] = static_cast<signed char>(value);
        return value > 0x400 && value < 0x500;
    }
};
struct OwnEncoder : Own<CTBASCII> {
    signed char convertChar(char16_t unit) const override {
        return unit > 0x400 && unit < 0x500 ? static_cast<signed char>(unit - 0x400) : '\0';
    }
};

TEST(ConverterBases, ConvertThroughTheirVirtualFunction) {
    OwnUtf16 utf16;
    EXPECT_EQ(decode(utf16, "\x1B\x5A\x67\x64"s), u"A\x3E3D"s);
    OwnUtf32<BTCUTF32> utf32;
    OwnUtf32<CTBUTF32> utf32Encoder;
    const Units text = u"A😀\uFFFD"s;
    EXPECT_EQ(encode(utf32Encoder, u"A"), "\x1B\x5A\x5A\x5A");
    EXPECT_EQ(decode(utf32, encode(utf32Encoder, text)), text);
    OwnDecoder decoder;
    EXPECT_EQ(decode(decoder, "\x01\0\xFF"s), u"\x0401\xFFFD\x04FF");
    OwnEncoder encoder;
    EXPECT_EQ(encode(encoder, u"\x0401\x0000X\x04FF"s), "\x01\0?\xFF"s);
    OwnMultiEncoder multi;
    EXPECT_EQ(multi.getSubstitutionBytes(nullptr, 0), 1);
    EXPECT_EQ(convertPieces<Bytes>(multi, u"\x0401X\x04FF"s, 3, 1), "\x01?\xFF");
}

TEST(SingleByte, EncodesWhatItDecodesAndNothingElse) {
    const std::pair<const char16_t*, uint32_t> rows[] = {
        // the hash of all that it decodes was calculated by another implementation
        {u"ASCII", 0x8800D5C5},
        {u"ISO8859_1", 0x90A458C5},
        {u"CP437", 0x4D308040},
        {u"CP1252", 0x894FD128},
    };
    for (const auto& [name, hash] : rows) {
        SCOPED_TRACE(String(name));
        const auto decoder = decoderOf(name);
        const auto encoder = encoderOf(name);
        std::map<char16_t, Bytes> known;
        uint32_t found = 2166136261;
        for (int byte = 0; byte < 256; ++byte) {
            const Bytes input(1, static_cast<char>(byte));
            const Units units = decode(*decoder, input);
            known[units.at(0)] = input;
            found = (found ^ units[0]) * 16777619;
        }
        EXPECT_EQ(found, hash);
        known.erase(ReplacementCharacter);
        for (char32_t unit = 0; unit < 0x10000; ++unit) {
            const auto expected = known.find(static_cast<char16_t>(unit));
            if (!isSurrogate(unit)) {
                ASSERT_EQ(encode(*encoder, Units(1, static_cast<char16_t>(unit))),
                          expected == known.end() ? "?" : expected->second);
            }
        }
    }
}

TEST(SingleByte, WritesOnlyASubstitutionOfOneUnitOrThrows) {
    BTCCP1252 decoder;
    CTBCP1252 encoder;
    EXPECT_EQ(decode(decoder, "a\x81z"), u"a\uFFFDz");
    EXPECT_EQ(encode(encoder, u"a漢😀z"), "a??z");
    for (int32_t length : {0, 1, 2, 3}) {
        decoder.setSubstitutionChars(u"abc", length);
        EXPECT_EQ(decode(decoder, "z\x81z"), length == 1 ? u"zaz" : u"zz");
        encoder.setSubstitutionBytes(reinterpret_cast<const signed char*>("abc"), length);
        EXPECT_EQ(encode(encoder, u"z漢😀z"), length == 1 ? "zaaz" : "zz");
    }
    // A byte that is dropped needs no room, the others do.
    Bytes rest;
    convertPieces<Units>(decoder, "\x81\x8D\x41"s, 3, 0, &rest);
    EXPECT_EQ(rest, "A");
    decoder.setSubstitutionMode(false);
    EXPECT_EQ(decode(decoder, "\x80"), u"€");
    EXPECT_THROW(decode(decoder, "\x81"), UnmappableCharacterException);
    encoder.setSubstitutionMode(false);
    EXPECT_THROW(encode(encoder, u"漢"), UnmappableCharacterException);
    EXPECT_THROW(encode(encoder, u"😀"), UnmappableCharacterException);
}

TEST(Amp7Decoder, ReadsWhatTheEncoderWritesAndWhatItNeverWrites) {
    // What is invalid, as an escape of six digits, costs one byte; the rest is text again.
    constexpr size_t Written = 5; // the first ones
    std::vector<std::pair<Bytes, Units>> rows = {
        {"a&AMP;b", u"a&b"s},
        {"\t\n\r ~\"'", u"\t\n\r ~\"'"s},
        {"&_0;&_1;&_1F;", u"\x0000\x0001\x001F"s},
        {"&_7F;", u"\x007F"s},
        {"&_FFFFF;", u"\U000FFFFF"s},
        {"&QUOT;&APOS;&AMP;", u"\"'&"s},
        {"&_e9;&_E9;&_0e9;&_000E9;", u"éééé"s},
        {"&_;", u"\x0000"s},
        {"\x7F\x01", u"\x007F\x0001"s},
        {"&quot;&amp;", u"\uFFFDquot;\uFFFDamp;"s},
        {"&AMPX;", u"\uFFFDAMPX;"s},
        {"&&AMP;", u"\uFFFD&"s},
        {"&_0000E9;", u"\uFFFD_0000E9;"s},
        {"&_12G;", u"\uFFFD_12G;"s},
        {"&_FFFD;", u"\uFFFD_FFFD;"s},
        {"\x80z\xFF", u"\uFFFDz\uFFFD"s},
    };
    // Runs of plain text that are longer than a step of the decoder.
    rows.emplace_back(Bytes(1500, 'a') + "&AMP;" + Bytes(700, 'b') + "\x80",
                      Units(1500, u'a') + u"&" + Units(700, u'b') + u"\uFFFD");
    BTCAMP7 decoder;
    CTBAMP7 encoder;
    Bytes rest;
    for (const auto& [bytes, text] : rows) {
        EXPECT_EQ(encode(encoder, text) == bytes, &bytes < &rows[Written].first) << bytes;
        for (size_t piece = 1; piece <= bytes.size(); ++piece)
            EXPECT_EQ(convertPieces<Units>(decoder, bytes, piece, 2), text) << bytes;
    }
    for (const Bytes& whole : {"&QUOT;"s, "&APOS;"s, "&AMP;"s, "&_1F600;"s, "&_;"s}) {
        for (size_t length = 1; length < whole.size(); ++length) {
            const Bytes cut = whole.substr(0, length); // waits for its end
            EXPECT_EQ(convertPieces<Units>(decoder, "ab" + cut, 99, 99, &rest), u"ab");
            EXPECT_EQ(rest, cut);
        }
    }
    for (const char* bytes : {"&_D800;", "&_dfff;", "&_0DC00;"})
        EXPECT_EQ(descriptionOf<InvalidCharacterException>([&] { decode(decoder, bytes); }),
                  "Invalid AMP-7 sequence (decoded chars in surrogate range)");
    EXPECT_EQ(convertPieces<Units>(decoder, "&_1F600;"s, 9, 1, &rest), u"");
    EXPECT_EQ(rest, "&_1F600;") << "a pair is written whole";
    decoder.setSubstitutionMode(false);
    for (const char* bytes : {"&x", "&_FFFD;"})
        EXPECT_THROW(decode(decoder, bytes), UnmappableCharacterException) << bytes;
}

TEST(Amp7Encoder, WritesOnlyWholeWhatHasAForm) {
    CTBAMP7 encoder;
    const std::pair<Units, size_t> rows[] = {
        {u"&"s, 5},
        {u"é"s, 5},
        {u"\U000FFFFF"s, 8},
        {u"\U00100000"s, 2}, // more than five digits: one byte stays free behind the substitution
    };
    for (const auto& [text, room] : rows) {
        for (size_t capacity = 0; capacity <= room; ++capacity)
            EXPECT_EQ(convertPieces<Bytes>(encoder, text, 9, capacity).empty(), capacity < room);
    }
    EXPECT_EQ(encode(encoder, u"a\U00100000\U0010FFFFz"), "a??z");
    EXPECT_EQ(encode(encoder, u"\xDC00"), "&_DC00;");
    Units rest;
    EXPECT_EQ(convertPieces<Bytes>(encoder, u"ab\xD83D"s, 9, 9, &rest), "ab");
    EXPECT_EQ(rest, u"\xD83D");
    EXPECT_EQ(descriptionOf<InvalidCharacterException>([&] { encode(encoder, u"\xD83D "); }),
              "leading surrogate without trailing");
    encoder.setSubstitutionMode(false);
    EXPECT_THROW(encode(encoder, u"\U00100000"), UnmappableCharacterException);
    EXPECT_EQ(encode(encoder, u"\U000FFFFF"), "&_FFFFF;");
}

/// The units, and how many bytes stay; nothing where it throws.
using Outcome = std::optional<std::pair<Units, size_t>>;

/// What the plain decoder makes of the bytes when every call has room for @p capacity units.
Outcome expected(const Bytes& bytes, size_t capacity, bool strict) {
    Units units;
    size_t left = bytes.size();
    while (left > 0) {
        const auto* const at = reinterpret_cast<const uint8_t*>(bytes.data() + bytes.size()) - left;
        const PlainStep step = plainUtf8(at, left, strict);
        const bool isOut = step.kind == PlainStep::OutOfRange;
        if (step.kind == PlainStep::Surrogate)
            return {};
        if (step.kind == PlainStep::Cut || capacity < (isOut ? 2 : step.count))
            break;
        units.append(isOut ? u"\uFFFD" : step.units, isOut ? 1 : step.count);
        left -= step.consumed;
    }
    return std::pair(units, left);
}

Outcome decoded(BTCUTF8& decoder, const Bytes& bytes, size_t piece, size_t capacity) {
    Bytes rest;
    try {
        const Units units = convertPieces<Units>(decoder, bytes, piece, capacity, &rest);
        return std::pair(units, rest.size());
    } catch (const InvalidCharacterException&) {
        return {};
    }
}

/// The sequence whole and in pieces, into every small output.
void check(BTCUTF8& decoder, const Bytes& bytes) {
    for (size_t capacity = 1; capacity <= 3; ++capacity) {
        const Outcome model = expected(bytes, capacity, decoder.isStrict());
        for (size_t piece = 1; piece <= bytes.size(); ++piece)
            ASSERT_EQ(decoded(decoder, bytes, piece, capacity), model)
                << testing::PrintToString(bytes) << " by " << piece << ", room for " << capacity;
    }
}

// Every pair of bytes, and behind it both ends of every range that some rule knows.
TEST(Utf8Decoder, DecodesEverySequenceHoweverItIsCut) {
    const Bytes leads = "\x41\x80\xC2\xDF\xE0\xE1\xED\xEF\xF0\xF1\xF3\xF4\xF5\xFF";
    const Bytes others("\x00\x41\x7F\x80\x8F\x90\x9F\xA0\xAF\xB0\xBF\xC0\xC2\xE0\xED\xF0\xF4\xFF",
                       18);
    const auto isIn = [](const Bytes& set, int byte) {
        return set.find(static_cast<char>(byte)) != Bytes::npos;
    };
    BTCUTF8 decoder;
    for (const bool isStrict : {false, true}) {
        decoder.setStrict(isStrict);
        for (int lead = 0; lead < 0x100 && !HasFatalFailure(); ++lead) {
            check(decoder, Bytes(1, static_cast<char>(lead)));
            for (int second = 0; second < 0x100; ++second) {
                const Bytes pair = {static_cast<char>(lead), static_cast<char>(second)};
                check(decoder, pair);
                const bool goesOn = isIn(others, second) && (!Sanitized || isIn(leads, lead));
                for (const char third : goesOn ? others : Bytes()) {
                    check(decoder, pair + third);
                    for (const char fourth : isIn(leads, lead) ? others : Bytes())
                        check(decoder, pair + third + fourth);
                }
            }
        }
    }
}

TEST(CodecManager, GivesBothConvertersOfEveryName) {
    const char16_t* primary = nullptr;
    for (const CodecRow& row : codecTable()) {
        if (!row.canonicalName)
            primary = row.name; // its aliases stand behind it
        EXPECT_EQ(decoderOf(row.name)->getEncodingName(), std::u16string_view(primary));
        EXPECT_EQ(encoderOf(row.name)->getEncodingName(), std::u16string_view(primary));
    }
    for (const char16_t* name : {u"utf_8", u"Utf-8", u"utf 8", u"csUTF8"})
        EXPECT_TRUE(dynamic_cast<BTCUTF8*>(decoderOf(name).get()));
    EXPECT_TRUE(dynamic_cast<CTBISO8859_1*>(encoderOf(u"iso 8859-1").get()));
    EXPECT_EQ(std::u16string_view(decoderOf(nullptr)->getEncodingName()),
              Reference<ByteToCharConverter>(ByteToCharConverter::getDefaultConverter())
                  ->getEncodingName());
    // A new one each time, for the caller to own.
    const Reference<Object> first(CodecManager::getInstance()->getDecoder(u"CP437"));
    EXPECT_EQ(first->GetRefCount(), 1u);
    EXPECT_NE(Reference<Object>(decoderOf(u"CP437")), first);

    // The factors that buffers are sized by: bytes per character, characters per byte.
    const std::pair<const char16_t*, std::pair<int, int>> cases[] = {
        {u"UTF-16LE", {4, 4}}, {u"UTF-16BE", {4, 4}}, {u"UTF-32LE", {4, 4}},
        {u"UTF-32BE", {4, 4}}, {u"AMP-7", {8, 1}},    {u"ASCII", {1, 1}},
        {u"latin1", {1, 1}},   {u"CP437", {1, 1}},    {u"CP1252", {1, 1}},
    };
    constexpr auto factorsOf = [](const auto& converter) {
        return std::pair<int, int>(converter->getMaxBytesPerChar(),
                                   converter->getMaxCharsPerByte());
    };
    for (const auto& [name, factors] : cases) {
        EXPECT_EQ(factorsOf(decoderOf(name)), factors) << String(name);
        EXPECT_EQ(factorsOf(encoderOf(name)), factors) << String(name);
    }
    EXPECT_EQ(factorsOf(decoderOf(u"UTF-8")), std::pair(6, 4));
    EXPECT_EQ(factorsOf(encoderOf(u"UTF-8")), std::pair(6, 1));
}

TEST(CodecManager, AnswersNullForAnUnknownNameAndConvertersThrowIt) {
    CodecManager* const manager = CodecManager::getInstance();
    for (const char16_t* name : {u"no such encoding", u"", u"- _", u"UTF-9", u"ISO8859-"}) {
        EXPECT_EQ(manager->getDecoder(name), nullptr);
        EXPECT_EQ(manager->getEncoder(name), nullptr);
        EXPECT_EQ(descriptionOf<UnknownEncodingException>([&] { decoderOf(name); }),
                  String(name).toUtf8());
        EXPECT_THROW(encoderOf(name), UnknownEncodingException);
    }
    manager->registerCodec(u"utf-8", u"qx::text::charset::CTBASCII", u"no such class");
    EXPECT_TRUE(dynamic_cast<CTBUTF8*>(encoderOf(u"UTF-8").get())); // the first one stays
    EXPECT_THROW(manager->registerCodec(u"half a codec", u"qx::text::charset::CTBASCII", u"none"),
                 ClassNotFoundException);
    EXPECT_EQ(manager->getEncoder(u"half a codec"), nullptr);
}

TEST(EncodingInfo, TellsHowMuchRoomItWantsAndFindsNamesAliasesAndCodePages) {
    std::vector<QXEncodingInfo> records(30);
    for (const uint32_t room : {0u, 1u, 27u}) {
        uint32_t count = room;
        EXPECT_EQ(QXEnumerateEncInfo(&count, room == 0 ? nullptr : records.data()),
                  result::BufferTooSmall);
        EXPECT_EQ(count, 28u);
        EXPECT_EQ(records[0].name, nullptr) << "nothing is copied";
    }
    uint32_t count = 30;
    EXPECT_EQ(QXEnumerateEncInfo(&count, records.data()), result::Ok);
    EXPECT_EQ(count, 28u);
    EXPECT_EQ(records[28].name, nullptr);
    std::map<Units, uint32_t> codePages = {{u"latin1", 28591}, {u"utf8", 65001},
                                           {u"Big5", 950},     {u"windows-1251", 1251},
                                           {u"850", 850},      {u"us-ascii", 20127}};
    for (const QXEncodingInfo& record : std::span(records).first(count))
        codePages[record.name] = record.codePage;
    for (const auto& [name, codePage] : codePages) {
        QXEncodingInfo byName{}, byCodePage{};
        EXPECT_EQ(QXGetEncInfoByName(name.c_str(), &byName), result::Ok);
        EXPECT_EQ(QXGetEncInfoByCodePage(codePage, &byCodePage), result::Ok);
        EXPECT_EQ(std::pair(byName.codePage, byName.reserved), std::pair(codePage, 0u));
        EXPECT_EQ(byName.name, byCodePage.name);
        EXPECT_TRUE(!name.starts_with(u"CP") || String(&name[2]).toInt64() == codePage);
    }
    QXEncodingInfo record{};
    expectEach(result::Fail,
               {QXGetEncInfoByName(u"UTF-16LE", &record), QXGetEncInfoByName(u"A7", &record),
                QXGetEncInfoByName(u"", &record), QXGetEncInfoByCodePage(0, &record),
                QXGetEncInfoByCodePage(1, &record), QXGetEncInfoByCodePage(UINT32_MAX, &record)});
    expectEach(result::InvalidArgument,
               {QXEnumerateEncInfo(nullptr, records.data()), QXEnumerateEncInfo(&count, nullptr),
                QXGetEncInfoByCodePage(1252, nullptr), QXGetEncInfoByName(nullptr, &record),
                QXGetEncInfoByName(u"ASCII", nullptr)});
    EXPECT_EQ(count, 28u);
}

/// A toy encoding: ASCII; E, 0 and a digit for U+1F60x; a bare "!" is U+110000, "#" a
/// surrogate; a byte from 0x80 up is invalid. Encodes what it decodes, and "\x01" .. as given.
struct ToyCodec : pcom::Implements<ComObject, IQXCharCodec> {
    int32_t GetEncodingName(IQXCharBuffer* name) override {
        const String toy(u"Toy");
        QXCopyCharBuffer(name, &toy);
        return m_nameResult;
    }
    int32_t GetMaxBytesPerChar(int32_t* bytes) override {
        *bytes = 3;
        return 0;
    }
    int32_t GetMaxCharsPerByte(int32_t* chars) override {
        *chars = 2;
        return 0;
    }
    int32_t Decode(const signed char* bytes, int32_t* count, char32_t* codePoint) override {
        const bool isWhole = *count >= 3;
        const signed char first = bytes[0];
        *count = 1;
        *codePoint = static_cast<char32_t>(first);
        if (first == 'E') {
            *count = isWhole ? 3 : 0;
            *codePoint = isWhole ? 0x1F600 + static_cast<char32_t>(bytes[2] - '0') : 0;
        } else if (first == '!') {
            *codePoint = 0x110000;
        } else if (first == '#') {
            *codePoint = 0xD800;
        } else if (first == '%') {
            *count = 1000; // claims more than there is
        } else if (first < 0) {
            *codePoint = ReplacementCharacter;
            return result::Fail;
        }
        return 0;
    }
    int32_t Encode(char32_t codePoint, IQXByteBuffer* bytes) override {
        Bytes out;
        if (codePoint >= 0x1F600 && codePoint < 0x1F610)
            out = {'E', '0', static_cast<char>('0' + (codePoint - 0x1F600))};
        else if (codePoint == U'ä')
            out = "toolong";
        else if (codePoint < 0x80)
            out = {static_cast<char>(codePoint)};
        signed char* to = nullptr;
        bytes->GetWriteLock(8, &to);
        out.copy(reinterpret_cast<char*>(to), 8);
        bytes->ReleaseWriteLock(static_cast<int32_t>(out.size()));
        return codePoint == U'ö' ? result::Fail : 0;
    }

    int32_t m_nameResult = 0;
};

/// Claims to have converted more than there is, in runs.
struct BoastingCodec : pcom::Implements<ToyCodec, IQXCharRunCodec> {
    int32_t DecodeRun(const signed char*, int32_t* count, char16_t*, int32_t* capacity) override {
        return boast(count, capacity);
    }
    int32_t EncodeRun(const char16_t*, int32_t* count, signed char*, int32_t* capacity) override {
        return boast(count, capacity);
    }

    int32_t boast(int32_t* count, int32_t* capacity) const {
        *count = 1000;
        *capacity = -1;
        return m_result;
    }

    int32_t m_result = 0;
};

struct MultiByte : testing::Test {
    Reference<ToyCodec> m_codec{new ToyCodec()};
    BTCCom m_decoder{Reference<IQXCharCodec>(m_codec)};
    CTBCom m_encoder{Reference<IQXCharCodec>(m_codec)};
};

TEST_F(MultiByte, TakesNameAndFactorsFromTheCodecAndDecodesOnlyWholeWhatItCanRead) {
    EXPECT_EQ(std::u16string_view(m_decoder.getEncodingName()), u"Toy");
    EXPECT_EQ(m_decoder.getMaxBytesPerChar(), 3);
    EXPECT_EQ(m_encoder.getMaxCharsPerByte(), 2);
    m_codec->m_nameResult = result::AccessDenied;
    expectEach(result::AccessDenied, {[&] { BTCCom failing{Reference<IQXCharCodec>(m_codec)}; }});
    m_decoder.setSubstitutionChars(u"<>", 2);
    EXPECT_EQ(decode(m_decoder, "\x80!"), u"<><>");
    Bytes rest;
    EXPECT_EQ(convertPieces<Units>(m_decoder, "aE0"s, 9, 9, &rest), u"a");
    EXPECT_EQ(rest, "E0");
    for (const Bytes& whole : {"E00"s, "\x80"s}) { // pairs and substitutions are written whole
        EXPECT_EQ(convertPieces<Units>(m_decoder, whole, 9, 1, &rest), u"");
        EXPECT_EQ(rest, whole);
    }
    EXPECT_EQ(convertPieces<Units>(m_decoder, "a%"s, 9, 9, &rest), u"a%");
    EXPECT_EQ(rest, "") << "a codec cannot move the position behind the input";
    m_decoder.setSubstitutionMode(false);
    EXPECT_THROW(decode(m_decoder, "\x80"), UnmappableCharacterException);
    EXPECT_THROW(decode(m_decoder, "!"), UnmappableCharacterException);
    EXPECT_EQ(descriptionOf<InvalidCharacterException>([&] { decode(m_decoder, "#"); }),
              "Invalid byte sequence (decoded chars in surrogate range)");
}

TEST_F(MultiByte, EncoderWritesOnlyWholeWhatTheCodecHas) {
    Units rest;
    EXPECT_EQ(convertPieces<Bytes>(m_encoder, u"\U0001F601"s, 9, 2, &rest), "");
    EXPECT_EQ(rest, u"\xDE01"); // the high half is pending
    EXPECT_EQ(encode(m_encoder, rest), "E01");
    // What the codec fails on, and what does not fit six bytes, counts as unmappable.
    EXPECT_EQ(encode(m_encoder, u"aé\U0001F601öäz"), "a?E01??z");
    m_encoder.setSubstitutionBytes(reinterpret_cast<const signed char*>("<>"), 2);
    EXPECT_EQ(encode(m_encoder, u"é\U0001F700"), "<><>") << "a pair is one character";
    m_encoder.setSubstitutionMode(false);
    EXPECT_THROW(encode(m_encoder, u"\U0001F700"), UnmappableCharacterException);
    EXPECT_THROW(encode(m_encoder, u"é"), UnmappableCharacterException);
    const auto failureOn = [&](const Units& half) {
        return descriptionOf<InvalidCharacterException>([&] { encode(m_encoder, half); });
    };
    EXPECT_EQ(failureOn(u"\xDC00"s), "trailing surrogate without leading");
    EXPECT_EQ(failureOn(u"\xD800 "s), "leading surrogate without trailing");
    EXPECT_EQ(failureOn(u"\xD800"s), "nothing thrown");
    signed char out[4];
    int32_t produced = 0;
    EXPECT_THROW(m_encoder.flush(out, &produced, 4), InvalidCharacterException);
}

// Runs that tell the truth are those of the codecs of a module.
TEST(MultiByteRuns, StayWithinTheBuffersAndGoOneByOneWhenTheyFail) {
    const Reference<BoastingCodec> codec(new BoastingCodec());
    BTCCom decoder{Reference<IQXCharCodec>(codec)};
    CTBCom encoder{Reference<IQXCharCodec>(codec)};
    EXPECT_EQ(decode(decoder, "abc"), u"");
    EXPECT_EQ(encode(encoder, u"abc"), "");
    codec->m_result = result::Fail;
    EXPECT_EQ(decode(decoder, "abcE00"), u"abc\U0001F600");
    EXPECT_EQ(encode(encoder, u"abc\U0001F600"), "abcE00");
}

/// Holds a unit back for the flush.
struct HoldingDecoder : BTCMultiByte {
    HoldingDecoder() : BTCMultiByte({}) { setPendingUnit(u'\xDC00'); }
    char32_t convertBytes(const signed char*, int32_t* count) override {
        *count = 0;
        return ReplacementCharacter;
    }
};

TEST(MultiByteDecoder, FlushesAPendingUnitOnceIntoTwoUnitsOfRoom) {
    HoldingDecoder decoder;
    char16_t out[3] = {};
    int32_t produced = 1;
    const auto flush = [&] { decoder.flush(out, &produced, 2); };
    EXPECT_EQ(descriptionOf<InvalidCharacterException>(flush),
              "Not enough room in buffer for trailing surrogate");
    EXPECT_EQ(decoder.flush(out, &produced, 3), 1);
    EXPECT_EQ(out[1], u'\xDC00');
    EXPECT_EQ(decoder.flush(out, &produced, 3), 0);
    EXPECT_EQ(produced, 2);
}

constexpr QXGUID ToyClass{0x5A3C1D20, 0x7B11, 0x4E0C, {0x92, 0x4F, 1, 2, 3, 4, 5, 6}};

TEST(CodecComponent, ServesAnEncodingThatTheLibraryLacks) {
    const std::pair<const char16_t*, const char16_t*> names[] = {
        {u"Toy", u"Orbelle.CharCodec.Toy"},
        {u"windows-1251", u"Orbelle.CharCodec.CP1251"}, // under the canonical name too
    };
    for (const auto& [name, component] : names) {
        ASSERT_GE(QXComRegisterClassFactory(component, &ToyClass,
                                            [](const QXGUID* interfaceId, void** object) {
                                                Reference<ToyCodec> codec(new ToyCodec());
                                                return codec->QueryInterface(*interfaceId, object);
                                            }),
                  0);
        EXPECT_EQ(decode(*decoderOf(name), "E00"), u"\U0001F600");
        const auto encoder = encoderOf(name);
        encoder->setReplaceHalves(true);
        EXPECT_EQ(encodeWhole(*encoder, u"\U0001F600\xD800", 2, 8), "E00?");
        QXComRevokeClassFactory(&ToyClass);
    }
}

} // namespace
