#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <map>
#include <random>
#include <sstream>

#include <gtest/gtest.h>

#include <iconv.h>

#include <qx/qx.h>

#include "tests/support/BlockingThread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/SafeModule.h"
#include "tests/support/Sanitized.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TemporaryRegistry.h"
#include "tests/support/TestLocale.h"
#include "tests/support/WithoutDescriptors.h"
#include "tests/text/ConverterSupport.h"

namespace {

using namespace qx;
using namespace qx::text::charset;
using namespace std::string_literals;
using namespace qxtest;

/// An object of the module, or null with the code of the failure in @p failure. The module is
/// loaded like any library: its classes are reached without the registry.
template <class Interface>
Reference<Interface> create(const GUID& classId, int32_t* failure = nullptr) {
    static const TemporaryFolder folder; // registered, the module is another one
    static const exec::SharedLibrary module([] {
        const std::string copy = folder.path("codecs.so");
        std::filesystem::copy_file(QX_TEST_MODULE_DIR "/qxcodecs.so", copy);
        return String(copy.c_str());
    }());
    const auto getClass =
        reinterpret_cast<decltype(&DllGetClassObject)>(module.getSymbol(u"DllGetClassObject"));
    Reference<IQXClassFactory> factory;
    Reference<Interface> object;
    int32_t code = getClass(&classId, &IQXClassFactory::Iid, factory.putVoid());
    if (code >= 0)
        code = factory->CreateInstance(nullptr, Interface::Iid, object.putVoid());
    failure ? * failure = code : throwIfFailed(code);
    return object;
}

/// The codec of a code page, as a component of its own.
Reference<IQXCharCodec> codecOf(uint32_t codePage, int32_t* failure = nullptr) {
    return create<IQXCharCodec>(
        {0x12090000 + codePage, 0x0722, 0x4F11, {0x84, 0x8E, 0x9A, 0xAE, 0x88, 0xAF, 0xDE, 0xD2}},
        failure);
}

/// The names of every encoding of the module.
std::vector<std::vector<std::string>> encodings(IQXCharCodecList& list) {
    std::vector<std::vector<std::string>> all;
    for (int32_t index = 0;; ++index) {
        String text;
        uint32_t codePage = 0;
        if (const int32_t code = list.GetEncoding(index, &codePage, &text); code < 0) {
            EXPECT_EQ(code, result::NoMoreItems);
            return all;
        }
        std::istringstream names(text.toUtf8());
        all.emplace_back(std::istream_iterator<std::string>(names),
                         std::istream_iterator<std::string>());
    }
}

Reference<IQXCharCodec> codecOf(IQXCharCodecList& list, const std::string& name) {
    Reference<IQXCharCodec> codec;
    IQXCharCodec* made = nullptr;
    EXPECT_EQ(list.CreateCodec(String::fromUtf8(name).getData(), &made), 0) << name;
    return Reference<IQXCharCodec>::attach(made);
}

/// The units of this machine, as the system names them.
constexpr const char* NativeUtf16 =
    std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";

/// The system's converter, asked for one text at a time.
struct System {
    System(const char* to, const char* from)
        : descriptor(iconv_open(to, from), iconv_close),
          isLenient(std::strstr(to, "//IGNORE") != nullptr) {
        EXPECT_NE(descriptor.get(), reinterpret_cast<iconv_t>(-1));
    }

    /// What @p in converts to; empty with errno for nothing.
    Bytes convert(std::string_view in) {
        Bytes out(64 + 8 * in.size(), '\0');
        auto* from = const_cast<char*>(in.data());
        char* to = out.data();
        size_t size = in.size();
        size_t room = out.size();
        iconv(descriptor.get(), nullptr, nullptr, nullptr, nullptr);
        if (iconv(descriptor.get(), &from, &size, &to, &room) == static_cast<size_t>(-1) &&
            !(isLenient && size == 0))
            return {};
        iconv(descriptor.get(), nullptr, nullptr, &to, &room);
        out.resize(out.size() - room);
        return out;
    }
    Units units(std::string_view in) {
        const Bytes raw = convert(in);
        Units units(raw.size() / 2, u'\0');
        std::memcpy(units.data(), raw.data(), raw.size());
        return units;
    }
    Bytes bytes(const Units& units) {
        return convert({reinterpret_cast<const char*>(units.data()), 2 * units.size()});
    }

