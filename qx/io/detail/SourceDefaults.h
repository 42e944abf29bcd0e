#pragma once

#include <cstdint>
#include <type_traits>

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

/// Drops up to @p count units of @p source by reading them; the number dropped.
template <class Unit, class Source>
int32_t skipByReading(Source& source, int32_t count) {
    constexpr int32_t BlockSize = 256;
    Unit scratch[BlockSize];
    int32_t skipped = 0;
    while (skipped < count) {
        const int32_t wanted = count - skipped < BlockSize ? count - skipped : BlockSize;
        const int32_t read = checkedMove(source.read(scratch, wanted), wanted);
        if (read < 0)
            break;
        skipped += read;
    }
    return skipped;
}

} // namespace qx::io::detail
