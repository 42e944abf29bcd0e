#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qx::platform {

/// The words of a command line, by the rules that QXProcessCreate documents.
/// @throws std::bad_alloc
std::vector<std::u16string> splitCommandLine(std::u16string_view line);

} // namespace qx::platform
