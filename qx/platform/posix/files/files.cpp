#include "qx/platform/files.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <qx/platform/result.h>
#include <qx/platform/thread.h>

#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/BrokenPipeGuard.h>
#include <qx/platform/posix/files/aside.h>
#include <qx/platform/posix/files/folder.h>
#include <qx/platform/posix/files/path.h>

using namespace qx;
using namespace qx::platform;

namespace {

constexpr uint32_t KnownFlags = QX_FILE_READ | QX_FILE_WRITE | QX_FILE_AT_END | QX_FILE_CREATE |
                                QX_FILE_TRUNCATE | QX_FILE_APPEND | QX_FILE_REGULAR | QX_FILE_NEW;
constexpr uint32_t PermissionBits = 0777;

/// The flag word for open(2); -1 for a combination that makes no sense.
int openFlags(uint32_t flags) noexcept {
    if ((flags & ~KnownFlags) != 0)
        return -1;
    const bool reads = (flags & QX_FILE_READ) != 0;
    const bool writes = (flags & QX_FILE_WRITE) != 0;
    if ((flags & QX_FILE_REGULAR) != 0 && writes)
        return -1;
    if ((!reads && !writes) || (!writes && (flags & (QX_FILE_TRUNCATE | QX_FILE_APPEND)) != 0))
        return -1;
    if ((flags & (QX_FILE_CREATE | QX_FILE_NEW)) == QX_FILE_NEW)
        return -1;
    return (!writes ? O_RDONLY
            : reads ? O_RDWR
                    : O_WRONLY) |
           O_CLOEXEC | O_NOCTTY | ((flags & QX_FILE_CREATE) != 0 ? O_CREAT : 0) |
           ((flags & QX_FILE_NEW) != 0 ? O_EXCL : 0) |
           ((flags & QX_FILE_TRUNCATE) != 0 ? O_TRUNC : 0) |
           ((flags & QX_FILE_APPEND) != 0 ? O_APPEND : 0) |
           ((flags & QX_FILE_REGULAR) != 0 ? O_NONBLOCK : 0);
}

Descriptor openFile(const char* path, int flags, uint32_t mode) noexcept {
    // Without waiting a file is refused at first when its user must be asked to let others have it
    // (a lease, as file servers take them).
    int rounds = (flags & O_NONBLOCK) != 0 ? 1000 : 0;
    Descriptor file = Descriptor::open(path, flags, mode);
    for (; !file && errno == EWOULDBLOCK && rounds > 0; --rounds) {
        QXThreadSleep(1);
        file = Descriptor::open(path, flags, mode);
    }
    return aboveStandard(std::move(file));
}

bool isNull(const struct stat& status) noexcept {
    return S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 3);
}

/// Runs a transfer again after signals and, on a descriptor that somebody made non-blocking, once
/// it is ready for @p events.
template <class Call>
ssize_t transfer(int descriptor, short events, Call&& call) noexcept {
    for (;;) {
        const ssize_t count = retryInterrupted(call);
        if (count >= 0 || errno != EAGAIN)
            return count;
        // A blocking socket says the same when its own time limit ran out.
        if ((::fcntl(descriptor, F_GETFL) & O_NONBLOCK) == 0)
            return -1;
        pollfd ready{descriptor, events, 0};
        if (retryInterrupted([&] { return ::poll(&ready, 1, -1); }) < 0)
            return -1;
    }
}

ssize_t writeToPipe(int descriptor, const void* buffer, size_t length) noexcept {
    BrokenPipeGuard guard;
    const ssize_t count = ::write(descriptor, buffer, length);
    if (count < 0 && errno == EPIPE)
        guard.takeSignalBack();
    return count;
}

/// write(2) without SIGPIPE.
ssize_t writeQuietly(QXHandle handle, const void* buffer, size_t length) noexcept {
    const int descriptor = descriptorOf(handle);
    if (isRegularFile(handle))
        return ::write(descriptor, buffer, length);
    struct stat status;
    if (::fstat(descriptor, &status) != 0)
        return -1;
    if (S_ISFIFO(status.st_mode))
        return writeToPipe(descriptor, buffer, length);
    if (S_ISSOCK(status.st_mode))
        return ::send(descriptor, buffer, length, MSG_NOSIGNAL);
    return ::write(descriptor, buffer, length);
}

