#include "qx/platform/posix/files/accesslist.h"

#include <sys/xattr.h>

#include <qx/platform/posix/error.h>

namespace qx::platform {

namespace {

constexpr const char* Attribute = "system.posix_acl_access";

/// What the last look at the attribute of a file tells, whose result was @p length.
bool isAbsent(ssize_t length) noexcept {
    return length < 0 && (errno == ENODATA || errno == EOPNOTSUPP);
}

/// Throws when the last call failed for what may be otherwise in a moment. Taken for a list that
/// cannot be had, it would shut people out for good.
void throwShortage() {
    if (errno == ENOSPC || errno == EDQUOT || errno == ENOMEM || errno == EIO)
        throw Failure{lastResult()};
}

} // namespace

bool hasAccessList(const char* path) noexcept {
    return !isAbsent(::getxattr(path, Attribute, nullptr, 0));
}

std::optional<AccessList> accessListOf(const char* path) {
    // It may change between the two calls, even so that it does not fit any more.
    for (int attemptsLeft = 16; attemptsLeft > 0; --attemptsLeft) {
        ssize_t length = ::getxattr(path, Attribute, nullptr, 0);
        if (isAbsent(length))
            return AccessList();
        if (length < 0)
            break;
        AccessList list(static_cast<size_t>(length));
        length = ::getxattr(path, Attribute, list.data(), list.size());
        if (length == std::ssize(list))
            return list;
    }
    throwShortage();
    return std::nullopt;
}

bool trySetAccessList(int file, const AccessList& list) {
    // To look costs less than to remove what is not there, for which file systems begin a change.
    const bool isSet = list.empty()
                           ? isAbsent(::fgetxattr(file, Attribute, nullptr, 0)) ||
                                 ::fremovexattr(file, Attribute) == 0
                           : ::fsetxattr(file, Attribute, list.data(), list.size(), 0) == 0;
    if (!isSet)
        throwShortage();
    return isSet;
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
