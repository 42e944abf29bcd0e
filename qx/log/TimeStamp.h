#pragma once

#include <concepts>
#include <cstdint>
#include <utility>

#include <qx/core/Object.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/platform/time.h>

namespace qx::log {

/// A point in time, as a date and a time of day to the millisecond in no particular zone. It never
/// changes, so any number of threads may use it.
///
/// Constructors throw ResultException with the code of the platform call that failed.
class QX_API TimeStamp : public Object {
public:
    /// The time now, in the time zone of the process or (not @p local) in UTC.
    explicit TimeStamp(std::same_as<bool> auto local) : TimeStamp(now(local)) {}
    TimeStamp() : TimeStamp(true) {}
    /// The time in UTC so many seconds after the beginning of 1970; negative ones lie before it.
    /// @throws ResultException with result::InvalidArgument for years before 1601 or after 30827
    template <std::integral Seconds>
    requires(!std::same_as<Seconds, bool>) explicit TimeStamp(Seconds seconds)
        : TimeStamp(std::in_range<int64_t>(seconds) ? fromPosix(static_cast<int64_t>(seconds))
                                                    : fromPosix(INT64_MAX)) {}
    /// Takes the fields as they are, whether there is such a time or not.
    explicit TimeStamp(const STRUCT_QX_TIME& time) noexcept : m_time(time) {}

    const STRUCT_QX_TIME& getTime() const noexcept { return m_time; }
    /// toString(false)
    String toString() const override;
    /// Date, blank and time of day as the user's locale writes them; @p longDate: with the names of
    /// the month and of the day.
    /// @throws ResultException with result::InvalidArgument when there is no such time
    virtual String toString(bool longDate) const;
    /// Fourteen digits from the year to the second, ".", three digits: 20240131235958.007. What
    /// exceeds its digits carries over; leading zeros before the point are left out up to the last.
    virtual String toLog() const;

private:
    static STRUCT_QX_TIME now(bool local);
    static STRUCT_QX_TIME fromPosix(int64_t seconds);

    const STRUCT_QX_TIME m_time;
};

} // namespace qx::log
