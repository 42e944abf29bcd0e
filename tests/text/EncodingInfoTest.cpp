#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qx/platform/result.h>
#include <qx/text/charset/encinfo.h>

namespace {

using namespace qx;

TEST(EncodingInfo, TellsHowMuchRoomItWants) {
    for (uint32_t room : {0u, 1u, 27u}) {
        std::vector<QXEncodingInfo> records(28);
        uint32_t count = room;
        EXPECT_EQ(QXEnumerateEncInfo(&count, room == 0 ? nullptr : records.data()),
                  result::BufferTooSmall);
        EXPECT_EQ(count, 28u);
        EXPECT_EQ(records[0].name, nullptr) << "nothing is copied";
    }
    std::vector<QXEncodingInfo> records(30);
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
    EXPECT_EQ(records[27].codePage, 20932u);
    EXPECT_EQ(records[28].name, nullptr);
}

TEST(EncodingInfo, RefusesNullArguments) {
    uint32_t count = 1;
    QXEncodingInfo record;
    EXPECT_EQ(QXEnumerateEncInfo(nullptr, &record), result::InvalidArgument);
    EXPECT_EQ(QXEnumerateEncInfo(&count, nullptr), result::InvalidArgument);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(QXGetEncInfoByCodePage(1252, nullptr), result::InvalidArgument);
    EXPECT_EQ(QXGetEncInfoByName(nullptr, &record), result::InvalidArgument);
    EXPECT_EQ(QXGetEncInfoByName(u"ASCII", nullptr), result::InvalidArgument);
}

TEST(EncodingInfo, FindsCodePages) {
    QXEncodingInfo record{};
    for (const uint32_t codePage : {65001u, 1252u, 437u, 20932u, 20127u}) {
        EXPECT_EQ(QXGetEncInfoByCodePage(codePage, &record), result::Ok);
        EXPECT_EQ(record.codePage, codePage);
    }
    for (const uint32_t unknown : {0u, 1u, 4294967295u})
        EXPECT_EQ(QXGetEncInfoByCodePage(unknown, &record), result::Fail);
}

TEST(EncodingInfo, FindsNamesAndAliasesInAnyLetterCase) {
    const struct {
        const char16_t* name;
        const char16_t* canonical; // null: not found
        uint32_t codePage;
    } rows[] = {
        {u"windows-1251", u"CP1251", 1251},
        {u"WINDOWS-1258", u"CP1258", 1258},
        {u"Windows-1252", u"CP1252", 1252}, // from the codec table
        {u"ms932", u"CP932", 932},
        {u"Windows-31J", u"CP932", 932},
        {u"euc_jp", u"EUCJP", 20932},
        {u"EUC-JP", u"EUCJP", 20932},
        {u"gb2312", u"CP936", 936},
        {u"ks_c_5601-1987", u"CP949", 949},
        {u"Big5", u"CP950", 950},
        {u"Latin1", u"ISO8859_1", 28591},
        {u"utf8", u"UTF-8", 65001},
        {u"850", u"CP850", 850},
        {u"UTF-16LE", nullptr, 0}, // has no code page
        {u"A7", nullptr, 0},
        {u"nonsense", nullptr, 0},
        {u"", nullptr, 0},
    };
    for (const auto& row : rows) {
        QXEncodingInfo record{};
        EXPECT_EQ(QXGetEncInfoByName(row.name, &record), row.canonical ? result::Ok : result::Fail);
        if (row.canonical) {
            EXPECT_EQ(std::u16string_view(record.name), row.canonical);
            EXPECT_EQ(record.codePage, row.codePage);
            EXPECT_EQ(record.reserved, 0u);
        }
    }
}

} // namespace
