#include "qx/platform/replace.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <sys/stat.h>
#include <unistd.h>

#include <qx/platform/result.h>

#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/aside.h>
#include <qx/platform/posix/files/path.h>

using namespace qx;
using namespace qx::platform;

namespace {

constexpr int64_t NanosecondsInSecond = 1'000'000'000;
constexpr uint32_t PermissionBits = 0777;

int64_t nanoseconds(const timespec& time) noexcept {
    return int64_t{time.tv_sec} * NanosecondsInSecond + time.tv_nsec;
}

int64_t now() noexcept {
    timespec time;
    ::clock_gettime(CLOCK_REALTIME, &time);
    return nanoseconds(time);
}

QXFileState stateOf(const struct stat& status) noexcept {
    return {nanoseconds(status.st_mtim), status.st_size, status.st_dev, status.st_ino};
}

/// Replaces a path whose last segment is a symbolic link by what that leads to, which need not
/// exist.
int32_t followLinks(PathText& path) noexcept {
    constexpr int LongestChain = 40; // the kernel's own limit
    for (int links = 0; links < LongestChain; ++links) {
        char text[PATH_MAX];
        const ssize_t length = ::readlink(path.c_str(), text, sizeof text);
        if (length < 0)
            return errno == EINVAL || errno == ENOENT ? result::Ok : lastResult();
        const std::string_view target(text, static_cast<size_t>(length));
        path.truncate(target.starts_with('/') ? 0 : folderOf(path.view()).size());
        if (target.size() == sizeof text || !path.append(target))
            return NameTooLong;
    }
    return resultFromErrno(ELOOP);
}

/// A flush that does nothing where the file system knows none.
int flush(int descriptor) noexcept {
    const int flushed = retryInterrupted([descriptor] { return ::fsync(descriptor); });
    return flushed == 0 || errno == EINVAL || errno == ENOTSUP ? 0 : -1;
}

int writeAll(int descriptor, const char* bytes, int64_t length) noexcept {
    constexpr int64_t LargestWrite = int64_t{1} << 30;
    while (length > 0) {
        const ssize_t count = retryInterrupted([&] {
            return ::write(descriptor, bytes, static_cast<size_t>(std::min(length, LargestWrite)));
        });
        if (count < 0)
            return -1;
        bytes += count;
        length -= count;
    }
    return 0;
}

/// One replacement. The destructor removes what was written aside and has not got its name.
class Replacement {
public:
    ~Replacement() {
        if (m_file)
            ::unlink(m_aside.c_str());
    }

    /// Looks at what is to be replaced, and removes what dead writers left beside it.
    int32_t begin(const char* path) noexcept;
    int32_t write(const char* bytes, int64_t length, mode_t modeOfNew) noexcept;
    /// Gives the file its name; @p state receives its state.
    int32_t finish(QXFileState& state) noexcept;

private:
    int giveOwnerAndMode() const noexcept;
    int giveTime() const noexcept;

