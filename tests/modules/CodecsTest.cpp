#include <cerrno>
#include <numeric>

#include <gtest/gtest.h>

#include <iconv.h>
#include <sys/resource.h>

#include <qx/core/Result.h>
#include <qx/text/charset/ComCodec.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/Surrogates.h>
#include <qx/util/buffer/ROBuffer.h>

#include "tests/modules/LoadedModule.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Sanitized.h"
#include "tests/text/ConverterSupport.h"

namespace {

using namespace qx;
using namespace qx::text::charset;
using namespace std::string_literals;
using qxtest::Bytes;
using qxtest::convertPieces;
using qxtest::decode;
using qxtest::encode;
using qxtest::LoadedModule;
using qxtest::Units;

struct Row {
    const char* name;
    uint32_t codePage;
    int32_t maxBytesPerChar;
};

constexpr Row Rows[] = {
    {"CP1250", 1250, 1}, {"CP1251", 1251, 1}, {"CP1253", 1253, 1}, {"CP1254", 1254, 1},
    {"CP1255", 1255, 3}, {"CP1256", 1256, 1}, {"CP1257", 1257, 1}, {"CP1258", 1258, 2},
    {"CP720", 720, 1},   {"CP737", 737, 1},   {"CP775", 775, 1},   {"CP850", 850, 1},
    {"CP852", 852, 1},   {"CP855", 855, 1},   {"CP857", 857, 1},   {"CP858", 858, 1},
    {"CP862", 862, 1},   {"CP866", 866, 1},   {"CP932", 932, 2},   {"CP936", 936, 2},
    {"CP949", 949, 2},   {"CP950", 950, 2},   {"EUCJP", 20932, 3},
};

GUID classOf(uint32_t codePage) {
    return {
        0x12090000 + codePage, 0x0722, 0x4F11, {0x84, 0x8E, 0x9A, 0xAE, 0x88, 0xAF, 0xDE, 0xD2}};
}

const LoadedModule& module() {
    static const LoadedModule loaded("qxcodecs.so");
    return loaded;
}

Reference<IQXCharCodec> codecOf(uint32_t codePage) {
    return module().create<IQXCharCodec>(classOf(codePage));
}

/// The system's converter, asked for one character at a time.
class System {
public:
    System(const char* to, const char* from) : m_descriptor(iconv_open(to, from)) {
        EXPECT_NE(m_descriptor, reinterpret_cast<iconv_t>(-1));
    }
    ~System() { iconv_close(m_descriptor); }
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    /// What @p in converts to; empty with errno for nothing.
    Bytes convert(std::string_view in) {
        char out[16];
        auto* from = const_cast<char*>(in.data());
        char* to = out;
        size_t size = in.size();
        size_t room = sizeof out;
        iconv(m_descriptor, nullptr, nullptr, nullptr, nullptr);
        if (iconv(m_descriptor, &from, &size, &to, &room) == static_cast<size_t>(-1))
            return {};
        iconv(m_descriptor, nullptr, nullptr, &to, &room);
        return {out, to};
    }

private:
    iconv_t m_descriptor;
};

/// The codec of a row and the converters over it.
struct Subject {
    explicit Subject(const Row& of) : row(of) {}

    /// Of the rows that the system can be asked about.
    bool isComparable() const { return row.codePage != 720; }

