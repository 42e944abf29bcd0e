#pragma once

#include <algorithm>
#include <string>
#include <string_view>

// Tables that the system keeps as text: lines of fields.

namespace qx::platform {

/// All bytes of a file; what could be read of it when there is an error.
std::string readTable(const char* path);

/// Takes the text up to @p end off the front of @p rest; all of it when there is none.
inline std::string_view take(std::string_view& rest, char end) noexcept {
    const size_t length = std::min(rest.find(end), rest.size());
    const std::string_view part = rest.substr(0, length);
    rest.remove_prefix(std::min(length + 1, rest.size()));
    return part;
}

} // namespace qx::platform
