#include "qx/platform/time.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <clocale>
#include <ctime>
#include <cwchar>
#include <langinfo.h>
#include <string>
#include <string_view>

#include <qx/platform/detail/TimeText.h>

#include <qx/platform/posix/CLibraryCall.h>
#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/time/calendar.h>

using namespace qx::platform;

namespace {

struct LongDateRow {
    std::string_view languages; ///< names of two letters in a row
    const wchar_t* pattern;
};

/// How long dates are written where day, month and year in the order of the short date, with blanks
/// between them, would not do. The system's locales have no pattern for them.
// clang-format off
constexpr LongDateRow LongDates[] = {
    {"dedanbnonncs",   L"%A, %-d. %B %Y"},
    {"skhrsletlvbssr", L"%A, %-d. %B %Y"},
    {"fi",             L"%A, %-d. %Bta %Y"}, // the case, which the names do not have
    {"ca",             L"%A, %-d %B de %Y"},  // the names have the first "de"
    {"esptgl",         L"%A, %-d de %B de %Y"},
    {"frsvitnl",       L"%A %-d %B %Y"},
    {"plruuklt",       L"%A, %-d %B %Y"},
    {"jazh",           L"%Y\u5e74%-m\u6708%-d\u65e5 %A"},
    {"ko",             L"%Y\ub144 %-m\uc6d4 %-d\uc77c %A"},
    {"hu",             L"%Y. %B %-d., %A"},
    {"tr",             L"%-d %B %Y %A"},
};
// clang-format on

/// A pattern of the locale for times, which has it in wide characters too.
std::wstring localePattern(nl_item item) {
    return reinterpret_cast<const wchar_t*>(nl_langinfo(item));
}

void replaceAll(std::wstring& text, std::wstring_view found, std::wstring_view by) {
    for (size_t i = 0; (i = text.find(found, i)) != text.npos; i += by.size())
        text.replace(i, found.size(), by);
}

/// The short date of the locale, with all figures of the year.
std::wstring shortDatePattern() {
    std::wstring pattern = localePattern(_NL_WD_FMT);
    if (pattern.empty())
        return L"%Y-%m-%d";
    if (pattern == L"%D")
        pattern = L"%m/%d/%y";
    replaceAll(pattern, L"%y", L"%Y");
    replaceAll(pattern, L"%OC%Oy", L"%Oy"); // some have the century
    replaceAll(pattern, L"%Oy", L"%OC%Oy"); // digits of the locale's own
    return pattern;
}

/// Name of the locale for times that the calling thread uses.
std::string_view localeName() { return nl_langinfo(NL_LOCALE_NAME(LC_TIME)); }

std::wstring longDatePattern() {
    const std::string_view name = localeName();
    const std::string_view language = name.substr(0, name.find_first_of("_.@"));
    for (const auto& row : LongDates) {
        const size_t found = language.size() == 2 ? row.languages.find(language) : language.npos;
        if (found != row.languages.npos && found % 2 == 0)
            return row.pattern;
    }
    // The first field of the short date tells the order.
    const std::wstring shortDate = shortDatePattern();
    const size_t first = shortDate.find(L'%');
    const wchar_t* const field = first == shortDate.npos ? L"" : shortDate.c_str() + first + 1;
    switch (field[field[0] == L'-' || field[0] == L'O' || field[0] == L'E']) {
    case L'd':
    case L'e':
        return L"%A, %-d %B %Y";
    case L'Y':
    case L'C':
        return language == "en" ? L"%A, %B %-d, %Y" : L"%Y %B %-d, %A";
    default:
        return L"%A, %B %-d, %Y";
    }
}

bool exists(const STRUCT_QX_TIME& time) {
    return time.year >= FirstYear && time.year <= LastYear && time.month >= 1 && time.month <= 12 &&
           time.day >= 1 && time.day <= daysInMonth(time.year, time.month) && time.hour < 24 &&
           time.minute < 60 && time.second < 60 && time.millisecond < 1000;
}

tm brokenDown(const STRUCT_QX_TIME& time) {
    const int64_t days = daysFromDate(time.year, time.month, time.day);
    tm result{};
    result.tm_year = time.year - 1900;
    result.tm_mon = time.month - 1;
    result.tm_mday = time.day;
    result.tm_hour = time.hour;
    result.tm_min = time.minute;
    result.tm_sec = time.second;
    result.tm_wday = dayOfWeek(days);
    result.tm_yday = static_cast<int>(days - daysFromDate(time.year, 1, 1));
    return result;
}

/// Number of units written with the 0 unit; 0 with errno, and no text, when they are too many.
int32_t copyAsUnits(std::wstring_view source, char16_t* text, int32_t capacity) {
    int32_t length = 0;
    const auto put = [&](uint32_t unit) {
        if (length < capacity)
            text[length] = static_cast<char16_t>(unit);
        ++length;
    };
    for (const wchar_t character : source) {
        const auto point = static_cast<uint32_t>(character);
        if (point < 0x10000) {
            put(point);
        } else {
            put(0xD800 + ((point - 0x10000) >> 10));
            put(0xDC00 + (point & 0x3FF));
        }
    }
    put(0);
    if (length <= capacity)
        return length;
    text[0] = 0;
    errno = ENAMETOOLONG;
    return 0;
}

int32_t write(const STRUCT_QX_TIME* time, const std::wstring& pattern, char16_t* text,
              int32_t capacity) {
    const tm fields = brokenDown(*time);
    wchar_t formatted[QX_TIME_TEXT_UNITS];
    const size_t length = callCLibrary(
        [&] { return std::wcsftime(formatted, std::size(formatted), pattern.c_str(), &fields); });
    if (length == 0) {
        errno = ENAMETOOLONG;
        return 0;
    }
    return copyAsUnits({formatted, length}, text, capacity);
}

/// What a text depends on, beside its kind.
struct TextKey {
    std::array<uint16_t, 6> time;
    std::string_view locale;

