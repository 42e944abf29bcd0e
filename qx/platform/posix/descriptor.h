#pragma once

#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/handle.h>

namespace qx::platform {

/// Set above the descriptor in the handle of a regular file, whose writes raise no SIGPIPE and so
/// need no system call that finds out what is written to.
constexpr QXHandle RegularFile = QXHandle{1} << 32;
/// Set beside it when the file had bytes as it was opened. Of others the system may make them up
/// while it is read, and wait for them.
constexpr QXHandle FilledFile = QXHandle{1} << 33;

inline bool isRegularFile(QXHandle handle) noexcept {
    return (handle & ~(FilledFile | INT_MAX)) == RegularFile;
}

/// The descriptor in a handle; -1, which every system call refuses, for what cannot be one.
inline int descriptorOf(QXHandle handle) noexcept {
    return handle <= INT_MAX || isRegularFile(handle) ? static_cast<int>(handle & INT_MAX) : -1;
}

/// Owner of a descriptor.
class Descriptor {
public:
    constexpr explicit Descriptor(int descriptor = -1) noexcept : m_descriptor(descriptor) {}
    ~Descriptor() {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    Descriptor(Descriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }

    /// Opens a file, whatever signals come, and closes it on exec. Without one errno says why.
    static Descriptor open(const char* path, int flags, mode_t mode = 0) noexcept {
        return openAt(AT_FDCWD, path, flags, mode);
    }
    /// The same for a path that, unless it is absolute, leads on from an open folder.
    static Descriptor openAt(int folder, const char* path, int flags, mode_t mode = 0) noexcept {
        return Descriptor(
            retryInterrupted([&] { return ::openat(folder, path, flags | O_CLOEXEC, mode); }));
    }

    explicit operator bool() const noexcept { return m_descriptor >= 0; }
    int get() const noexcept { return m_descriptor; }
    QXHandle release() noexcept { return static_cast<QXHandle>(std::exchange(m_descriptor, -1)); }

private:
    int m_descriptor;
};

/// The same file on a descriptor above the standard ones: in a process that was started without
/// them, text printed to standard output must not end up in the file. Without one errno says why.
inline Descriptor aboveStandard(Descriptor file) noexcept {
    if (!file || file.get() > STDERR_FILENO)
        return file;
    return Descriptor(::fcntl(file.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

/// The status of an open file.
inline struct stat statusOf(int file) {
    struct stat status;
    throwIfNot0(::fstat(file, &status));
    return status;
}

/// Reads @p size bytes at a place of a file, fewer only where the file ends. As of pread, the
/// number or -1 with errno.
ssize_t readAt(int file, void* buffer, size_t size, uint64_t offset) noexcept;

/// The same where all of them must be there.
void readWholeAt(int file, void* buffer, size_t size, uint64_t offset);

/// Writes all of the bytes at a place of a file, or where the descriptor stands.
void writeAt(int file, const void* buffer, size_t size, uint64_t offset);
void writeOn(int file, const void* buffer, size_t size);

/// Makes what was written durable, where there is something to do: pipes, sockets, terminals and
/// some file systems know no such thing.
void flush(int file);

enum class Locking { Done, Taken, Failed };

/// Bytes of a file and a lock on them, or F_UNLCK. A length of 0 reaches to the end of all files.
struct flock lockOf(short type, off_t firstByte, off_t length) noexcept;

/// Locks or unlocks bytes for the open file description, and never waits. Such a lock goes with the
/// description and not with the process: it ends with the last copy of its descriptor, in whatever
/// way the process ends, and another description in this process counts as another user.
Locking tryLock(int file, short type, off_t firstByte = 0, off_t length = 0) noexcept;

} // namespace qx::platform