    const std::unique_ptr<void, decltype(&iconv_close)> descriptor;
    const bool isLenient;
};

char32_t characterAt(const Units& units, size_t i) {
    return isHighSurrogate(units[i]) ? joinSurrogates(units[i], units[i + 1]) : units[i];
}

/// One encoding beside the system's, and what was collected of it.
struct Comparison {
    Comparison(const std::string& name, Reference<IQXCharCodec> compared)
        : codec(std::move(compared)), runs(interfaceOf<IQXCharRunCodec>(codec)),
          from(NativeUtf16, name.c_str()), to(name.c_str(), NativeUtf16),
          lenient((name + "//IGNORE").c_str(), NativeUtf16), isLenient(name != "ISO_11548-1"),
          isSparse(name == "GB18030") {}

    /// Compares every sequence behind @p prefix with the system's meaning, and collects them with
    /// it, a replacement for a fault, and the last of the longest that are cut off.
    void sequences(const Bytes& prefix, bool isKnownWrong = false) {
        for (int last = 0; last < 256; ++last) {
            if (isSparse && prefix.size() == 3 && (last < 0x30 || last > 0x39) && last % 32 != 0)
                continue; // a fourth byte that is no digit
            const Bytes sequence = prefix + static_cast<char>(last);
            const Units expected = from.units(sequence);
            const bool incomplete = expected.empty() && errno == EINVAL;
            const auto size = static_cast<int32_t>(sequence.size());
            const auto* const raw = reinterpret_cast<const signed char*>(sequence.data());
            int32_t count = size;
            int32_t room = 4;
            char16_t out[4];
            char32_t codePoint = 0;
            ASSERT_EQ(runs->DecodeRun(raw, &count, out, &room), 0);
            Units actual(out, static_cast<size_t>(room));
            if (count == 0) {
                count = size;
                ASSERT_EQ(codec->Decode(raw, &count, &codePoint), 0);
                actual = count == 0 ? Units() : Units(1, u'\uFFFD');
            }
            if (incomplete && (isKnownWrong || count != 0)) {
                isToldSooner = true; // the system goes on to read where nothing can follow
                sequences(sequence, true);
            } else if (incomplete) {
                cut = sequence.size() >= cut.size() ? sequence : cut;
                sequences(sequence);
            } else if (isKnownWrong) {
                ASSERT_EQ(expected, u"") << testing::PrintToString(sequence);
            } else if (expected.empty()) {
                ASSERT_EQ(codePoint, 0xFFFDu) << testing::PrintToString(sequence);
                ASSERT_EQ(count, size > 1 && last < 0x80 ? size - 1 : size);
                decoded += u'\uFFFD';
                if (count < size) { // ASCII stays
                    const Units stays = from.units(sequence.substr(sequence.size() - 1));
                    decoded += stays.empty() ? u"\uFFFD" : stays;
                }
                bytes += sequence;
            } else {
                ASSERT_EQ(actual, expected) << testing::PrintToString(sequence);
                ASSERT_EQ(count, size);
                decoded += expected;
                bytes += sequence;
                hasHigher = hasHigher || isHighSurrogate(expected[0]);
            }
        }
    }

