#include <array>
#include <cstdlib>
#include <ctime>

#include <qx/log/TimeStamp.h>
#include <qx/platform/time.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/TestLocale.h"

using namespace qx;
using namespace qx::literals;
using qx::log::TimeStamp;
using qxtest::failureOf;
using qxtest::TestLocale;

namespace {

TEST(TimeStamp, LogsTheDecimalNumberOfItsFields) {
    constexpr uint16_t most = 0xFFFF; // whatever fits is taken
    EXPECT_EQ(TimeStamp(STRUCT_QX_TIME{2024, 1, 3, 31, 23, 59, 58, 7}).toLog(),
              u"20240131235958.007"_qs);
    EXPECT_EQ(TimeStamp(STRUCT_QX_TIME{}).toLog(), u"0.000"_qs);
    EXPECT_EQ(TimeStamp(STRUCT_QX_TIME{most, most, most, most, most, most, most, most}).toLog(),
              u"661969696969100.535"_qs);
}

TEST(TimeStamp, CountsSecondsFrom1970) {
    const std::tuple<int64_t, String, int> cases[] = {
        {0, u"19700101000000.000"_qs, 4},
        {-1, u"19691231235959.000"_qs, 3},
        {1706745598, u"20240131235958.000"_qs, 3},
        {951782400, u"20000229000000.000"_qs, 2},   // the leap day of a full century
        {-2203977600, u"19000228000000.000"_qs, 3}, // and a year that has none
        {INT32_MAX + int64_t{1}, u"20380119031408.000"_qs, 2},
        {-11644473600, u"16010101000000.000"_qs, 1},  // the first one
        {910670515199, u"308271231235959.000"_qs, 5}, // the last one
    };
    for (const auto& [seconds, log, dayOfWeek] : cases) {
        SCOPED_TRACE(seconds);
        STRUCT_QX_TIME time;
        EXPECT_EQ(QXTimeFromPosix(seconds, &time), result::Ok);
        EXPECT_EQ(time.dayOfWeek, dayOfWeek);
        EXPECT_EQ(TimeStamp(seconds).toLog(), log);
    }
    for (const int64_t seconds :
         {int64_t{-11644473601}, int64_t{910670515200}, INT64_MIN, INT64_MIN + 1, INT64_MAX})
        EXPECT_EQ(failureOf([&] { TimeStamp{seconds}; }), result::InvalidArgument) << seconds;
    EXPECT_EQ(failureOf([] { TimeStamp{UINT64_MAX}; }), result::InvalidArgument);
    // Every integer is seconds, a truth value is the choice of a clock.
    EXPECT_EQ(TimeStamp(short{1}).toLog(), TimeStamp(1ull).toLog());
    EXPECT_GT(TimeStamp(true).toLog().compare(u"2020"), 0);
    EXPECT_GT(TimeStamp(false).toLog().compare(u"2020"), 0);
}

TEST(TimeStamp, FollowsTheTimeZoneAtOnce) {
    const auto minutes = [](const char* zone) {
        ::setenv("TZ", zone, 1);
        ::tzset();
        STRUCT_QX_TIME time;
        EXPECT_EQ(QXTimeGetLocal(&time), result::Ok);
        return time.hour * 60 + time.minute;
    };
    const std::pair<const char*, int> zonesAndMinutesAhead[] = {
        {"AAA-5", 300}, {"AAA-10:30", 630}, {"AAA-10:30BBB-12:30,0/0,J365/25", 750}};
    for (const auto& [zone, ahead] : zonesAndMinutesAhead) {
        const int start = minutes("UTC0"), there = minutes(zone);
        EXPECT_LE((there - start - ahead + 24 * 60) % (24 * 60), 1) << zone;
    }
    minutes("UTC0");
}

TEST(TimeStamp, IsWrittenAsTheLocaleDoes) {
    const STRUCT_QX_TIME time{2024, 3, 0, 5, 16, 4, 9, 0}; // a Tuesday, whatever it says
    const std::array<const char*, 4> cases[] = {
        // locale and code set (null for a locale that every system has), short and long text
        {"C", nullptr, "03/05/2024 16:04:09", "Tuesday, March 5, 2024 16:04:09"},
        {"en_US", "ISO-8859-1", "03/05/2024 04:04:09 PM", "Tuesday, March 5, 2024 04:04:09 PM"},
        {"de_DE", "ISO-8859-1", "05.03.2024 16:04:09", "Dienstag, 5. M\u00e4rz 2024 16:04:09"},
    };
    for (const auto& [name, codeSet, shortText, longText] : cases) {
        SCOPED_TRACE(name);
        const TestLocale locale = codeSet ? TestLocale(name, codeSet) : TestLocale(name);
        if (!locale.isSet())
            continue;
        for (int twice = 0; twice < 2; ++twice) { // from the system, and as it was the last time
            EXPECT_EQ(TimeStamp(time).toString().toUtf8(), shortText);
            EXPECT_EQ(TimeStamp(time).toString(true).toUtf8(), longText);
        }
    }
}

TEST(TimeText, RefusesWhatIsNoTimeAndWhatDoesNotFit) {
    const STRUCT_QX_TIME good{2024, 2, 4, 29, 23, 59, 59, 999};
    char16_t text[QX_TIME_TEXT_UNITS];
    const int32_t units = QXTimeGetTimeText(&good, text, QX_TIME_TEXT_UNITS);
    ASSERT_GT(units, 0);
    EXPECT_EQ(text[units - 1], u'\0');
    EXPECT_EQ(QXTimeGetTimeText(&good, text, units), units);
    EXPECT_EQ(QXTimeGetTimeText(&good, text, units - 1), 0);
    EXPECT_EQ(QXTimeGetDateText(nullptr, 0, text, QX_TIME_TEXT_UNITS), 0);
    EXPECT_EQ(QXTimeGetDateText(&good, 0, nullptr, QX_TIME_TEXT_UNITS), 0);

    const STRUCT_QX_TIME bad[] = {
        {1600, 1, 0, 1, 0, 0, 0, 0},  {30828, 1, 0, 1, 0, 0, 0, 0},   {2023, 2, 0, 29, 0, 0, 0, 0},
        {2024, 0, 0, 1, 0, 0, 0, 0},  {2024, 13, 0, 1, 0, 0, 0, 0},   {2024, 4, 0, 31, 0, 0, 0, 0},
        {2024, 1, 0, 0, 0, 0, 0, 0},  {2024, 1, 0, 1, 24, 0, 0, 0},   {2024, 1, 0, 1, 0, 60, 0, 0},
        {2024, 1, 0, 1, 0, 0, 60, 0}, {2024, 1, 0, 1, 0, 0, 0, 1000},
    };
    for (const auto& time : bad)
        EXPECT_EQ(failureOf([&] { (void)TimeStamp(time).toString(); }), result::InvalidArgument)
            << TimeStamp(time).toLog().toUtf8();
}

} // namespace
