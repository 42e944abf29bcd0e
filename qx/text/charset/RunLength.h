#pragma once

#include <cstddef>

namespace qx::text::charset {

/// How far a run of conversion came, in units of its input and output.
struct RunLength {
    std::size_t read = 0;
    std::size_t written = 0;

    constexpr RunLength& operator+=(const RunLength& next) noexcept {
        read += next.read;
        written += next.written;
        return *this;
    }
};

} // namespace qx::text::charset