    /// Compares the bytes of every character with the system's, a block at a time, and collects
    /// those that have any, with them.
    void characters() {
        constexpr char32_t Block = 0x1000;
        for (char32_t start = 0; start < (hasHigher ? 0x110000 : 0x10000); start += Block) {
            Units block;
            for (char32_t point = start; point < start + Block; ++point)
                block += isSurrogate(point) ? Units() : unitsOf(point);
            const size_t known = mapped.size(), before = written.size();
            for (size_t i = 0; i < block.size();) {
                auto count = static_cast<int32_t>(std::min<size_t>(block.size() - i, 32));
                signed char out[128];
                int32_t room = 128;
                ASSERT_EQ(runs->EncodeRun(&block[i], &count, out, &room), 0);
                mapped.append(block, i, static_cast<size_t>(count));
                written.append(reinterpret_cast<const char*>(out), static_cast<size_t>(room));
                i += static_cast<size_t>(count);
                if (i == block.size() || count == 32)
                    continue;
                const size_t units = isHighSurrogate(block[i]) ? 2 : 1; // what has stopped the run
                if (!isLenient || i % 8 == 0) {
                    const Bytes single = encoded(characterAt(block, i));
                    mapped.append(block, i, single.empty() ? 0 : units);
                    written += single;
                }
                i += units;
            }
            const Bytes added = written.substr(before);
            ASSERT_TRUE(to.bytes(mapped.substr(known)) == added) << static_cast<uint32_t>(start);
            if (isLenient) { // and the system has bytes for no other
                ASSERT_TRUE(lenient.bytes(block) == added) << static_cast<uint32_t>(start);
            }
        }
        Bytes singly;
        for (size_t i = 0; i < mapped.size(); i += isHighSurrogate(mapped[i]) ? 2 : 1)
            singly += encoded(characterAt(mapped, i));
        EXPECT_TRUE(singly == written && encoded(LastCodePoint + 1).empty());
        for (char32_t point = 0xD800; point < 0xE000; ++point)
            ASSERT_EQ(encoded(point), "");
    }

    /// The bytes of a character on its own.
    Bytes encoded(char32_t point) {
        EXPECT_EQ(codec->Encode(point, buffer), 0);
        return {reinterpret_cast<const char*>(buffer->getData()),
                static_cast<size_t>(buffer->getLength())};
    }

