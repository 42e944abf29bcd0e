#pragma once

#include <cstdint>
#include <string_view>
#include <sys/types.h>

#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/files/path.h>

namespace qx::platform {

/// The path up to its last "/", that included; empty for a name alone.
inline std::string_view folderOf(std::string_view path) noexcept {
    return path.substr(0, path.rfind('/') + 1);
}
/// The last segment of @p path.
inline std::string_view nameOf(std::string_view path) noexcept {
    return path.substr(path.rfind('/') + 1);
}

/// Creates a new file beside @p target, a native path, under a name that holds a random number,
/// open for reading and writing. @p aside receives its path. While it stays open its lock tells
/// that its writer lives.
int32_t createAside(std::string_view target, mode_t mode, PathText& aside,
                    Descriptor& file) noexcept;

/// Removes the files that dead writers of the file @p targetName left in @p folder. Those of living
/// ones stay, also where no other lock keeps them out.
void removeLeftovers(const Descriptor& folder, std::string_view targetName) noexcept;

} // namespace qx::platform
