#include "qx/platform/posix/files/path.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

#include <qx/platform/files.h>

#include <qx/platform/posix/CLibraryCall.h>
#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/StoreText.h>
#include <qx/platform/posix/error.h>

namespace qx::platform {

namespace {

/// Folders that stand for drives; an empty text for a drive that is not mapped. Plain memory, so
/// that it may be used before and after every static object.
struct DriveTable {
    static constexpr size_t Drives = 26;

    char folders[Drives][PATH_MAX];
};

constinit std::mutex s_drivesLock;
constinit DriveTable s_drives{}; // guarded by s_drivesLock

/// Index of a drive letter; DriveTable::Drives for any other byte.
size_t driveIndex(char letter) noexcept {
    if (letter >= 'a' && letter <= 'z')
        return static_cast<size_t>(letter - 'a');
    if (letter >= 'A' && letter <= 'Z')
        return static_cast<size_t>(letter - 'A');
    return DriveTable::Drives;
}

std::string_view withoutEndingSlashes(std::string_view path) noexcept {
    while (path.size() > 1 && path.ends_with('/'))
        path.remove_suffix(1);
    return path;
}

/// Cuts the last segment off an absolute path; "/" stays.
void removeLastSegment(PathText& path) noexcept {
    const size_t slash = path.view().rfind('/');
    path.truncate(slash == std::string_view::npos ? 0 : slash);
}

/// Calls @p visit with each segment of @p path but empty ones and ".".
template <class Visit>
void forEachSegment(std::string_view path, Visit&& visit) {
    while (!path.empty()) {
        const auto segment = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(segment.size() + 1, path.size()));
        if (!segment.empty() && segment != ".")
            visit(segment);
    }
}

/// Appends the segments of @p path to @p normal, an absolute path without trailing slash, taking
/// ".." back one segment each, never above the root.
void appendNormalised(std::string_view path, PathText& normal) {
    forEachSegment(path, [&normal](std::string_view segment) {
        if (segment == "..")
            removeLastSegment(normal);
        else
            normal.append("/").append(segment);
    });
}

/// Appends @p path to @p resolved, an absolute path without links, following every link on the way.
/// What does not exist is appended as it stands.
void appendResolved(std::string_view path, PathText& resolved, int& linksLeft) {
    forEachSegment(path, [&](std::string_view segment) {
        if (segment == "..")
            return removeLastSegment(resolved);
        const size_t parentLength = resolved.view().size();
        resolved.append("/").append(segment);
        char target[PATH_MAX];
        const ssize_t length = ::readlink(resolved.c_str(), target, sizeof target);
        if (length < 0)
            return; // no link, or nothing at all
        if (length == static_cast<ssize_t>(sizeof target))
            throw Failure{NameTooLong};
        if (linksLeft-- == 0)
            throw Failure{resultFromErrno(ELOOP)};
        resolved.truncate(target[0] == '/' ? 0 : parentLength);
        appendResolved({target, static_cast<size_t>(length)}, resolved, linksLeft);
    });
}

/// A relative path behind the current folder.
PathText behindCurrentFolder(std::string_view path) {
    PathText absolute = currentFolder();
    struct stat named, current;
    // The name may have been taken by another folder, may not be passed by this user, or have what
    // is a separator in the paths of callers.
    if (absolute.view().find('\\') != std::string_view::npos ||
        ::stat(absolute.c_str(), &named) != 0 || ::stat(".", &current) != 0 ||
        named.st_dev != current.st_dev || named.st_ino != current.st_ino)
        throw Failure{result::NotFound};
    return absolute.append("/").append(path);
}

} // namespace

constexpr ForkSteps DriveForkSteps = HeldInFork<s_drivesLock>;

bool startsWithDrive(std::string_view path) noexcept {
    return path.size() > 1 && path[1] == ':' && driveIndex(path[0]) < DriveTable::Drives;
}

PathText& PathText::append(std::string_view text) {
    if (text.size() >= sizeof m_text - m_length)
        throw Failure{NameTooLong};
    std::memcpy(m_text + m_length, text.data(), text.size());
    truncate(m_length + text.size());
    return *this;
}

