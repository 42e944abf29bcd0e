#pragma once

#include <sys/stat.h>
#include <unistd.h>

namespace qx::platform {

/// Whether the program has rights that the user who started it has not, and runs as him all the
/// same: by the group or the capabilities of its file. What he could have put somewhere must then
/// not become code, so nothing of his is believed.
bool hasRightsBeyondUser() noexcept;

inline bool isOwnedByUserOrSystem(const struct stat& status) noexcept {
    return status.st_uid == 0 || (status.st_uid == ::geteuid() && !hasRightsBeyondUser());
}

/// Whether somebody but the user and the system may write a file or folder, which is no link.
///
/// The group may, when it is the user's own: systems that give each user one make everything
/// writable for it. It is known by the tables in /etc and not by a name service, which may be slow
/// and cannot be asked for all users; the superuser has none, his rights are worth more care, nor
/// has one whose program has rights beyond his.
/// @param path  of what @p status tells about
bool othersMayWrite(const char* path, const struct stat& status) noexcept;

/// Whether a file or folder is in the hands of the user or the system alone.
inline bool isTrusted(const char* path, const struct stat& status) noexcept {
    return isOwnedByUserOrSystem(status) && !othersMayWrite(path, status);
}

} // namespace qx::platform