    PathText m_target;
    struct stat m_old = {};
    bool m_exists = false;
    Descriptor m_folder;
    PathText m_aside;
    Descriptor m_file;
};

int32_t Replacement::begin(const char* path) noexcept {
    if (const int32_t result = toNativePath(path, m_target); result < 0)
        return result;
    if (const int32_t result = followLinks(m_target); result < 0)
        return result;
    m_exists = ::stat(m_target.c_str(), &m_old) == 0;
    if (!m_exists && errno != ENOENT)
        return lastResult();
    if (m_exists && !S_ISREG(m_old.st_mode))
        return result::AccessDenied;
    if (m_exists && ::faccessat(AT_FDCWD, m_target.c_str(), W_OK, AT_EACCESS) != 0)
        return lastResult();
    // Opened first, so that the flush at the end lacks nothing.
    PathText folder;
    folder.append(folderOf(m_target.view()));
    m_folder =
        Descriptor::open(folder.view().empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY);
    if (!m_folder)
        return lastResult();
    removeLeftovers(m_folder, nameOf(m_target.view()));
    return result::Ok;
}

int Replacement::giveOwnerAndMode() const noexcept {
    struct stat made;
    if (::fstat(m_file.get(), &made) != 0)
        return -1;
    // Only the superuser may give a file away, others at most to a group of theirs. Without the old
    // group the bits for the group and the set-id bits would serve somebody else.
    mode_t bits = m_old.st_mode & 07777;
    if ((made.st_uid != m_old.st_uid || made.st_gid != m_old.st_gid) &&
        ::fchown(m_file.get(), m_old.st_uid, m_old.st_gid) != 0) {
        bits &= 01777;
        if (made.st_gid != m_old.st_gid &&
            ::fchown(m_file.get(), static_cast<uid_t>(-1), m_old.st_gid) != 0)
            bits &= ~mode_t{S_IRWXG};
    }
    return ::fchmod(m_file.get(), bits);
}

int Replacement::giveTime() const noexcept {
    // The kernel stamps files by a clock of some milliseconds, within which a second change of the
    // same size would pass unnoticed.
    int64_t time = now();
    if (m_exists)
        time = std::max(time, nanoseconds(m_old.st_mtim) + 1);
    timespec stamp;
    stamp.tv_sec = time / NanosecondsInSecond;
    stamp.tv_nsec = time % NanosecondsInSecond;
    const timespec stamps[] = {stamp, stamp}; // of the last access and the last change
    return ::futimens(m_file.get(), stamps);
}

int32_t Replacement::write(const char* bytes, int64_t length, mode_t modeOfNew) noexcept {
    if (const int32_t result =
            createAside(m_target.view(), m_exists ? S_IRUSR | S_IWUSR : modeOfNew, m_aside, m_file);
        result < 0)
        return result;
    if ((m_exists && giveOwnerAndMode() != 0) || writeAll(m_file.get(), bytes, length) != 0 ||
        giveTime() != 0 || flush(m_file.get()) != 0)
        return lastResult();
    return result::Ok;
}

int32_t Replacement::finish(QXFileState& state) noexcept {
    struct stat status;
    if (::fstat(m_file.get(), &status) != 0 || ::rename(m_aside.c_str(), m_target.c_str()) != 0)
        return lastResult();
    state = stateOf(status);
    m_file = Descriptor();
    return flush(m_folder.get()) == 0 ? result::Ok : lastResult();
}

} // namespace

int32_t QXFileGetState(const char* path, QXFileState* state) {
    if (state == nullptr)
        return result::NullPointer;
    *state = {};
    if (path == nullptr)
        return result::NullPointer;
    PathText native;
    if (const int32_t result = toNativePath(path, native); result < 0)
        return result;
    struct stat status;
    if (::stat(native.c_str(), &status) != 0)
        return lastResult();
    *state = stateOf(status);
    return result::Ok;
}

int32_t QXFileGetHandleState(QXHandle handle, QXFileState* state) {
    if (state == nullptr)
        return result::NullPointer;
    *state = {};
    struct stat status;
    if (::fstat(descriptorOf(handle), &status) != 0)
        return lastResult();
    *state = stateOf(status);
    return result::Ok;
}

int32_t QXFileIsSameState(const QXFileState* left, const QXFileState* right) {
    return left->modified == right->modified && left->size == right->size &&
           left->inode == right->inode && left->device == right->device;
}

int32_t QXFileIsStateSettled(const QXFileState* state) {
    // Ten times the longest tick of the kernel's clock; file systems with whole seconds show them.
    constexpr int64_t Tick = 100'000'000;
    constexpr int64_t CoarseTick = 2 * NanosecondsInSecond;
    const int64_t tick = state->modified % NanosecondsInSecond == 0 ? CoarseTick : Tick;
    // A time in the future, which somebody set, says nothing; but then a change gives another one.
    const int64_t age = now() - state->modified;
    return age < -CoarseTick || age > tick;
}

int32_t QXFileReplace(const char* path, const void* bytes, int64_t length, uint32_t mode,
                      QXFileState* state) {
    QXFileState unwanted;
    QXFileState& reached = state != nullptr ? *state : unwanted;
    reached = {};
    if (path == nullptr || (bytes == nullptr && length > 0))
        return result::NullPointer;
    if (length < 0 || (mode & ~PermissionBits) != 0)
        return result::InvalidArgument;
    Replacement replacement;
    if (const int32_t result = replacement.begin(path); result < 0)
        return result;
    if (const int32_t result = replacement.write(static_cast<const char*>(bytes), length, mode);
        result < 0)
        return result;
    return replacement.finish(reached);
}
