#pragma once

#include <cstdint>
#include <string>

#include <qx/platform/posix/registry/RegistryStore.h>

namespace qx::platform::registry {

inline constexpr int32_t RootCount = 5;

/// The store of a root, which lives until the library is unloaded.
/// @throws std::bad_alloc
int32_t storeOf(ENUM_QX_HKEY root, Store*& store);

/// The folder in use, absolute.
int32_t currentFolder(std::string& folder);
/// Uses another folder from now on; empty for the user's.
int32_t useFolder(const std::string& folder);

} // namespace qx::platform::registry
