#pragma once

#include <cstdint>
#include <string>

#include <qx/platform/posix/registry/RegistryStore.h>

namespace qx::platform::registry {

inline constexpr int32_t RootCount = 5;

/// The store of a root, which lives until the library is unloaded; null when there is no folder for
/// it.
Store* storeOf(ENUM_QX_HKEY root);

/// The folder in use, absolute; empty when the user has none.
std::string folderInUse();
/// Uses another folder from now on; empty for the user's.
void useFolder(const std::string& folder);

} // namespace qx::platform::registry
