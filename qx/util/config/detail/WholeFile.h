#pragma once

#include <cstdint>
#include <string>

#include <qx/platform/replace.h>

namespace qx::util::detail {

/// The bytes of a file, all at one moment where that can be had.
struct WholeFile {
    std::string bytes;
    QXFileState state{};   ///< before the bytes were read
    bool isStable = false; ///< the file was in the same state afterwards

    /// Reads a file, again when it is written to meanwhile, but not without end.
    /// @param path     in the encoding of file names
    /// @param largest  in bytes; a longer file gives result::FileTooLarge
    /// @param flags    further ones of QXFileOpen
    int32_t read(const char* path, int64_t largest, uint32_t flags = 0);
};

} // namespace qx::util::detail
