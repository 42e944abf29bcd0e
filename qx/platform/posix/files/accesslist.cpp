#include "qx/platform/posix/files/accesslist.h"

#include <algorithm>
#include <iterator>
#include <sys/xattr.h>
#include <utility>

#include <qx/platform/detail/ByteOrder.h>

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

// A version, then entries of a tag, rights and an identifier each, sorted by tag and identifier,
// all with the least byte first.
constexpr size_t HeaderBytes = 4, EntryBytes = 8, RightsOffset = 2, IdentifierOffset = 4;
enum Tag : uint8_t { Owner = 1, User = 2, GroupOfFile = 4, Group = 8 };
constexpr uint32_t NoIdentifier = ~0u; ///< of Owner and GroupOfFile

/// The rights of an entry, which is added without any when the list has no such entry.
uint8_t& rightsOf(AccessList& list, Tag tag, uint32_t identifier) {
    const auto entry = std::pair<uint8_t, uint32_t>(tag, identifier);
    const auto entryAt = [&list](size_t at) {
        return std::pair(list[at],
                         loadOrdered<uint32_t, std::endian::little>(&list[at + IdentifierOffset]));
    };
    size_t at = std::min(HeaderBytes, list.size()); // a file system of a user's may store anything
    while (at + EntryBytes <= list.size() && entryAt(at) < entry)
        at += EntryBytes;
    if (at + EntryBytes > list.size() || entryAt(at) != entry) {
        uint8_t added[EntryBytes] = {tag};
        storeOrdered<std::endian::little>(identifier, added + IdentifierOffset);
        list.insert(list.begin() + static_cast<ptrdiff_t>(at), added, std::end(added));
    }
    return list[at + RightsOffset];
}

} // namespace

bool hasAccessList(const char* path) noexcept {
    return !isAbsent(::getxattr(path, Attribute, nullptr, 0));
}

std::optional<AccessList> accessListOf(const char* path) {
    // Asked without room, the system tells the size. The list may change until it is asked again,
    // even so that it does not fit any more.
    AccessList list;
    for (int attemptsLeft = 32; attemptsLeft > 0; --attemptsLeft) {
        const ssize_t length = ::getxattr(path, Attribute, list.data(), list.size());
        if (length == std::ssize(list))
            return list;
        if (isAbsent(length))
            return AccessList();
        if (length < 0 && errno != ERANGE) {
            throwShortage();
            return std::nullopt;
        }
        list.resize(length < 0 ? 0 : static_cast<size_t>(length));
    }
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

void nameOwner(AccessList& list, uint32_t owner) {
    const uint8_t rights = rightsOf(list, Owner, NoIdentifier);
    rightsOf(list, User, owner) = rights; // what it had there did not count
}

void nameGroup(AccessList& list, uint32_t group) {
    const uint8_t rights = std::exchange(rightsOf(list, GroupOfFile, NoIdentifier), uint8_t{0});
    rightsOf(list, Group, group) |= rights;
}

} // namespace qx::platform
