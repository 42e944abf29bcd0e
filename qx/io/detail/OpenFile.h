#pragma once

#include <cstdint>
#include <string_view>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/io/FileHandle.h>
#include <qx/util/SystemName.h>

namespace qx::io::detail {

/// Opens the file of that name with QX_FILE_... flags, to be owned by @p file.
/// @param permissions  bits of a file that is created
/// @throws InvalidPathException for a name with a 0 unit, which would be cut there and stand for
///     another file
/// @throws ResultException with result::UnmappableCharacter for a name that the default encoding
///     does not have, else with the result of the system
inline void openFile(const String& name, uint32_t flags, FileHandle& file,
                     uint32_t permissions = 0700) {
    if (name.view().find(u'\0') != std::u16string_view::npos)
        throw InvalidPathException(u"file name with a 0 unit"_qs);
    throwIfFailedOf(QXFileOpen(util::toSystemName(name).c_str(), flags, permissions, file.put()),
                    name);
}

} // namespace qx::io::detail
