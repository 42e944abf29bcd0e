#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/io/FileHandle.h>
#include <qx/util/SystemName.h>

namespace qx::io::detail {

/// @throws InvalidPathException for a name with a 0 unit, which would be cut there and stand for
///     another file
inline void requireWhole(const String& name) {
    if (name.view().find(u'\0') != std::u16string_view::npos)
        throw InvalidPathException(u"file name with a 0 unit"_qs);
}

/// The name of a file as the system takes it.
/// @throws what requireWhole throws
/// @throws ResultException with result::UnmappableCharacter for a name that the default encoding
///     does not have
inline std::string systemNameOf(const String& name) {
    requireWhole(name);
    return util::toSystemName(name);
}

/// Opens the file at @p path, which @p name stands for in errors.
inline void openFile(const String& name, const std::string& path, uint32_t flags, FileHandle& file,
                     uint32_t permissions) {
    throwIfFailedOf(QXFileOpen(path.c_str(), flags, permissions, file.put()),
                    [&] { return name.isEmpty() ? u"\"\""_qs : name; });
}

/// Opens the file of that name with QX_FILE_... flags, to be owned by @p file.
/// @param permissions  bits of a file that is created
/// @throws what systemNameOf throws, and ResultException with the result of the system
inline void openFile(const String& name, uint32_t flags, FileHandle& file,
                     uint32_t permissions = 0700) {
    openFile(name, systemNameOf(name), flags, file, permissions);
}

/// Writes all the bytes, after short writes too.
/// @throws ResultException with the name of the file
inline void writeAll(QXHandle file, const signed char* from, int32_t length, const String& name) {
    int32_t written = 0;
    throwIfFailedOf(QXFileWriteAll(file, from, length, &written), name);
}

} // namespace qx::io::detail
