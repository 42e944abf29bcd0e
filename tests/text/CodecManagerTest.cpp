#include <span>
#include <vector>

#include <qx/core/Implements.h>
#include <qx/platform/module.h>
#include <qx/text/charset/AMP7.h>
#include <qx/text/charset/CodecManager.h>
#include <qx/text/charset/CodecTable.h>
#include <qx/text/charset/ComCodec.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/SingleByte.h>
#include <qx/text/charset/UTF32.h>
#include <qx/text/charset/UTF8.h>
#include <qx/text/charset/encinfo.h>
#include <qx/util/buffer/CopyCharBuffer.h>

#include "tests/support/ExpectResult.h"
#include "tests/text/ConverterSupport.h"

namespace {

using namespace qx;
using namespace qx::text::charset;
using namespace qxtest;
using namespace std::string_literals;

Reference<ByteToCharConverter> decoder(const char16_t* name) {
    return ByteToCharConverter::getConverter(name);
}

Reference<CharToByteConverter> encoder(const char16_t* name) {
    return CharToByteConverter::getConverter(name);
}

TEST(CodecManager, GivesBothConvertersOfEveryName) {
    const char16_t* primary = nullptr;
    for (const CodecRow& row : codecTable()) {
        if (!row.canonicalName)
            primary = row.name; // its aliases stand behind it
        EXPECT_EQ(decoder(row.name)->getEncodingName(), std::u16string_view(primary));
        EXPECT_EQ(encoder(row.name)->getEncodingName(), std::u16string_view(primary));
    }
    for (const char16_t* name : {u"utf-8", u"UTF8", u"utf_8", u"Utf-8", u"utf 8", u"csUTF8"})
        EXPECT_TRUE(dynamic_cast<BTCUTF8*>(decoder(name).get()));
    EXPECT_TRUE(dynamic_cast<BTCISO8859_1*>(decoder(u"latin1").get()));
    EXPECT_TRUE(dynamic_cast<BTCISO8859_1*>(decoder(u"iso 8859-1").get()));
    EXPECT_TRUE(dynamic_cast<CTBCP1252*>(encoder(u"windows-1252").get()));
    EXPECT_TRUE(dynamic_cast<CTBASCII*>(encoder(u"ibm367").get()));
    EXPECT_TRUE(dynamic_cast<BTCUTF32BE*>(decoder(u"utf-32be").get()));
    EXPECT_TRUE(dynamic_cast<BTCAMP7*>(decoder(u"a7").get()));
    EXPECT_EQ(std::u16string_view(decoder(nullptr)->getEncodingName()),
              Reference<ByteToCharConverter>(ByteToCharConverter::getDefaultConverter())
                  ->getEncodingName());
    // A new one each time, for the caller to own.
    const Reference<Object> first(CodecManager::getInstance()->getDecoder(u"CP437"));
    EXPECT_EQ(first->GetRefCount(), 1u);
    EXPECT_NE(Reference<Object>(decoder(u"CP437")), first);
}

TEST(CodecManager, ConvertersReportTheFactorsThatBuffersAreSizedBy) {
    constexpr auto factorsOf = [](const auto& converter) {
        return converter->getMaxBytesPerChar() * 10 + converter->getMaxCharsPerByte();
    };
    const std::pair<const char16_t*, int> cases[] = {
        // bytes per character, characters per byte
        {u"UTF-16LE", 44}, {u"UTF-16BE", 44}, {u"UTF-32LE", 44}, {u"UTF-32BE", 44}, {u"AMP-7", 81},
        {u"ASCII", 11},    {u"latin1", 11},   {u"CP437", 11},    {u"CP1252", 11},
    };
    for (const auto& [name, factors] : cases) {
        EXPECT_EQ(factorsOf(decoder(name)), factors) << String(name);
        EXPECT_EQ(factorsOf(encoder(name)), factors) << String(name);
    }
    EXPECT_EQ(factorsOf(decoder(u"UTF-8")), 64);
    EXPECT_EQ(factorsOf(encoder(u"UTF-8")), 61);
}

TEST(CodecManager, AnswersNullForAnUnknownNameAndConvertersThrowIt) {
    CodecManager* const manager = CodecManager::getInstance();
    for (const char16_t* name : {u"no such encoding", u"", u"- _", u"UTF-9", u"ISO8859-"}) {
        EXPECT_EQ(manager->getDecoder(name), nullptr);
        EXPECT_EQ(manager->getEncoder(name), nullptr);
        EXPECT_EQ(descriptionOf<UnknownEncodingException>([&] { decoder(name); }),
                  String(name).toUtf8());
        EXPECT_THROW(encoder(name), UnknownEncodingException);
    }
    manager->registerCodec(u"utf-8", u"qx::text::charset::CTBASCII", u"no such class");
    EXPECT_TRUE(dynamic_cast<CTBUTF8*>(encoder(u"UTF-8").get())); // the first one stays
    EXPECT_THROW(manager->registerCodec(u"half a codec", u"qx::text::charset::CTBASCII", u"none"),
                 ClassNotFoundException);
    EXPECT_EQ(manager->getEncoder(u"half a codec"), nullptr);
}

TEST(EncodingInfo, TellsHowMuchRoomItWants) {
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
    std::u16string names;
    for (const QXEncodingInfo& record : std::span(records).first(count))
        names.append(record.name).append(u" ");
    EXPECT_EQ(names,
              u"ASCII ISO8859_1 CP437 CP1252 UTF-8 CP1250 CP1251 CP1253 CP1254 CP1255 CP1256 "
              u"CP1257 CP1258 CP720 CP737 CP775 CP850 CP852 CP855 CP857 CP858 CP862 CP866 "
              u"CP932 CP936 CP949 CP950 EUCJP ");
    EXPECT_EQ(records[28].name, nullptr);
    EXPECT_EQ(QXEnumerateEncInfo(nullptr, records.data()), result::InvalidArgument);
    EXPECT_EQ(QXEnumerateEncInfo(&count, nullptr), result::InvalidArgument);
    EXPECT_EQ(count, 28u);
}

TEST(EncodingInfo, FindsNamesAndAliasesInAnyLetterCaseAndCodePages) {
    const std::tuple<const char16_t*, const char16_t*, uint32_t> rows[] = {
        // name, canonical name (null: not found, as what has no code page)
        {u"windows-1251", u"CP1251", 1251}, {u"ms932", u"CP932", 932},  {u"Big5", u"CP950", 950},
        {u"Latin1", u"ISO8859_1", 28591},   {u"utf8", u"UTF-8", 65001}, {u"850", u"CP850", 850},
        {u"us-ascii", u"ASCII", 20127},     {u"UTF-16LE", nullptr, 0},  {u"A7", nullptr, 1},
        {u"nonsense", nullptr, UINT32_MAX}, {u"", nullptr, 0},
    };
    for (const auto& [name, canonical, codePage] : rows) {
        const int32_t expected = canonical ? result::Ok : result::Fail;
        QXEncodingInfo record{}, same{};
        EXPECT_EQ(QXGetEncInfoByName(name, &record), expected);
        EXPECT_EQ(QXGetEncInfoByCodePage(codePage, &same), expected);
        if (!canonical)
            continue;
        EXPECT_EQ(std::u16string_view(record.name), canonical);
        EXPECT_EQ(record.codePage, codePage);
        EXPECT_EQ(record.reserved, 0u);
        EXPECT_EQ(same.name, record.name);
    }
    QXEncodingInfo record{};
    EXPECT_EQ(QXGetEncInfoByCodePage(1252, nullptr), result::InvalidArgument);
    EXPECT_EQ(QXGetEncInfoByName(nullptr, &record), result::InvalidArgument);
    EXPECT_EQ(QXGetEncInfoByName(u"ASCII", nullptr), result::InvalidArgument);
}

/// A toy encoding: ASCII; E, 0 and a digit for U+1F60x; a bare "!" is U+110000, "#" a
/// surrogate; a byte from 0x80 up is invalid. Encodes what it decodes, and "\x01" .. as given.
class ToyCodec : public pcom::Implements<ComObject, IQXCharCodec> {
public:
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
        const char first = static_cast<char>(bytes[0]);
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
class BoastingCodec : public pcom::Implements<ToyCodec, IQXCharRunCodec> {
public:
    int32_t DecodeRun(const signed char*, int32_t* count, char16_t*, int32_t* capacity) override {
        return boast(count, capacity);
    }
    int32_t EncodeRun(const char16_t*, int32_t* count, signed char*, int32_t* capacity) override {
        return boast(count, capacity);
    }