void turnBackslashes(char* text, size_t size) noexcept {
    if (std::memchr(text, '\\', size) == nullptr)
        return;
    const CLibraryCall call; // the first look at a character loads what it needs, under a lock
    std::mbstate_t state{};
    for (size_t at = 0, length; at < size; at += length) {
        length = 1;
        if (text[at] == '\\') {
            text[at] = '/';
        } else if ((text[at] & 0x80) != 0) {
            length = std::mbrlen(text + at, size - at, &state);
            if (length == 0 || length > size - at) { // no character
                length = 1;
                state = {};
            }
        }
    }
}

PathText toNativePath(const char* path) {
    PathText native;
    std::string_view rest = path;
    if (rest.empty())
        throw Failure{result::NotFound};
    if (startsWithDrive(rest)) {
        const std::lock_guard guard(s_drivesLock);
        const char* const folder = s_drives.folders[driveIndex(rest[0])];
        if (folder[0] == 0)
            throw Failure{result::NotFound};
        native.append(folder);
        rest.remove_prefix(2);
        if (!rest.empty() && rest[0] != '/' && rest[0] != '\\')
            native.append("/");
    }
    native.append(rest);
    turnBackslashes(native.data() + native.view().size() - rest.size(), rest.size());
    return native;
}

PathText currentFolder() {
    PathText path;
    if (::getcwd(path.data(), PATH_MAX) == nullptr)
        throw Failure{lastResult()};
    path.truncate(std::strlen(path.c_str()));
    return path;
}

PathText resolvedPath(const char* path) {
    PathText absolute;
    if (::realpath(path, absolute.data()) == nullptr)
        throw Failure{lastResult()};
    absolute.truncate(std::strlen(absolute.c_str()));
    return absolute;
}

PathText expandPath(const char* path) {
    const PathText native = toNativePath(path);
    PathText normal;
    if (native.view().front() != '/')
        appendNormalised(currentFolder().view(), normal);
    appendNormalised(native.view(), normal);

    PathText resolved;
    int linksLeft = 40; // the kernel's own limit
    appendResolved(normal.view(), resolved, linksLeft);
    if (resolved.view().empty())
        resolved.append("/");
    return resolved;
}

int32_t storePath(std::string_view path, char* buffer, int32_t capacity) noexcept {
    return storeText(path, buffer, capacity);
}

} // namespace qx::platform

using namespace qx;
using namespace qx::platform;

int32_t QXPathExpand(const char* path, char* buffer, int32_t capacity) {
    if (path == nullptr || buffer == nullptr)
        return result::NullPointer;
    return resultOf([&] { return storePath(expandPath(path).view(), buffer, capacity); });
}

int32_t QXPathAnchor(const char* path, char* buffer, int32_t capacity) {
    if (path == nullptr || buffer == nullptr)
        return result::NullPointer;
    const bool isRelative = *path != '/' && *path != '\\' && !startsWithDrive(path);
    PathText anchored;
    const bool isAnchored =
        isRelative && *path != 0 && resultOf([&] { anchored = behindCurrentFolder(path); }) >= 0;
    return storePath(isAnchored ? anchored.view() : path, buffer, capacity);
}

int32_t QXGetCurrentDirectory(char* buffer, int32_t capacity) {
    return resultOf([&] { return storePath(currentFolder().view(), buffer, capacity); });
}

int32_t QXGetTempDirectory(char* buffer, int32_t capacity) {
    // Ignored in programs with raised rights, as the system's own functions do.
    const char* folder = ::secure_getenv("TMPDIR");
    struct stat status;
    if (folder == nullptr || folder[0] != '/' || ::stat(folder, &status) != 0 ||
        !S_ISDIR(status.st_mode))
        folder = "/tmp";
    return storePath(withoutEndingSlashes(folder), buffer, capacity);
}

int32_t QXDriveMap(char drive, const char* folder) {
    const size_t index = driveIndex(drive);
    if (index == DriveTable::Drives)
        return result::InvalidArgument;
    if (folder != nullptr && folder[0] == 0)
        return result::InvalidArgument;
    const std::string_view text = withoutEndingSlashes(folder != nullptr ? folder : "");
    if (text.size() >= PATH_MAX)
        return NameTooLong;
    const std::lock_guard guard(s_drivesLock);
    char* const entry = s_drives.folders[index];
    std::memcpy(entry, text.data(), text.size());
    entry[text.size()] = 0;
    return result::Ok;
}