    Reference<IQXCharCodec> codec;
    Reference<IQXCharRunCodec> runs;
    const Reference<util::RWByteBuffer> buffer{new util::RWByteBuffer()};
    System from, to, lenient;
    Bytes bytes, cut, written;
    Units decoded, mapped;
    bool hasHigher = false;
    bool isToldSooner = false;
    bool isLenient; ///< the system can leave out what has no bytes
    bool isSparse;  ///< of the many sequences of four bytes that are wrong only some are tried
};

// docs/guide/text.md lists the differences.
TEST(Codecs, ReadAndWriteEverythingAsTheSystemDoesHoweverItIsCut) {
    if (ThreadSanitized)
        GTEST_SKIP() << "one thread does it alone, and would take minutes";
    std::string differences;
    const auto list = create<IQXCharCodecList>(CodecListClass);
    const auto all = encodings(*list);
    EXPECT_EQ(all.size(), 255u);
    for (const auto& names : all) {
        SCOPED_TRACE(names[0]);
        const Reference<IQXCharCodec> codec = codecOf(*list, names[0]);
        BTCCom decoder(codec);
        CTBCom encoder(codec);
        EXPECT_EQ(decoder.getEncodingName(), String::fromUtf8(names[0]));
        EXPECT_EQ(decoder.getMaxCharsPerByte(), 1);
        if (names[0] == "CP720" || codec.query<IQXCharStateCodec>()) // have tests of their own
            continue;
        Comparison pair(names[0], codec);
        pair.sequences({});
        pair.characters();
        EXPECT_GT(pair.mapped.size(), 40u);
        const Units text = pair.from.units(pair.written);
        differences += pair.isToldSooner ? ' ' + names[0] + " sooner" : "";
        if (!text.empty() && text != decode(decoder, pair.written))
            differences += ' ' + names[0] + " apart";
        EXPECT_TRUE(decode(decoder, pair.bytes) == pair.decoded);
        EXPECT_TRUE(encode(encoder, pair.mapped) == pair.written);
        const auto most = static_cast<size_t>(encoder.getMaxBytesPerChar());
        Bytes rest;
        const size_t step = pair.bytes.size() < 1 << 20 ? 1 : 7; // meets each place of a character
        for (const auto& [piece, capacity] : {std::pair{step, most}, {13u, most + 4}}) {
            EXPECT_TRUE(convertPieces<Units>(decoder, pair.bytes + pair.cut, piece, capacity + 1,
                                             &rest) == pair.decoded);
            EXPECT_EQ(rest, pair.cut);
            EXPECT_TRUE(convertPieces<Bytes>(encoder, pair.mapped, piece, capacity) ==
                        pair.written);
        }
    }
    EXPECT_EQ(differences, " CP1255 apart CP1258 apart CP932 sooner EUCJP sooner TCVN5712-1 apart"
                           " EUC-CN sooner EUC-JP-MS sooner EUC-KR sooner EUC-TW sooner"
                           " GB18030 sooner SHIFT_JIS sooner IBM932 sooner IBM943 sooner"
                           " ANSI_X3.110 sooner ISO_6937 sooner ISO_6937-2 sooner"
                           " T.61-8BIT sooner");
    CTBCom hebrew(codecOf(1255)); // writes a composed character whole or not at all
    EXPECT_EQ(convertPieces<Bytes>(hebrew, u"\uFB2C"s, 1, 2), "");
    EXPECT_EQ(encode(hebrew, u"\uFB2C"), "\xF9\xCC\xD1");
}

/// The bytes of a light string, each piece of which begins anew.
Bytes inPieces(const Units& text, const std::string& encoding, size_t capacity) {
    Bytes bytes(capacity, '\0'), all;
    Str1 light;
    light.append(TextView(text));
    int32_t position = 0, written = 0, result = result::BufferTooSmall;
    while (result == result::BufferTooSmall) {
        result = light.convertToA(reinterpret_cast<signed char*>(bytes.data()),
                                  static_cast<int32_t>(capacity), &written,
                                  String::fromUtf8(encoding).getData(), &position);
        all.append(bytes, 0, static_cast<size_t>(written));
    }
    return all;
}

// Random texts of all characters, in which characters that only stand behind others are frequent.
TEST(Codecs, WithStateReadAndWriteWholeTextsAsTheSystemDoesHoweverTheyAreCut) {
    const auto list = create<IQXCharCodecList>(CodecListClass);
    std::mt19937 random(20);
    size_t count = 0;
    for (const auto& names : encodings(*list)) {
        SCOPED_TRACE(names[0]);
        const Reference<IQXCharCodec> codec = codecOf(*list, names[0]);
        if (!codec.query<IQXCharStateCodec>())
            continue;
        ++count;
        System from(NativeUtf16, names[0].c_str()), to(names[0].c_str(), NativeUtf16);
        std::vector<Units> known, frequent;
        for (char32_t point = 0; point < 0x30000; ++point) {
            const bool maySwitch = point == 0x1B || point == 0x0E || point == 0x0F;
            if (maySwitch || isSurrogate(point) || to.bytes(unitsOf(point)).empty())
                continue;
            known.push_back(unitsOf(point));
            if (point < 0x80 || (point >= 0x2E5 && point <= 0x30C) || point == 0x309A ||
                (point >= 0x304B && point <= 0x3053))
                frequent.push_back(known.back());
        }
        BTCCom decoder(codecOf(*list, names[0]));
        CTBCom encoder(codec);
        const auto most = static_cast<size_t>(encoder.getMaxBytesPerChar());
        for (int round = 0; round < 300; ++round) {
            Units text;
            for (auto length = random() % 60; length > 0; --length)
                text += random() % 3 == 0 ? frequent[random() % frequent.size()]
                                          : known[random() % known.size()];
            const Bytes bytes = to.bytes(text);
            ASSERT_EQ(encodeWhole(encoder, text, 1 + random() % 7, most + random() % 9), bytes);
            ASSERT_EQ(inPieces(text, names[0], most + random() % 9), bytes);
            decoder.reset();
            ASSERT_EQ(convertPieces<Units>(decoder, bytes, 1 + random() % 7, 2 + random() % 5),
                      from.units(bytes));
        }
        // What fails leaves the state as it was; a substitution is in the set of the start.
        if (names[0] != "ISO-2022-JP")
            continue;
        EXPECT_EQ(encodeWhole(encoder, u"あ\u0700い", 1, 12), "\x1B$B$\"\x1B(B?\x1B$B$$\x1B(B");
        EXPECT_EQ(encodeWhole(encoder, u"a\x1B$Bb", 1, 12), "a?$Bb") << "switches nothing";
        encoder.setSubstitutionMode(false);
        EXPECT_EQ(encode(encoder, u"あ"), "\x1B$B$\"");
        EXPECT_THROW(encode(encoder, u"a\u0700"), UnmappableCharacterException);
        EXPECT_EQ(encode(encoder, u"い"), "$$");
        const auto out = makeReference<io::ByteArrayOutputStream>();
        io::OutputStreamWriter writer(out.get(), u"ISO-2022-JP");
        writer.write(u"あ\xD83D"_qs);
        EXPECT_THROW(writer.flush(), InvalidCharacterException) << "drops the half alone";
        writer.write(u"b"_qs);
        writer.flush();
        EXPECT_EQ(Bytes(reinterpret_cast<const char*>(out->getBytes()), 9), "\x1B$B$\"\x1B(Bb");
        const auto state = interfaceOf<IQXCharStateCodec>(codec);
        EXPECT_EQ(state->GetState(nullptr), result::NullPointer);
        EXPECT_EQ(state->SetState(UINT32_MAX), result::InvalidArgument);
        signed char none;
        int32_t position = 0;
        expectEach(result::BufferTooSmall, {[&] { encoder.flush(&none, &position, position); }});
    }
    EXPECT_EQ(count, 14u);
}

TEST(Codecs, ReplaceWhatTheEncodingLacksHoweverItIsCut) {
    const Units unmappable = u"\U0001F600plain text longer than a block\u0700\U0010FFFDA"s;
    for (const uint32_t page : {1250u, 720u, 932u, 949u, 20932u}) {
        CTBCom encoder(codecOf(page));
        for (size_t piece = 1; piece <= unmappable.size(); ++piece) {
            for (const size_t capacity : {3u, 4u, 8u, 11u, 20u, 99u})
                ASSERT_EQ(convertPieces<Bytes>(encoder, unmappable, piece, capacity),
                          "?plain text longer than a block??A");
        }
    }
    BTCCom arabic(codecOf(720)); // which the system lacks
    CTBCom back(codecOf(720));
    Bytes all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    const Units units = decode(arabic, all);
    EXPECT_EQ(std::ranges::count(units, u'\uFFFD'), 8);
    EXPECT_EQ(decode(arabic, encode(back, units)).size(), 256u);
}

TEST(CodecList, KnowsEveryNameOfAnEncodingAndForgivesWhatStandsBetweenItsParts) {
    const auto list = create<IQXCharCodecList>(CodecListClass);
    std::map<std::string, std::string> owners;
    for (const auto& names : encodings(*list)) {
        for (const std::string& name : names) {
            const auto& owner = owners.emplace(name, names[0]).first->second;
            EXPECT_EQ(owner, names[0]) << name << " is a name of two";
        }
    }
    for (const auto& [name, encoding] : {std::pair{"iso 8859 2", u"ISO-8859-2"},
                                         {"csKOI8R", u"KOI8-R"},
                                         {"GBK", u"CP936"},
                                         {"macintosh", u"MACINTOSH"}})
        EXPECT_EQ(BTCCom(codecOf(*list, name)).getEncodingName(), String(encoding));
    IQXCharCodec* none = nullptr;
    for (const char16_t* name : {u"", u"-", u"ISO-8859-12", u"KOI8-R\u0100"})
        EXPECT_EQ(list->CreateCodec(name, &none), result::UnknownEncoding);
    uint32_t codePage = 0;
    expectEach(result::NullPointer,
               {list->CreateCodec(u"CP932", nullptr), list->CreateCodec(nullptr, &none),
                list->GetEncoding(0, &codePage, nullptr)});
    EXPECT_EQ(list->GetEncoding(-1, &codePage, &*makeReference<util::RWCharBuffer>()),
              result::InvalidArgument);
}

TEST(Codec, ChecksItsArguments) {
    const Reference<IQXCharCodec> codec = codecOf(932);
    const auto runs = interfaceOf<IQXCharRunCodec>(codec);
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
    EXPECT_EQ(std::pair(count, room), std::pair(2, 2));
    util::ROByteBuffer fixed(bytes, 4);
    EXPECT_EQ(codec->Encode(U'a', &fixed), result::NotImplemented);
}

// Without them the system cannot load its converters.
QX_TEST_IN_CHILD(Codec, TellsOfWantOfDescriptors) {
    if (Sanitized)
        GTEST_SKIP() << "the sanitizers need descriptors of their own";
    int32_t failure = 0;
    EXPECT_FALSE(codecOf(1252, &failure));
    EXPECT_EQ(failure, result::ClassNotAvailable);
    withoutDescriptors([&] { EXPECT_FALSE(codecOf(932, &failure)); });
    EXPECT_EQ(failure, result::TooManyFiles);
}

// The codecs as programs meet them: by the name of an encoding, once their module is registered.

/// The module registered in a registry of its own.
struct RegisteredCodecs : testing::Test {
    RegisteredCodecs() { EXPECT_EQ(QXComRegisterModule(path.getData()), 0); }
    ~RegisteredCodecs() override { EXPECT_EQ(freeModules(), 0) << "a codec is left over"; }

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
        EXPECT_EQ(decoderOf(name.getData())->getEncodingName(), canonical);
        EXPECT_EQ(encoderOf(name.getData())->getEncodingName(), canonical);
    }
}

