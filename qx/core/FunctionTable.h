#pragma once

#include <cstring>

namespace qx::detail {

/// The table of functions through which an object is called by @p interface. It tells the exact
/// class in one read, also where the object knows no run-time types: a short cut for callers that
/// go on in the general way when it misses. Not null.
inline const void* functionTableOf(const void* interface) noexcept {
    const void* table = nullptr;
    std::memcpy(&table, interface, sizeof(table));
    return table;
}

} // namespace qx::detail
