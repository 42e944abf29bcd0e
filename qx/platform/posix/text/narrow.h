#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qx::platform {

/// Stores @p text in the default encoding. The codes of QXUnicodeToAnsi, and 0x800700CE for a text
/// that is longer than any that the system takes; @p narrow is then empty.
/// @throws std::bad_alloc
int32_t toNarrow(std::u16string_view text, std::string& narrow);

} // namespace qx::platform