TEST_F(RegisteredCodecs, ServeStringsUntilTheModuleIsUnregistered) {
    const char bytes[] = "\x93\xFA\x96{\x8C\xEA!";
    const String text(u"日本語!");
    const auto decoder = decoderOf(u"cp932");
    EXPECT_EQ(freeModules(), 1);
    EXPECT_EQ(String(bytes, -1, u"CP932"), text);
    EXPECT_STREQ(reinterpret_cast<const char*>(text.getBytes(u"CP932")), bytes);

    EXPECT_EQ(QXComUnregisterModule(path.getData()), 0);
    EXPECT_LT(QXComClassIDFromProgID(u"Orbelle.CharCodecList", &*std::make_unique<GUID>()), 0);
    // From then on that of the library, where the build tree is one from which modules are loaded.
    if (findCodecList()) {
        EXPECT_EQ(String(bytes, -1, u"MS 932"), text);
        EXPECT_EQ(String("\xBE", -1, u"iso8859_15"), String(u"Ÿ"));
        for (const char16_t* name : {u"gb2312", u"936"})
            EXPECT_EQ(String("\xD6\xD0", -1, name), String(u"中"));
    } else {
        EXPECT_THROW(String(bytes, -1, u"CP932"), UnknownEncodingException);
        EXPECT_EQ(CodecManager::getInstance()->getEncoder(u"MS932"), nullptr);
    }
}

