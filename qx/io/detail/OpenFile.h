#pragma once

#include <cstdint>
#include <string_view>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/io/FileHandle.h>
#include <qx/util/SystemName.h>

namespace qx::io::detail {

/// Permission bits of files that streams create: everything for the owner, nothing for others.
inline constexpr uint32_t OwnerOnly = 0700;

/// Opens the file of that name with QX_FILE_... flags, to be owned by @p file.
/// @throws InvalidPathException for a name with a 0 unit, which would be cut there and stand for
///     another file
/// @throws ResultException with result::UnmappableCharacter for a name that the default encoding
///     does not have, else with the result of the system
inline void openFile(const String& name, uint32_t flags, FileHandle& file) {
    if (name.view().find(u'\0') != std::u16string_view::npos)
        throw InvalidPathException(u"file name with a 0 unit"_qs);
    throwIfFailedOf(QXFileOpen(util::toSystemName(name).c_str(), flags, OwnerOnly, file.put()),
                    name);
}

} // namespace qx::io::detail
