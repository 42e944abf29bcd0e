#include "qx/platform/posix/files/accesslist.h"

#include <cerrno>
#include <sys/xattr.h>

namespace qx::platform {

namespace {

constexpr const char* Attribute = "system.posix_acl_access";

/// What the last look at the attribute of a file tells, whose result was @p length.
bool isAbsent(ssize_t length) noexcept {
    return length < 0 && (errno == ENODATA || errno == EOPNOTSUPP);
}

} // namespace

bool hasAccessList(const char* path) noexcept {
    return !isAbsent(::getxattr(path, Attribute, nullptr, 0));
}

std::optional<AccessList> accessListOf(const char* path) {
    ssize_t length = ::getxattr(path, Attribute, nullptr, 0);
    if (isAbsent(length))
        return AccessList();
    if (length < 0)
        return std::nullopt;
    AccessList list(static_cast<size_t>(length));
    length = ::getxattr(path, Attribute, list.data(), list.size());
    // Another length, or no list any more, shows that somebody changes it at this moment.
    return length == std::ssize(list) ? std::optional(std::move(list)) : std::nullopt;
}

bool trySetAccessList(int file, const AccessList& list) noexcept {
    if (!list.empty())
        return ::fsetxattr(file, Attribute, list.data(), list.size(), 0) == 0;
    // To look costs less than to remove what is not there, for which file systems begin a change.
    return isAbsent(::fgetxattr(file, Attribute, nullptr, 0)) ||
           ::fremovexattr(file, Attribute) == 0;
}

void closeToGroup(AccessList& list) noexcept {
    // A version, then a tag, rights and an identifier each, all with the least byte first.
    constexpr size_t HeaderBytes = 4, EntryBytes = 8, RightsOffset = 2;
    constexpr uint8_t GroupOfFile = 4;
    for (size_t at = HeaderBytes; at + EntryBytes <= list.size(); at += EntryBytes) {
        if (list[at] == GroupOfFile)
            list[at + RightsOffset] = 0;
    }
}

} // namespace qx::platform
