#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/text/charset/AMP7.h>
#include <qx/text/charset/CodecManager.h>
#include <qx/text/charset/CodecTable.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/SingleByte.h>
#include <qx/text/charset/UTF32.h>
#include <qx/text/charset/UTF8.h>
#include <qx/text/charset/encinfo.h>

#include "tests/support/ExpectResult.h"

namespace {

using namespace qx;
using namespace qx::text::charset;

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
    for (const char16_t* name : {u"utf-8", u"UTF8", u"utf_8", u"Utf-8"})
        EXPECT_TRUE(dynamic_cast<BTCUTF8*>(decoder(name).get()));
    EXPECT_TRUE(dynamic_cast<BTCISO8859_1*>(decoder(u"latin1").get()));
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
    // "CP850" has a record of its own, but nobody provides a converter.
    for (const char16_t* name : {u"no such encoding", u"", u"CP850", u"MS932"}) {
        EXPECT_EQ(manager->getDecoder(name), nullptr);
        EXPECT_EQ(manager->getEncoder(name), nullptr);
        EXPECT_EQ(qxtest::descriptionOf<UnknownEncodingException>([&] { decoder(name); }),
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
    const struct {
        const char16_t* name;
        const char16_t* canonical; // null: not found, as what has no code page
        uint32_t codePage;
    } rows[] = {
        {u"windows-1251", u"CP1251", 1251},
        {u"Windows-1252", u"CP1252", 1252},
        {u"ms932", u"CP932", 932},
        {u"euc_jp", u"EUCJP", 20932},
        {u"gb2312", u"CP936", 936},
        {u"ks_c_5601-1987", u"CP949", 949},
        {u"Big5", u"CP950", 950},
        {u"Latin1", u"ISO8859_1", 28591},
        {u"utf8", u"UTF-8", 65001},
        {u"850", u"CP850", 850},
        {u"437", u"CP437", 437},
        {u"us-ascii", u"ASCII", 20127},
        {u"UTF-16LE", nullptr, 0},
        {u"A7", nullptr, 1},
        {u"nonsense", nullptr, UINT32_MAX},
        {u"", nullptr, 0},
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

} // namespace