/// Takes back what a write has put between two places of a file, when it lies at the end. The next
/// write then begins where this one did.
bool takeBack(int file, off_t begin, off_t end) noexcept {
    struct stat status;
    return ::lseek(file, 0, SEEK_CUR) == end && ::fstat(file, &status) == 0 &&
           status.st_size == end &&
           retryInterrupted([&] { return ::ftruncate(file, begin); }) == 0 &&
           ::lseek(file, begin, SEEK_SET) == begin;
}

int32_t clampToInt32(int64_t value) noexcept {
    return static_cast<int32_t>(std::clamp<int64_t>(value, 0, INT32_MAX));
}

} // namespace

int32_t QXFileOpen(const char* path, uint32_t flags, uint32_t mode, QXHandle* handle) {
    if (handle == nullptr)
        return result::NullPointer;
    *handle = NoHandle;
    if (path == nullptr)
        return result::NullPointer;
    const int systemFlags = openFlags(flags);
    if (systemFlags < 0 || (mode & ~PermissionBits) != 0)
        return result::InvalidArgument;
    return resultOf([&] {
        Descriptor file = openFile(toNativePath(path).c_str(), systemFlags, mode);
        if (!file)
            return lastResult();
        const struct stat status = statusOf(file.get());
        if (S_ISDIR(status.st_mode)) // which the system opens for reading, but never reads
            return resultFromErrno(EISDIR);
        if ((flags & QX_FILE_REGULAR) != 0 && !S_ISREG(status.st_mode) && !isNull(status))
            return result::AccessDenied;
        if ((flags & QX_FILE_AT_END) != 0 && ::lseek(file.get(), 0, SEEK_END) < 0 &&
            errno != ESPIPE)
            return lastResult();
        *handle = file.release();
        if (S_ISREG(status.st_mode))
            *handle |= RegularFile | (status.st_size > 0 ? FilledFile : 0);
        return result::Ok;
    });
}

int32_t QXFileClose(QXHandle handle) {
    // The descriptor is gone even when a signal interrupts the call; closing again could hit
    // another thread's new file.
    if (::close(descriptorOf(handle)) == 0 || errno == EINTR)
        return result::Ok;
    return lastResult();
}

int32_t QXFileGetSize(QXHandle handle, int64_t* size) {
    if (size == nullptr)
        return result::NullPointer;
    *size = 0;
    return resultOf([&] { *size = statusOf(descriptorOf(handle)).st_size; });
}

int32_t QXFileRead(QXHandle handle, void* buffer, int32_t length, int32_t* bytesRead) {
    if (bytesRead == nullptr)
        return result::NullPointer;
    *bytesRead = 0;
    if (length < 0)
        return result::InvalidArgument;
    const int descriptor = descriptorOf(handle);
    const ssize_t count = transfer(descriptor, POLLIN, [&] {
        return ::read(descriptor, buffer, static_cast<size_t>(length));
    });
    if (count < 0)
        return lastResult();
    *bytesRead = static_cast<int32_t>(count);
    return result::Ok;
}

int32_t QXFileWrite(QXHandle handle, const void* buffer, int32_t length, int32_t* bytesWritten) {
    if (bytesWritten == nullptr)
        return result::NullPointer;
    *bytesWritten = 0;
    if (length < 0)
        return result::InvalidArgument;
    const ssize_t count = transfer(descriptorOf(handle), POLLOUT, [&] {
        return writeQuietly(handle, buffer, static_cast<size_t>(length));
    });
    if (count < 0)
        return lastResult();
    *bytesWritten = static_cast<int32_t>(count);
    return result::Ok;
}