// Whatever in there decodes a narrow text asks for the encoding that it is about to make.
TEST_F(RegisteredCodecs, ServeTheEncodingOfTheLocale) {
    const struct {
        const char *language, *codeSet, *bytes;
        const char16_t* text;
    } rows[] = {{"bg_BG", "CP1251", "\xC4\xE0!", u"Да!"},
                {"zh_CN", "GBK", "\xD6\xD0!", u"中!"},
                {"de_DE", "ISO-8859-15", "a\xA4!", u"a€!"},
                {"ja_JP", "EUC-JP", "a\xC6\xFC\xCB\xDC\xB8\xEC", u"a日本語"}};
    for (const auto& row : rows) {
        const TestLocale locale(row.language, row.codeSet);
        ASSERT_TRUE(locale.isSet());
        if (!Sanitized)
            withoutDescriptors([&] { String(row.bytes); }); // which finds out nothing for good
        // Each may be the first that needs the tables.
        inThreads(8, [&](int) { EXPECT_EQ(String(row.bytes), String(row.text)); });
        EXPECT_STREQ(reinterpret_cast<const char*>(String(row.text).getBytes()), row.bytes);
        EXPECT_EQ(util::fromSystemName(row.bytes), String(row.text));
        EXPECT_EQ(util::toSystemName(row.text), row.bytes);
        expectEach(result::UnmappableCharacter, {[] { util::toSystemName(u"😀"_qs); }});
        char cut[3];
        EXPECT_EQ(QXUnicodeToAnsi(row.text, -1, cut, sizeof cut), result::BufferTooSmall);
        EXPECT_EQ(std::string(cut), std::string(row.bytes, row.bytes[1] == '\xC6' ? 1 : 2));
        EXPECT_EQ(QXComRegisterModule(path.getData()), 0);
    }
}

} // namespace
