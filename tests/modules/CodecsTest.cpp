#include <cerrno>
#include <thread>

#include <gtest/gtest.h>

#include <iconv.h>
#include <sys/resource.h>

#include <qx/qx.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/SafeModule.h"
#include "tests/support/Sanitized.h"
#include "tests/support/TemporaryRegistry.h"
#include "tests/support/TestLocale.h"
#include "tests/text/ConverterSupport.h"

namespace {

using namespace qx;
using namespace qx::text::charset;
using namespace std::string_literals;
using namespace qxtest;

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

/// The codec of a code page, or null with the code of the failure in @p failure. Its module is
/// loaded like any library: its classes are reached without the registry.
Reference<IQXCharCodec> codecOf(uint32_t codePage, int32_t* failure = nullptr) {
    static const exec::SharedLibrary module(u"" QX_TEST_MODULE_DIR "/qxcodecs.so");
    const auto getClass =
        reinterpret_cast<decltype(&DllGetClassObject)>(module.getSymbol(u"DllGetClassObject"));
    const GUID classId = {
        0x12090000 + codePage, 0x0722, 0x4F11, {0x84, 0x8E, 0x9A, 0xAE, 0x88, 0xAF, 0xDE, 0xD2}};
    Reference<IQXClassFactory> factory;
    Reference<IQXCharCodec> codec;
    int32_t code = getClass(&classId, &IQXClassFactory::Iid, factory.putVoid());
    if (code >= 0)
        code = factory->CreateInstance(nullptr, IQXCharCodec::Iid, codec.putVoid());
    failure ? * failure = code : throwIfFailed(code);
    return codec;
}

/// The system's converter, asked for one character at a time.
class System {
public:
    System(const char* to, const char* from) : m_descriptor(iconv_open(to, from), iconv_close) {
        EXPECT_NE(m_descriptor.get(), reinterpret_cast<iconv_t>(-1));
    }