int32_t QXFileWriteAll(QXHandle handle, const void* buffer, int32_t length, int32_t* bytesWritten) {
    if (bytesWritten == nullptr)
        return result::NullPointer;
    *bytesWritten = 0;
    if (length < 0)
        return result::InvalidArgument;
    const auto* const bytes = static_cast<const char*>(buffer);
    off_t begin = -1;
    int32_t result = result::Ok;
    int32_t written = 0;
    while (written < length) {
        int32_t count = 0;
        result = QXFileWrite(handle, bytes + written, length - written, &count);
        if (result >= 0 && count == 0)
            result = result::Fail;
        if (result < 0)
            break;
        // Only now is it known that the call may fail in the middle, and where the bytes begin in a
        // file that others append to.
        if (written == 0 && count < length && isRegularFile(handle))
            begin = ::lseek(descriptorOf(handle), 0, SEEK_CUR) - count;
        written += count;
    }
    if (result < 0 && begin >= 0 && takeBack(descriptorOf(handle), begin, begin + written))
        written = 0;
    *bytesWritten = written;
    return result;
}

int32_t QXFileSeek(QXHandle handle, int64_t offset, int32_t origin, int64_t* position) {
    constexpr int Origins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (origin < QX_FILE_FROM_START || origin > QX_FILE_FROM_END)
        return result::InvalidArgument;
    const off_t reached = ::lseek(descriptorOf(handle), offset, Origins[origin]);
    if (reached < 0)
        return lastResult();
    if (position != nullptr)
        *position = reached;
    return result::Ok;
}

int32_t QXFileFlush(QXHandle handle) {
    return resultOf([&] { flush(descriptorOf(handle)); });
}

int32_t QXFileFlushFolder(const char* path) {
    if (path == nullptr)
        return result::NullPointer;
    return resultOf([&] { flushFolder(folderOf(toNativePath(path).view())); });
}

int32_t QXFileAvailable(QXHandle handle, int32_t* available) {
    if (available == nullptr)
        return result::NullPointer;
    *available = 0;
    const int descriptor = descriptorOf(handle);
    struct stat status;
    if (::fstat(descriptor, &status) != 0)
        return lastResult();
    if (S_ISREG(status.st_mode)) {
        const off_t position = ::lseek(descriptor, 0, SEEK_CUR);
        if (position < 0)
            return lastResult();
        *available = clampToInt32(status.st_size - position);
        return result::Ok;
    }
    if (int waiting = 0; ::ioctl(descriptor, FIONREAD, &waiting) == 0)
        *available = clampToInt32(waiting);
    return result::Ok;
}

int32_t QXFileIsRegular(QXHandle handle) { return isRegularFile(handle) ? 1 : 0; }

int32_t QXFileNeverWaits(QXHandle handle) {
    return isRegularFile(handle) && (handle & FilledFile) != 0 ? 1 : 0;
}

int32_t QXFileRemove(const char* path) {
    if (path == nullptr)
        return result::NullPointer;
    return resultOf(
        [&] { return ::unlink(toNativePath(path).c_str()) == 0 ? result::Ok : lastResult(); });
}

int32_t QXFileRename(const char* from, const char* to) {
    if (from == nullptr || to == nullptr)
        return result::NullPointer;
    return resultOf([&] {
        const PathText nativeFrom = toNativePath(from);
        throwIfNot0(::rename(nativeFrom.c_str(), toNativePath(to).c_str()));
    });
}

int32_t QXFileCreateBeside(const char* path, uint32_t mode, char* buffer, int32_t capacity,
                           QXHandle* handle) {
    if (handle == nullptr)
        return result::NullPointer;
    *handle = NoHandle;
    if (path == nullptr || buffer == nullptr)
        return result::NullPointer;
    if (capacity > 0)
        buffer[0] = 0;
    if ((mode & ~PermissionBits) != 0)
        return result::InvalidArgument;
    return resultOf([&] {
        AsideFile file(toNativePath(path).view(), mode);
        throwIfFailed(storePath(file.path().view(), buffer, capacity));
        *handle = file.keep().release() | RegularFile;
    });
}

QXHandle QXFileStandardInput() { return STDIN_FILENO; }

QXHandle QXFileStandardOutput() { return STDOUT_FILENO; }

QXHandle QXFileStandardError() { return STDERR_FILENO; }

int32_t QXFileIsTerminal(QXHandle handle) { return ::isatty(descriptorOf(handle)); }
