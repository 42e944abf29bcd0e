#pragma once

#include <string>
#include <string_view>

namespace qx::platform {

/// The text in the default encoding. Throws the codes of QXUnicodeToAnsi, and 0x800700CE for a text
/// that is longer than any that the system takes.
std::string toNarrow(std::u16string_view text);

} // namespace qx::platform
