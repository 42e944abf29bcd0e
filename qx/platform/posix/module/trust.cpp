#include "qx/platform/posix/module/trust.h"

#include <sys/auxv.h>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/accesslist.h>
#include <qx/platform/posix/files/systemtable.h>
#include <qx/platform/posix/module/PrivateGroup.h>

namespace qx::platform {

namespace {

/// Whether the user is alone in a group. Read anew each time: it is asked when a module is loaded.
bool isOwnGroup(gid_t group) noexcept {
    const uid_t user = ::geteuid();
    if (user == 0 || hasRightsBeyondUser())
        return false;
    return resultOf([&] {
               const std::string users = readTable("/etc/passwd"), groups = readTable("/etc/group");
               return isPrivateGroup(users, groups, user, group) ? 1 : 0;
           }) == 1;
}

} // namespace

// A program that has become another user by the rights of its file, now or at its start, follows
// that one.
bool hasRightsBeyondUser() noexcept {
    const uid_t user = ::geteuid();
    return user != 0 && ::getauxval(AT_SECURE) != 0 && user == ::getauxval(AT_UID);
}

bool othersMayWrite(const char* path, const struct stat& status) noexcept {
    if ((status.st_mode & S_IWOTH) != 0)
        return true;
    return (status.st_mode & S_IWGRP) != 0 && (hasAccessList(path) || !isOwnGroup(status.st_gid));
}

} // namespace qx::platform
