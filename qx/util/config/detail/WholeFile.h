#pragma once

#include <cstdint>
#include <string>

#include <qx/platform/replace.h>

namespace qx::util::detail {

/// Reads a file whole, again when it is written to meanwhile, but not without end.
/// @param path      in the encoding of file names
/// @param largest   of so many bytes; a longer file gives result::FileTooLarge
/// @param state     receives the state before the last reading
/// @param isStable  receives whether it was in that state behind it, too
int32_t readWholeFile(const char* path, int64_t largest, std::string& bytes, QXFileState& state,
                      bool& isStable);

} // namespace qx::util::detail