    int32_t m_result = 0;

private:
    int32_t boast(int32_t* count, int32_t* capacity) const {
        *count = 1000;
        *capacity = -1;
        return m_result;
    }
};

class MultiByte : public testing::Test {
protected:
    Reference<ToyCodec> m_codec{new ToyCodec()};
    BTCCom m_decoder{Reference<IQXCharCodec>(m_codec)};
    CTBCom m_encoder{Reference<IQXCharCodec>(m_codec)};
};

TEST_F(MultiByte, TakesNameAndFactorsFromTheCodec) {
    EXPECT_EQ(std::u16string_view(m_decoder.getEncodingName()), u"Toy");
    EXPECT_EQ(m_decoder.getMaxBytesPerChar(), 3);
    EXPECT_EQ(m_encoder.getMaxCharsPerByte(), 2);
    m_codec->m_nameResult = result::AccessDenied;
    expectThrowsResult(result::AccessDenied,
                       [&] { BTCCom failing{Reference<IQXCharCodec>(m_codec)}; });
}

TEST_F(MultiByte, DecoderWritesOnlyWholeWhatItCanRead) {
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
    EXPECT_THROW(encode(m_encoder, u"é"), UnmappableCharacterException);
    EXPECT_THROW(encode(m_encoder, u"\U0001F700"), UnmappableCharacterException);
    const auto failureOn = [&](const Units& half) {
        m_encoder.reset();
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
class HoldingDecoder : public BTCMultiByte {
public:
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
        EXPECT_EQ(decode(*decoder(name), "E00"), u"\U0001F600");
        EXPECT_EQ(encode(*encoder(name), u"\U0001F600"), "E00");
        QXComRevokeClassFactory(&ToyClass);
    }
}

} // namespace