    const Row& row;
    Reference<IQXCharCodec> codec = codecOf(row.codePage);
    BTCCom decoder{codec};
    CTBCom encoder{codec};
};

TEST(Codecs, TellNameAndFactors) {
    for (const Row& row : Rows) {
        const Subject subject(row);
        EXPECT_EQ(subject.decoder.getEncodingName(), String(row.name));
        EXPECT_EQ(subject.decoder.getMaxCharsPerByte(), 1);
        EXPECT_EQ(subject.encoder.getMaxBytesPerChar(), row.maxBytesPerChar) << row.name;
    }
}

/// Compares every sequence behind @p prefix with the system's meaning, and collects those that have
/// one, with it.
void compareSequences(IQXCharCodec& codec, System& system, const Bytes& prefix, Bytes* bytes,
                      Units* units) {
    for (int last = 0; last < 256; ++last) {
        const Bytes sequence = prefix + static_cast<char>(last);
        const Bytes expected = system.convert(sequence);
        const bool incomplete = expected.empty() && errno == EINVAL;
        const auto size = static_cast<int32_t>(sequence.size());
        int32_t count = size;
        char32_t codePoint = 0;
        const auto* const raw = reinterpret_cast<const signed char*>(sequence.data());
        ASSERT_EQ(codec.Decode(raw, &count, &codePoint), 0);
        if (incomplete) {
            ASSERT_EQ(count, 0) << testing::PrintToString(sequence);
            compareSequences(codec, system, sequence, bytes, units);
        } else if (expected.empty()) {
            ASSERT_EQ(codePoint, 0xFFFDu) << testing::PrintToString(sequence);
            ASSERT_EQ(count, size > 1 && last < 0x80 ? size - 1 : size);
        } else {
            const Units unit(1, static_cast<char16_t>(static_cast<uint8_t>(expected[0]) |
                                                      static_cast<uint8_t>(expected[1]) << 8));
            ASSERT_EQ(expected.size(), 2u);
            ASSERT_EQ(codePoint, unit[0]) << testing::PrintToString(sequence);
            ASSERT_EQ(count, size);
            *bytes += sequence;
            *units += unit;
        }
    }
}

TEST(Codecs, ReadEverySequenceAsTheSystemDoes) {
    for (const Row& row : Rows) {
        SCOPED_TRACE(row.name);
        Subject subject(row);
        if (!subject.isComparable())
            continue;
        System system("UTF-16LE", row.name);
        Bytes bytes;
        Units units;
        compareSequences(*subject.codec, system, {}, &bytes, &units);
        EXPECT_GT(units.size(), 200u);
        EXPECT_EQ(decode(subject.decoder, bytes), units);
        EXPECT_EQ(convertPieces<Units>(subject.decoder, bytes, 1, 1), units);
        EXPECT_EQ(convertPieces<Units>(subject.decoder, bytes, 13, 7), units);
    }
}

/// Compares the bytes of every unit with the system's, and collects those that have any, with them.
void compareUnits(IQXCharCodec& codec, System& system, Units* units, Bytes* bytes) {
    const Reference<util::RWByteBuffer> buffer(new util::RWByteBuffer());
    for (uint32_t unit = 0; unit < 0x10000; ++unit) {
        ASSERT_EQ(codec.Encode(unit, buffer), 0);
        const Bytes written(reinterpret_cast<const char*>(buffer->getData()),
                            static_cast<size_t>(buffer->getLength()));
        const char raw[] = {static_cast<char>(unit), static_cast<char>(unit >> 8)};
        if (isSurrogate(unit))
            ASSERT_EQ(written, "") << unit;
        else
            ASSERT_EQ(written, system.convert({raw, 2})) << unit;
        if (!written.empty()) {
            *units += static_cast<char16_t>(unit);
            *bytes += written;
        }
    }
}

TEST(Codecs, WriteEveryUnitAsTheSystemDoes) {
    for (const Row& row : Rows) {
        SCOPED_TRACE(row.name);
        Subject subject(row);
        if (!subject.isComparable())
            continue;
        System system(row.name, "UTF-16LE");
        Units units;
        Bytes bytes;
        compareUnits(*subject.codec, system, &units, &bytes);
        EXPECT_EQ(encode(subject.encoder, units), bytes);
        EXPECT_EQ(convertPieces<Bytes>(subject.encoder, units, 1, 3), bytes);
        EXPECT_EQ(convertPieces<Bytes>(subject.encoder, units, 13, 7), bytes);
    }
}

TEST(Codecs, GoOnBehindUnmappableTextHoweverItIsCut) {
    const Units units = u"\U0001F600plain text longer than a block\u0700\U0010FFFDA"s;
    for (const Row& row : Rows) {
        SCOPED_TRACE(row.name);
        Subject subject(row);
        for (size_t piece = 1; piece <= units.size(); ++piece) {
            for (const size_t capacity : {3u, 4u, 8u, 11u, 20u, 99u})
                ASSERT_EQ(convertPieces<Bytes>(subject.encoder, units, piece, capacity),
                          "?plain text longer than a block??A");
        }
        subject.encoder.setSubstitutionMode(false);
        EXPECT_THROW(encode(subject.encoder, u"\U0001F600"), UnmappableCharacterException);
    }
}

TEST(Codec, ReadsFaultsAsOneReplacementEach) {
    const struct {
        uint32_t codePage;
        Bytes bytes;
        Units units;
        Bytes rest = {};
    } rows[] = {
        {1253, "a\xAA\xD2z"s, u"a\uFFFD\uFFFDz"s},
        {1255, "\xE0\xD9!"s, u"\u05D0\uFFFD!"s},
        {720, "\x80\xA0\xFF"s, u"\uFFFD\u0628\u00A0"s},
        {932, "\x83\x41\x81\x20z"s, u"\u30A2\uFFFD z"s}, // ASCII stays
        {932, "\x81\xAD\xB1"s, u"\uFFFD\uFF71"s},        // an unassigned pair is one character
        {932, "\xFF\x83\x41\x83"s, u"\uFFFD\u30A2"s, "\x83"s}, // cut off
        {936, "\xC4\xE3\x80\xFF\xC4\n"s, u"\u4F60\u20AC\uFFFD\uFFFD\n"s},
        {949, "\xB0\xA1\xA2\xEFz"s, u"\uAC00\uFFFDz"s},
        {950, "\xA4\xA4\xA4<\xA4"s, u"\u4E2D\uFFFD<"s, "\xA4"s},
        {20932, "\x8F\xB0\xA1\x8E\xB1\x8F\xB0\x7F"s, u"\u4E02\uFF71\uFFFD\x7F"s},
        {20932, "\xA4\xA2\x8F\xB0"s, u"\u3042"s, "\x8F\xB0"s},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        BTCCom decoder(codecOf(row.codePage));
        for (size_t piece = 1; piece <= row.bytes.size(); ++piece) {
            Bytes rest;
            EXPECT_EQ(convertPieces<Units>(decoder, row.bytes, piece, 1, &rest), row.units);
            EXPECT_EQ(rest, row.rest);
        }
        decoder.setSubstitutionMode(false);
        if (row.units.find(u'\uFFFD') != Units::npos) {
            EXPECT_THROW(decode(decoder, row.bytes), UnmappableCharacterException);
        }
    }
}

TEST(Codec, WritesComposedCharactersInParts) {
    CTBCom vietnamese(codecOf(1258));
    EXPECT_EQ(encode(vietnamese, u"Ti\u1EBFng Vi\u1EC7t"), "Ti\xEA\xECng Vi\xEA\xF2t");
    BTCCom reader(codecOf(1258));
    EXPECT_EQ(decode(reader, "Ti\xEA\xECng"), u"Ti\u00EA\u0301ng");
    CTBCom hebrew(codecOf(1255));
    EXPECT_EQ(convertPieces<Bytes>(hebrew, u"\uFB2C"s, 1, 2), "") << "written whole or not at all";
    EXPECT_EQ(encode(hebrew, u"\uFB2C"), "\xF9\xCC\xD1");
}

TEST(Codec, OfAnEncodingThatTheSystemLacksIsWholeToo) {
    Bytes bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    BTCCom decoder(codecOf(720));
    CTBCom encoder(codecOf(720));
    const Units units = decode(decoder, bytes);
    EXPECT_EQ(std::count(units.begin(), units.end(), u'\uFFFD'), 8);
    const Bytes back = encode(encoder, units);
    for (size_t i = 0; i < 256; ++i)
        EXPECT_EQ(back[i], units[i] == u'\uFFFD' ? '?' : bytes[i]) << i;
}

TEST(Codec, ChecksItsArguments) {
    const Reference<IQXCharCodec> codec = codecOf(932);
    Reference<IQXCharRunCodec> runs;
    ASSERT_EQ(codec->QueryInterface(IQXCharRunCodec::Iid, runs.putVoid()), 0);
    signed char bytes[4] = {'a', 'b', 'c', 'd'};
    char16_t units[4] = {};
    char32_t codePoint = 0;
    int32_t count = -3;
    int32_t room = 4;
    EXPECT_EQ(codec->GetEncodingName(nullptr), result::NullPointer);
    EXPECT_EQ(codec->GetMaxBytesPerChar(nullptr), result::NullPointer);
    EXPECT_EQ(codec->GetMaxCharsPerByte(nullptr), result::NullPointer);
    EXPECT_EQ(codec->Decode(nullptr, &count, &codePoint), result::NullPointer);
    EXPECT_EQ(codec->Encode(U'a', nullptr), result::NullPointer);
    EXPECT_EQ(runs->DecodeRun(bytes, &count, nullptr, &room), result::NullPointer);
    EXPECT_EQ(runs->EncodeRun(units, nullptr, bytes, &room), result::NullPointer);
    EXPECT_EQ(codec->Decode(bytes, &count, &codePoint), 0);
    EXPECT_EQ(count, 0) << "a negative count is none";
    count = 4;
    room = 2;
    EXPECT_EQ(runs->DecodeRun(bytes, &count, units, &room), 0);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(room, 2);
    util::ROByteBuffer fixed(bytes, 4);
    EXPECT_EQ(codec->Encode(U'a', &fixed), result::NotImplemented);
}

TEST(Codec, KeepsItsModuleLoadedAndNothingElseDoes) {
    const LoadedModule loaded("qxcodecs.so");
    Reference<IQXCharCodec> codec = codecOf(1251);
    EXPECT_FALSE(loaded.canUnload());
    codec.reset();
    EXPECT_TRUE(loaded.canUnload());
    int32_t result = 0;
    EXPECT_FALSE(loaded.create<IQXCharCodec>(classOf(1252), &result));
    EXPECT_EQ(result, result::ClassNotAvailable);
}

/// Without descriptors the system cannot load its converters.
const qxtest::ChildEntry withoutConverters("withoutConverters", [](const auto&) {
    module();
    const rlimit none{0, 0};
    setrlimit(RLIMIT_NOFILE, &none);
    int32_t result = 0;
    const bool created = !!module().create<IQXCharCodec>(classOf(932), &result);
    return created || result != result::NotAvailable ? 1 : 0;
});

TEST(Codec, IsNotAvailableWhereTheSystemHasNoConverter) {
    if (qxtest::Sanitized)
        GTEST_SKIP() << "the sanitizers need descriptors of their own";
    qxtest::ChildProcess child("withoutConverters");
    EXPECT_EQ(child.join(), 0);
}

} // namespace
