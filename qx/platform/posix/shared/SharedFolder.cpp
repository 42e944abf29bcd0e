#include "qx/platform/posix/shared/SharedFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <map>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/folder.h>
#include <qx/platform/posix/random.h>

// Another user may have taken the name of the user's folder, and may give it up at any moment. Then
// the user has another folder, on which his processes have to agree. A new folder is therefore not
// settled: it may not be written to. Whoever has made it, or has found it left so, looks whether
// the user has others by now; the first by name stays and is settled. Of two processes that do so
// at once, the one that made its folder later sees that of the other. A folder is removed only
// while it is empty, and whoever was about to make a file in it begins anew.

namespace qx::platform::shared {

namespace {

Descriptor openCommonFolder() {
    Descriptor folder = Descriptor::open(QX_MEMORY_FOLDER, O_RDONLY | O_DIRECTORY);
    if (!folder)
        throwFolderFailure();
    return folder;
}

std::string preferredFolder() { return QX_MEMORY_FOLDER "/qx-" + std::to_string(geteuid()); }

bool isOwnFolder(const struct stat& status) {
    if (!S_ISDIR(status.st_mode) || status.st_uid != geteuid())
        return false;
    if ((status.st_mode & 077) != 0)
        throw Failure{result::AccessDenied};
    return true;
}

bool isSettled(const struct stat& status) { return (status.st_mode & S_IWUSR) != 0; }

Descriptor openWhatIsThere(const std::string& path) {
    Descriptor folder = Descriptor::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    // Of another user it may be anything, or gone again.
    if (!folder && errno != ENOENT && errno != ENOTDIR && errno != ELOOP && errno != EACCES)
        throw Failure{lastResult()};
    return folder;
}

/// The user's folders by their paths, and which of them are settled.
std::map<std::string, bool> findUserFolders() {
    const std::string preferred = preferredFolder(), further = preferred + '.';
    std::map<std::string, bool> found;
    forEachEntry(openCommonFolder(), [&](int common, const char* name) {
        const std::string path = std::string(QX_MEMORY_FOLDER "/") + name;
        struct stat status;
        if ((path == preferred || path.starts_with(further)) &&
            fstatat(common, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && isOwnFolder(status))
            found[path] = isSettled(status);
    });
    return found;
}

/// Makes a folder that is not settled; the path.
std::string makeUserFolder() {
    constexpr mode_t NotSettled = 0500;
    std::string path = preferredFolder();
    struct stat status;
    if (mkdir(path.c_str(), NotSettled) == 0)
        return path;
    if (errno != EEXIST)
        throwFolderFailure();
    if (lstat(path.c_str(), &status) == 0 && isOwnFolder(status))
        return path; // another process of the user was faster
    uint64_t number = 0;
    fillRandomly(&number, sizeof number);
    char ending[18];
    std::snprintf(ending, sizeof ending, ".%016llx", static_cast<unsigned long long>(number));
    path += ending;
    if (mkdir(path.c_str(), NotSettled) != 0)
        throwFolderFailure();
    return path;
}

/// Settles a folder, unless it has to give way to another one.
void trySettle(const std::string& path) {
    // Opened before the look: what is settled is what was there then.
    const Descriptor folder = openWhatIsThere(path);
    if (!folder || !isOwnFolder(statusOf(folder.get())))
        return;
    bool isFound = false;
    for (const auto& [other, isOtherSettled] : findUserFolders()) {
        if (other == path) {
            isFound = !isOtherSettled;
        } else if (isOtherSettled || other < path) {
            rmdir(path.c_str());
            return;
        } else if (rmdir(other.c_str()) != 0 && errno != ENOENT) {
            return; // somebody else has settled it and uses it
        }
    }
    if (isFound)
        throwIfNot0(fchmod(folder.get(), 0700));
}

/// A settled folder of the user, else none.
Descriptor openSettled(const std::string& path) {
    Descriptor folder = openWhatIsThere(path);
    if (!folder)
        return folder;
    const struct stat status = statusOf(folder.get());
    return isOwnFolder(status) && isSettled(status) ? std::move(folder) : Descriptor();
}

Folder openUserFolder(Missing missing) {
    std::string path = preferredFolder();
    if (Descriptor folder = openSettled(path))
        return {std::move(folder), std::move(path)};
    const auto folders = findUserFolders();
    const auto settled =
        std::ranges::find_if(folders, [](const auto& each) { return each.second; });
    if (settled != folders.end()) {
        if (Descriptor folder = openSettled(settled->first))
            return {std::move(folder), settled->first};
    } else if (missing == Missing::IsNone) {
        return {Descriptor(), {}};
    } else {
        trySettle(folders.empty() ? makeUserFolder() : folders.begin()->first);
    }
    throw Failure{result::Busy};
}

} // namespace

void throwFolderFailure() {
    const bool isLacking = errno == ENOENT || errno == ENOTDIR || errno == EROFS;
    throw Failure{isLacking ? result::NotAvailable : lastResult()};
}

Folder openFolder(Place place, Missing missing) {
    if (place != Place::PublicMemory)
        return openUserFolder(missing);
    return {openCommonFolder(), QX_MEMORY_FOLDER};
}

} // namespace qx::platform::shared