    /// What @p in converts to; empty with errno for nothing.
    Bytes convert(std::string_view in) {
        char out[16];
        auto* from = const_cast<char*>(in.data());
        char* to = out;
        size_t size = in.size();
        size_t room = sizeof out;
        iconv(m_descriptor.get(), nullptr, nullptr, nullptr, nullptr);
        if (iconv(m_descriptor.get(), &from, &size, &to, &room) == static_cast<size_t>(-1))
            return {};
        iconv(m_descriptor.get(), nullptr, nullptr, &to, &room);
        return {out, to};
    }

private:
    std::unique_ptr<void, decltype(&iconv_close)> m_descriptor;
};

/// Compares every sequence behind @p prefix with the system's meaning, and collects them with it, a
/// replacement for a fault, and the last of the longest that
/// are cut off.
void compareSequences(IQXCharCodec& codec, System& system, const Bytes& prefix, Bytes* bytes,
                      Units* units, Bytes* cut) {
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
            if (sequence.size() >= cut->size())
                *cut = sequence;
            compareSequences(codec, system, sequence, bytes, units, cut);
            continue;
        }
        if (expected.empty()) {
            ASSERT_EQ(codePoint, 0xFFFDu) << testing::PrintToString(sequence);
            ASSERT_EQ(count, size > 1 && last < 0x80 ? size - 1 : size);
            *units += u'\uFFFD';
            if (count < size)
                *units += static_cast<char16_t>(last); // ASCII stays
        } else {
            const Units unit(1, static_cast<char16_t>(static_cast<uint8_t>(expected[0]) |
                                                      static_cast<uint8_t>(expected[1]) << 8));
            ASSERT_EQ(expected.size(), 2u);
            ASSERT_EQ(codePoint, unit[0]) << testing::PrintToString(sequence);
            ASSERT_EQ(count, size);
            *units += unit;
        }
        *bytes += sequence;
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

TEST(Codecs, ReadAndWriteEverythingAsTheSystemDoesHoweverItIsCut) {
    const Units unmappable = u"\U0001F600plain text longer than a block\u0700\U0010FFFDA"s;
    for (const Row& row : Rows) {
        SCOPED_TRACE(row.name);
        const Reference<IQXCharCodec> codec = codecOf(row.codePage);
        BTCCom decoder(codec);
        CTBCom encoder(codec);
        EXPECT_EQ(decoder.getEncodingName(), String(row.name));
        EXPECT_EQ(decoder.getMaxCharsPerByte(), 1);
        EXPECT_EQ(encoder.getMaxBytesPerChar(), row.maxBytesPerChar);
        Bytes bytes, cut, rest, written;
        Units units, mapped;
        if (row.codePage != 720) { // which the system cannot be asked about
            System from("UTF-16LE", row.name), to(row.name, "UTF-16LE");
            compareSequences(*codec, from, {}, &bytes, &units, &cut);
            compareUnits(*codec, to, &mapped, &written);
        } else {
            for (int byte = 0; byte < 256; ++byte) {
                bytes += static_cast<char>(byte);
                units += decode(decoder, bytes.substr(bytes.size() - 1));
                if (units.back() != u'\uFFFD') {
                    mapped += units.back();
                    written += bytes.back();
                }
            }
            EXPECT_EQ(mapped.size(), 248u);
        }
        EXPECT_GT(mapped.size(), 200u);
        EXPECT_EQ(decode(decoder, bytes), units);
        EXPECT_EQ(encode(encoder, mapped), written);
        for (const auto& [piece, capacity] : {std::pair{1u, 3u}, {13u, 7u}}) {
            EXPECT_EQ(convertPieces<Units>(decoder, bytes + cut, piece, capacity, &rest), units);
            EXPECT_EQ(rest, cut);
            EXPECT_EQ(convertPieces<Bytes>(encoder, mapped, piece, capacity), written);
        }
        for (size_t piece = 1; piece <= unmappable.size(); ++piece) {
            for (const size_t capacity : {3u, 4u, 8u, 11u, 20u, 99u})
                ASSERT_EQ(convertPieces<Bytes>(encoder, unmappable, piece, capacity),
                          "?plain text longer than a block??A");
        }
        encoder.setSubstitutionMode(false);
        EXPECT_THROW(encode(encoder, u"\U0001F600"), UnmappableCharacterException);
        decoder.setSubstitutionMode(false);
        if (units.find(u'\uFFFD') != Units::npos) {
            EXPECT_THROW(decode(decoder, bytes), UnmappableCharacterException);
        }
    }
    CTBCom hebrew(codecOf(1255)); // writes a composed character whole or not at all
    EXPECT_EQ(convertPieces<Bytes>(hebrew, u"\uFB2C"s, 1, 2), "");
    EXPECT_EQ(encode(hebrew, u"\uFB2C"), "\xF9\xCC\xD1");
}

TEST(Codec, ChecksItsArguments) {
    const Reference<IQXCharCodec> codec = codecOf(932);
    Reference<IQXCharRunCodec> runs;
    ASSERT_EQ(codec->QueryInterface(IQXCharRunCodec::Iid, runs.putVoid()), 0);
    signed char bytes[4] = {'a', 'b', 'c', 'd'};
    char16_t units[4] = {};
    char32_t codePoint = 0;
    int32_t count = -3, room = 4;
    expectEach(result::NullPointer,
               {codec->GetEncodingName(nullptr), codec->GetMaxBytesPerChar(nullptr),
                codec->GetMaxCharsPerByte(nullptr), codec->Decode(nullptr, &count, &codePoint),
                codec->Encode(U'a', nullptr), runs->DecodeRun(bytes, &count, nullptr, &room),
                runs->EncodeRun(units, nullptr, bytes, &room)});
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

/// Without descriptors the system cannot load its converters.
const ChildEntry withoutConverters("withoutConverters", [](const auto&) {
    int32_t failure = 0;
    if (codecOf(1252, &failure) || failure != result::ClassNotAvailable)
        return 1;
    const rlimit none{0, 0};
    setrlimit(RLIMIT_NOFILE, &none);
    return codecOf(932, &failure) || failure != result::NotAvailable ? 2 : 0;
});

TEST(Codec, IsNotAvailableWhereTheSystemHasNoConverter) {
    if (Sanitized)
        GTEST_SKIP() << "the sanitizers need descriptors of their own";
    EXPECT_EQ(ChildProcess("withoutConverters").join(), 0);
}

// The codecs as programs meet them: by the name of an encoding, once their module is registered.

/// The module registered in a registry of its own.
class RegisteredCodecs : public testing::Test {
protected:
    RegisteredCodecs() { EXPECT_EQ(QXComRegisterModule(path.getData()), 0); }
    ~RegisteredCodecs() override { EXPECT_EQ(keptModules(), 0) << "a codec is left over"; }

    static int32_t keptModules() {
        int32_t kept = -1;
        EXPECT_EQ(QXComFreeUnusedModules(0, &kept), 0);
        return kept;
    }

    const String path{safeModule(QX_TEST_MODULE_DIR "/qxcodecs.so").c_str()};
    TemporaryRegistry registry;
};

TEST_F(RegisteredCodecs, ServeEveryEncodingOfTheTableByEachOfItsNames) {
    uint32_t count = 0;
    QXEnumerateEncInfo(&count, nullptr);
    std::vector<QXEncodingInfo> records(count);
    ASSERT_EQ(QXEnumerateEncInfo(&count, records.data()), 0);
    std::vector<std::pair<String, String>> names{
        {u"cp932", u"CP932"}, {u"windows-31j", u"CP932"}, {u"20932", u"EUCJP"}};
    for (const QXEncodingInfo& record : records)
        names.emplace_back(record.name, record.name);
    for (const auto& [name, canonical] : names) {
        const Reference<ByteToCharConverter> decoder =
            ByteToCharConverter::getConverter(name.getData());
        const Reference<CharToByteConverter> encoder =
            CharToByteConverter::getConverter(name.getData());
        EXPECT_EQ(decoder->getEncodingName(), canonical);
        EXPECT_EQ(encoder->getEncodingName(), canonical);
    }
}

TEST_F(RegisteredCodecs, ServeStringsUntilTheModuleIsUnregistered) {
    const char bytes[] = "\x93\xFA\x96{\x8C\xEA!";
    const String text(u"日本語!");
    const Reference<ByteToCharConverter> decoder = ByteToCharConverter::getConverter(u"cp932");
    EXPECT_EQ(keptModules(), 1);
    EXPECT_EQ(String(bytes, -1, u"CP932"), text);
    EXPECT_STREQ(reinterpret_cast<const char*>(text.getBytes(u"CP932")), bytes);

    EXPECT_EQ(QXComUnregisterModule(path.getData()), 0);
    EXPECT_THROW(String(bytes, -1, u"CP932"), UnknownEncodingException);
    EXPECT_EQ(CodecManager::getInstance()->getEncoder(u"MS932"), nullptr);
}

// Whatever in there decodes a narrow text asks for the encoding that it is about to make.
TEST_F(RegisteredCodecs, ServeTheEncodingOfTheLocale) {
    const struct {
        const char *language, *codeSet, *bytes;
        const char16_t* text;
    } rows[] = {{"bg_BG", "CP1251", "\xC4\xE0!", u"Да!"},
                {"ja_JP", "EUC-JP", "a\xC6\xFC\xCB\xDC\xB8\xEC", u"a日本語"}};
    for (const auto& row : rows) {
        const TestLocale locale(row.language, row.codeSet);
        ASSERT_TRUE(locale.isSet());
        std::vector<std::jthread> threads; // each may be the first that needs the tables
        for (int i = 0; i < 8; ++i)
            threads.emplace_back([&] { EXPECT_EQ(String(row.bytes), String(row.text)); });
        threads.clear();
        EXPECT_STREQ(reinterpret_cast<const char*>(String(row.text).getBytes()), row.bytes);
        EXPECT_EQ(util::fromSystemName(row.bytes), String(row.text));
        EXPECT_EQ(util::toSystemName(row.text), row.bytes);
        expectThrowsResult(result::UnmappableCharacter, [] { util::toSystemName(u"😀"_qs); });
        char cut[3];
        EXPECT_EQ(QXUnicodeToAnsi(row.text, -1, cut, sizeof cut), result::BufferTooSmall);
        EXPECT_EQ(std::string(cut), std::string(row.bytes, cut[0] == 'a' ? 1 : 2));
        EXPECT_EQ(QXComRegisterModule(path.getData()), 0);
    }
}

} // namespace
