#pragma once

#include <cstdint>

#include <qx/io/ByteOrder.h>

namespace qx::net {

/// A port between host and network order; the same either way.
constexpr uint16_t swapPortOrder(uint16_t port) noexcept {
    return io::isSwapped(QX_ENDIAN_BIG) ? io::swapBytes(port) : port;
}

} // namespace qx::net
