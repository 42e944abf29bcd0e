#pragma once

#include <cstddef>
#include <string_view>

namespace qx::net::detail {

/// Place of the first unit that is escaped in every component of a URI, "%" included unless two
/// hexadecimal digits follow it; npos when the text is in escaped form.
size_t findUnescaped(std::u16string_view text) noexcept;

} // namespace qx::net::detail
