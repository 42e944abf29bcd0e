#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace qx::platform {

/// The list beside a file's mode that says who may use the file, as the system stores it; empty for
/// a file without one. The mode's bits for the group are then the most that anybody in the list
/// may, and do not tell about the group alone.
using AccessList = std::vector<uint8_t>;

/// Whether a file has such a list, or may have one for all that can be found out.
bool hasAccessList(const char* path) noexcept;

/// The list of a file; nothing when it cannot be read. Here and below a want of room or memory and
/// a failing device are thrown.
std::optional<AccessList> accessListOf(const char* path);

/// Makes a list that of an open file, whose mode follows it. An empty one removes the list, and the
/// mode stays. False when that cannot be done.
bool trySetAccessList(int file, const AccessList& list);

/// Makes entries with names of those for the owner and the group of a file, in a list for a file
/// that has another owner or group. The latter has no rights then.
void nameOwner(AccessList& list, uint32_t owner);
void nameGroup(AccessList& list, uint32_t group);

} // namespace qx::platform
