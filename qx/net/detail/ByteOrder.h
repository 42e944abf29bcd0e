#pragma once

#include <bit>
#include <cstdint>

namespace qx::net {

/// A port between host and network order; the same either way.
constexpr uint16_t swapPortOrder(uint16_t port) noexcept {
    if constexpr (std::endian::native == std::endian::little)
        return static_cast<uint16_t>(port << 8 | port >> 8);
    else
        return port;
}

} // namespace qx::net
