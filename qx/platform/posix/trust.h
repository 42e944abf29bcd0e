#pragma once

#include <sys/stat.h>
#include <unistd.h>

namespace qx::platform {

inline constexpr mode_t OthersMayWrite = S_IWGRP | S_IWOTH;

inline bool isOwnedByUserOrSystem(const struct stat& status) noexcept {
    return status.st_uid == ::geteuid() || status.st_uid == 0;
}

/// Whether a file or folder is in the hands of the user or the system alone.
inline bool isTrusted(const struct stat& status) noexcept {
    return isOwnedByUserOrSystem(status) && (status.st_mode & OthersMayWrite) == 0;
}

} // namespace qx::platform
