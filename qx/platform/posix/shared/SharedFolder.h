#pragma once

#include <string>

#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/shared/SharedFile.h>

#define QX_MEMORY_FOLDER "/dev/shm"

namespace qx::platform::shared {

/// An open folder, and where it lies.
struct Folder {
    Descriptor descriptor;
    std::string path;
};

/// What becomes of a folder of the user that is not there.
enum class Missing { IsMade, IsNone };

/// The folder of a place. Throws Busy while it is not settled which one is the user's.
Folder openFolder(Place place, Missing missing);

/// Throws why a folder or a file in it cannot be had: a system may be without the memory file
/// system, or have it read-only.
[[noreturn]] void throwFolderFailure();

} // namespace qx::platform::shared