    explicit TextKey(const STRUCT_QX_TIME& of)
        : time{of.year, of.month, of.day, of.hour, of.minute, of.second}, locale(localeName()) {}
};

/// The last text of its kind. Who writes a log asks for the same second again and again, and the C
/// library takes half a microsecond for it. Whoever finds another thread here does without.
class LastText {
public:
    /// The number of its units, or 0 when it is another one or too long.
    int32_t copy(const TextKey& key, char16_t* text, int32_t capacity) noexcept {
        if (m_isInUse.exchange(true, std::memory_order_acquire))
            return 0;
        const bool isFound = m_units > 0 && m_units <= capacity && isFor(key);
        const int32_t units = isFound ? m_units : 0;
        std::copy_n(m_text, units, text);
        m_isInUse.store(false, std::memory_order_release);
        return units;
    }

    void keep(const TextKey& key, const char16_t* text, int32_t units) noexcept {
        if (units > MostUnits || key.locale.size() > MostName ||
            m_isInUse.exchange(true, std::memory_order_acquire))
            return;
        m_time = key.time;
        m_localeLength = key.locale.copy(m_locale, MostName);
        std::copy_n(text, units, m_text);
        m_units = units;
        m_isInUse.store(false, std::memory_order_release);
    }

    /// For a child of which another thread of the parent was here.
    void forget() noexcept {
        m_units = 0;
        m_isInUse.store(false, std::memory_order_release);
    }

private:
    static constexpr int32_t MostUnits = 96;
    static constexpr size_t MostName = 32;

    bool isFor(const TextKey& key) const noexcept {
        return m_time == key.time && std::string_view(m_locale, m_localeLength) == key.locale;
    }

    std::atomic<bool> m_isInUse{false};
    int32_t m_units = 0;
    std::array<uint16_t, 6> m_time{};
    char m_locale[MostName] = {};
    size_t m_localeLength = 0;
    char16_t m_text[MostUnits] = {};
};

constinit LastText lastShortDate, lastLongDate, lastTime, lastShortStamp, lastLongStamp;

/// Writes @p time by the pattern that @p makePattern returns.
template <class MakePattern>
int32_t getText(const STRUCT_QX_TIME* time, MakePattern&& makePattern, LastText& last,
                char16_t* text, int32_t capacity) {
    if (text && capacity > 0)
        text[0] = 0;
    if (!time || !text || capacity < 1 || !exists(*time)) {
        errno = EINVAL;
        return 0;
    }
    const TextKey key(*time);
    if (const int32_t units = last.copy(key, text, capacity))
        return units;
    try {
        const int32_t units = write(time, makePattern(), text, capacity);
        last.keep(key, text, units);
        return units;
    } catch (...) {
        errno = ENOMEM;
        return 0;
    }
}

/// The time of day of the locale, which is in halves of a day where it has names for them. Without
/// the zone, which is not known.
std::wstring timePattern() {
    std::wstring pattern = localePattern(_NL_WT_FMT);
    const std::wstring halves = localePattern(_NL_WT_FMT_AMPM);
    replaceAll(pattern, L"%r", halves.empty() ? L"%I:%M:%S %p" : halves);
    for (const wchar_t* const zone : {L" %Z", L"%Z ", L" %z", L"%z "})
        replaceAll(pattern, zone, L"");
    const auto has = [&](const wchar_t* field) { return pattern.find(field) != pattern.npos; };
    const bool losesHalf = (has(L"%I") || has(L"%OI") || has(L"%l")) && *nl_langinfo(AM_STR) == 0;
    return pattern.empty() || losesHalf ? L"%H:%M:%S" : pattern;
}

} // namespace

constexpr ForkSteps qx::platform::TimeTextForkSteps{.inChild = [](void*) noexcept {
    for (LastText* const last :
         {&lastShortDate, &lastLongDate, &lastTime, &lastShortStamp, &lastLongStamp})
        last->forget();
}};

int32_t qx::platform::writeTimeStamp(const STRUCT_QX_TIME& time, bool isLong,
                                     char16_t* text) noexcept {
    // One look at the last text instead of two, which is what a line of a log waits for.
    LastText& last = isLong ? lastLongStamp : lastShortStamp;
    const TextKey key(time);
    const bool canBeKnown = exists(time); // the key leaves something out
    if (const int32_t units = canBeKnown ? last.copy(key, text, TimeStampUnits) : 0)
        return units - 1;
    const int32_t date = QXTimeGetDateText(&time, isLong, text, QX_TIME_TEXT_UNITS);
    if (date == 0)
        return 0;
    text[date - 1] = u' ';
    const int32_t timeOfDay = QXTimeGetTimeText(&time, text + date, QX_TIME_TEXT_UNITS);
    if (timeOfDay == 0)
        return 0;
    last.keep(key, text, date + timeOfDay);
    return date + timeOfDay - 1;
}

int32_t QXTimeGetDateText(const STRUCT_QX_TIME* time, int32_t isLong, char16_t* text,
                          int32_t capacity) {
    return isLong ? getText(time, longDatePattern, lastLongDate, text, capacity)
                  : getText(time, shortDatePattern, lastShortDate, text, capacity);
}

int32_t QXTimeGetTimeText(const STRUCT_QX_TIME* time, char16_t* text, int32_t capacity) {
    return getText(time, timePattern, lastTime, text, capacity);
}
