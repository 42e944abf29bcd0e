#include "qx/platform/posix/files/path.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

#include <qx/platform/files.h>

#include <qx/platform/posix/Forks.h>
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

/// Calls @p visit with each segment of @p path but empty ones and ".", until it returns a failure;
/// that failure.
template <class Visit>
int32_t forEachSegment(std::string_view path, Visit&& visit) {
    while (!path.empty()) {
        const size_t length = std::min(path.find('/'), path.size());
        const auto segment = path.substr(0, length);
        path.remove_prefix(std::min(length + 1, path.size()));
        if (segment.empty() || segment == ".")
            continue;
        if (const int32_t result = visit(segment); result < 0)
            return result;
    }
    return result::Ok;
}

/// Appends the segments of @p path to @p normal, an absolute path without trailing slash, taking
/// ".." back one segment each, never above the root.
int32_t appendNormalised(std::string_view path, PathText& normal) noexcept {
    return forEachSegment(path, [&normal](std::string_view segment) {
        if (segment == "..") {
            removeLastSegment(normal);
            return result::Ok;
        }
        return normal.append("/") && normal.append(segment) ? result::Ok : NameTooLong;
    });
}

/// Appends @p path to @p resolved, an absolute path without links, following every link on the way.
/// What does not exist is appended as it stands.
int32_t appendResolved(std::string_view path, PathText& resolved, int& linksLeft) noexcept {
    return forEachSegment(path, [&](std::string_view segment) -> int32_t {
        if (segment == "..") {
            removeLastSegment(resolved);
            return result::Ok;
        }
        const size_t parentLength = resolved.view().size();
        if (!resolved.append("/") || !resolved.append(segment))
            return NameTooLong;
        char target[PATH_MAX];
        const ssize_t length = ::readlink(resolved.c_str(), target, sizeof target);
        if (length < 0)
            return result::Ok; // no link, or nothing at all
        if (length == static_cast<ssize_t>(sizeof target))
            return NameTooLong;
        if (linksLeft-- == 0)
            return resultFromErrno(ELOOP);
        resolved.truncate(target[0] == '/' ? 0 : parentLength);
        return appendResolved({target, static_cast<size_t>(length)}, resolved, linksLeft);
    });
}

int32_t currentDirectory(PathText& path) noexcept {
    if (::getcwd(path.data(), PATH_MAX) == nullptr)
        return lastResult();
    path.truncate(std::strlen(path.c_str()));
    return result::Ok;
}

} // namespace

constexpr ForkSteps DriveForkSteps = HeldInFork<s_drivesLock>;

bool startsWithDrive(std::string_view path) noexcept {
    return path.size() > 1 && path[1] == ':' && driveIndex(path[0]) < DriveTable::Drives;
}

bool PathText::append(std::string_view text) noexcept {
    if (text.size() >= sizeof m_text - m_length)
        return false;
    std::memcpy(m_text + m_length, text.data(), text.size());
    truncate(m_length + text.size());
    return true;
}

int32_t toNativePath(const char* path, PathText& native) noexcept {
    std::string_view rest = path;
    if (rest.empty())
        return result::NotFound;
    if (startsWithDrive(rest)) {
        const std::lock_guard guard(s_drivesLock);
        const char* const folder = s_drives.folders[driveIndex(rest[0])];
        if (folder[0] == 0)
            return result::NotFound;
        native.append(folder);
        rest.remove_prefix(2);
        if (!rest.empty() && rest[0] != '/' && rest[0] != '\\' && !native.append("/"))
            return NameTooLong;
    }
    if (!native.append(rest))
        return NameTooLong;
    const auto end = native.data() + native.view().size();
    std::replace(end - rest.size(), end, '\\', '/');
    return result::Ok;
}

int32_t storePath(std::string_view path, char* buffer, int32_t capacity) noexcept {
    if (buffer == nullptr)
        return result::NullPointer;
    if (capacity < 1)
        return result::BufferTooSmall;
    buffer[0] = 0;
    if (path.size() >= static_cast<size_t>(capacity))
        return result::BufferTooSmall;
    std::memcpy(buffer, path.data(), path.size());
    buffer[path.size()] = 0;
    return result::Ok;
}

} // namespace qx::platform

using namespace qx;
using namespace qx::platform;

int32_t QXPathExpand(const char* path, char* buffer, int32_t capacity) {
    if (path == nullptr || buffer == nullptr)
        return result::NullPointer;
    PathText native;
    if (const int32_t result = toNativePath(path, native); result < 0)
        return result;

    PathText normal;
    if (native.view().front() != '/') {
        PathText folder;
        if (const int32_t result = currentDirectory(folder); result < 0)
            return result;
        appendNormalised(folder.view(), normal);
    }
    if (const int32_t result = appendNormalised(native.view(), normal); result < 0)
        return result;

    PathText resolved;
    int linksLeft = 40; // the kernel's own limit
    if (const int32_t result = appendResolved(normal.view(), resolved, linksLeft); result < 0)
        return result;
    return storePath(resolved.view().empty() ? "/" : resolved.view(), buffer, capacity);
}

int32_t QXGetCurrentDirectory(char* buffer, int32_t capacity) {
    PathText path;
    const int32_t result = currentDirectory(path);
    return result < 0 ? result : storePath(path.view(), buffer, capacity);
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
