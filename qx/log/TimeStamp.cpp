#include "qx/log/TimeStamp.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include <qx/log/detail/StampText.h>

namespace qx::log {

STRUCT_QX_TIME TimeStamp::now(bool local) {
    STRUCT_QX_TIME time;
    throwIfFailed(local ? QXTimeGetLocal(&time) : QXTimeGetSystem(&time));
    return time;
}

STRUCT_QX_TIME TimeStamp::fromPosix(int64_t seconds) {
    STRUCT_QX_TIME time;
    throwIfFailed(QXTimeFromPosix(seconds, &time));
    return time;
}

String TimeStamp::toString() const { return toString(false); }

String TimeStamp::toString(bool longDate) const {
    char16_t text[platform::TimeStampUnits];
    return String(detail::stampText(m_time, longDate, text));
}

String TimeStamp::toLog() const {
    // The decimal number of these fields with three digits behind the point. The largest fields
    // give one of 18 digits, which 64 bits hold.
    uint64_t number = m_time.year;
    for (const uint16_t field :
         {m_time.month, m_time.day, m_time.hour, m_time.minute, m_time.second})
        number = number * 100 + field;
    const uint64_t milliseconds = number * 1000 + m_time.millisecond;

    char digits[24];
    char* const end = std::to_chars(digits, std::end(digits), milliseconds / 1000).ptr;
    char16_t text[32];
    char16_t* at = std::copy(digits, end, text);
    *at++ = u'.';
    for (uint64_t unit = 100; unit > 0; unit /= 10)
        *at++ = static_cast<char16_t>(u'0' + milliseconds / unit % 10);
    return String(text, static_cast<int32_t>(at - text));
}

} // namespace qx::log
