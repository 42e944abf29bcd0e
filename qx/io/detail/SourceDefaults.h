#pragma once

#include <cstdint>
#include <type_traits>

#include <qx/io/IoException.h>
#include <qx/io/LateFailure.h>
#include <qx/io/MovedLength.h>

namespace qx::io::detail {

/// One unit of @p source through its block read, zero-extended, or -1 at the end.
template <class Unit, class Source>
int readOne(Source& source) {
    Unit unit;
    if (source.read(&unit, 1) < 1)
        return -1;
    return static_cast<std::make_unsigned_t<Unit>>(unit);
}

/// Drops up to @p count units of @p source by reading them, and counts those dropped.
template <class Unit, class Source>
void dropByReading(Source& source, int32_t count, int32_t& dropped) {
    constexpr int32_t BlockSize = 256;
    Unit scratch[BlockSize];
    while (dropped < count) {
        const int32_t wanted = count - dropped < BlockSize ? count - dropped : BlockSize;
        const int32_t read = checkedMove(source.read(scratch, wanted), wanted);
        if (read < 0)
            break;
        dropped += read;
    }
}

/// The same for a source that keeps no failures. A time-out behind the first units only ends the
/// skip, since the next read is sure to meet it again. Any other failure passes: a connection that
/// was reset says so once.
/// @return the number of units dropped
template <class Unit, class Source>
int32_t skipByReading(Source& source, int32_t count) {
    int32_t skipped = 0;
    try {
        dropByReading<Unit>(source, count, skipped);
    } catch (const TimeoutException&) {
        if (skipped == 0)
            throw;
    }
    return skipped;
}

/// The same for a source whose next read raises the failure that @p failure keeps, whichever it is.
template <class Unit, class Source>
int32_t skipByReading(Source& source, int32_t count, LateFailure& failure) {
    int32_t skipped = 0;
    failure.guard(skipped, [&] { dropByReading<Unit>(source, count, skipped); });
    return skipped;
}

} // namespace qx::io::detail
