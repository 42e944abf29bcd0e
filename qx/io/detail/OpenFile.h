#pragma once

#include <cstdint>

#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/io/FileHandle.h>

namespace qx::io::detail {

/// Permission bits of files that streams create: everything for the owner, nothing for others.
inline constexpr uint32_t OwnerOnly = 0700;

/// Opens the file of that name with QX_FILE_... flags, to be owned by @p file.
/// @throws ResultException
inline void openFile(const String& name, uint32_t flags, FileHandle& file) {
    throwIfFailed(QXFileOpen(name.getDataT<char>(), flags, OwnerOnly, file.put()));
}

} // namespace qx::io::detail
