#include "qx/platform/posix/registry/RegistryFile.h"

#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/aside.h>
#include <qx/platform/posix/files/folder.h>
#include <qx/platform/posix/files/path.h>
#include <qx/platform/posix/module/trust.h>
#include <qx/platform/posix/random.h>

namespace qx::platform::registry {

namespace {

Descriptor open(const char* path, int flags) noexcept {
    // O_NONBLOCK: should somebody have put a pipe there, it is refused and not waited for.
    return aboveStandard(Descriptor::open(path, flags | O_NOCTTY | O_NONBLOCK));
}

void checkTrust(const char* path, const struct stat& status) {
    if (!isTrusted(path, status))
        throw Failure{result::AccessDenied};
}

/// Refuses an open file that is not the user's own, or that lies where others may exchange it.
void check(const std::string& path, int file) {
    struct stat status = statusOf(file);
    if (!S_ISREG(status.st_mode))
        throw Failure{result::AccessDenied};
    checkTrust(path.c_str(), status);
    const PathText folder(folderOf(path));
    throwIfNot0(::stat(folder.c_str(), &status));
    checkTrust(folder.c_str(), status);
}

/// Makes one folder in an existing one, for the owner alone and durable.
void makeFolder(const PathText& path) {
    if (::mkdir(path.c_str(), S_IRWXU) != 0) {
        if (errno == EEXIST)
            return;
        throw Failure{lastResult()};
    }
    // The umask may have taken bits away.
    throwIfNot0(::chmod(path.c_str(), S_IRWXU));
    // A file in a folder that a power cut takes away again would not be durable.
    flushFolder(folderOf(path.view()));
}

/// Makes an absolute path of folders, as far as it does not exist.
void makeFolders(std::string_view path) {
    for (size_t end = 0; end < path.size();) {
        end = std::min(path.find('/', end + 1), path.size());
        const PathText folder(path.substr(0, end));
        struct stat status;
        if (::stat(folder.c_str(), &status) != 0)
            makeFolder(folder);
    }
}

/// Creates a file with nothing but a header, unless there is one. It gets its name when it is whole
/// and durable, and never takes that of another process's file: link refuses an existing name,
/// which rename would replace.
void createFile(const std::string& path) {
    const PathText folder(std::string_view(path).substr(0, path.rfind('/')));
    makeFolders(folder.view());
    uint64_t generation = 0;
    fillRandomly(&generation, sizeof generation);
    const Landmark header = makeHeader(generation);
    {
        const AsideFile aside(path, S_IRUSR | S_IWUSR);
        throwIfNot0(::fchmod(aside.descriptor(), S_IRUSR | S_IWUSR));
        writeAt(aside.descriptor(), header.data(), header.size(), 0);
        flush(aside.descriptor());
        if (::link(aside.path().c_str(), path.c_str()) != 0 && errno != EEXIST)
            throw Failure{lastResult()};
    }
    flushFolder(folder.view());
}

/// Whether the file is the one that has the name now.
bool hasName(int file, const char* path) {
    const struct stat opened = statusOf(file);
    struct stat named;
    return ::stat(path, &named) == 0 && named.st_dev == opened.st_dev &&
           named.st_ino == opened.st_ino;
}

/// Whether a lock is in the way that takes no right to write.
bool isLockedForReading(int file) noexcept {
    struct flock range = lockOf(F_WRLCK, 0, 0);
    return ::fcntl(file, F_OFD_GETLK, &range) == 0 && range.l_type == F_RDLCK;
}

} // namespace

Descriptor openForReading(const std::string& path) {
    Descriptor file = open(path.c_str(), O_RDONLY);
    if (file)
        check(path, file.get());
    else if (const int32_t result = lastResult(); result != result::NotFound)
        throw Failure{result};
    return file;
}

QXFileState stateOf(int file) {
    QXFileState state;
    throwIfFailed(QXFileGetHandleState(static_cast<QXHandle>(file), &state));
    return state;
}

std::vector<uint8_t> readRange(int file, uint64_t offset, uint64_t end) {
    std::vector<uint8_t> bytes(end - offset);
    const ssize_t length = readAt(file, bytes.data(), bytes.size(), offset);
    if (length < 0)
        throw Failure{lastResult()};
    bytes.resize(static_cast<size_t>(length));
    return bytes;
}

bool LockedFile::tryOpen(const std::string& path, const Deadline& patience) {
    // Others may remove the file again. A link that leads nowhere never lets one be made.
    constexpr int MostCreations = 16;
    for (int creations = 0;;) {
        m_file = registry::open(path.c_str(), O_RDWR);
        if (!m_file) {
            if (errno != ENOENT || creations++ == MostCreations)
                throw Failure{lastResult()};
            createFile(path);
            continue;
        }
        check(path, m_file.get());
        const Locking locking = tryLock(m_file.get(), F_WRLCK);
        if (locking == Locking::Failed)
            throw Failure{lastResult()};
        // Before the lock was had another writer may have put a compacted file under the name.
        if (locking == Locking::Done && hasName(m_file.get(), path.c_str()))
            return true;
        if (locking == Locking::Taken && patience.hasPassed() && isLockedForReading(m_file.get()))
            throw Failure{result::Busy};
        close();
        if (locking == Locking::Taken)
            return false;
    }
}

void LockedFile::close() noexcept {
    // A child that was forked meanwhile has the description too, and with it would keep the lock.
    if (m_file)
        tryLock(m_file.get(), F_UNLCK);
    m_file = Descriptor();
}

void LockedFile::append(uint64_t offset, std::span<const uint8_t> bytes) const {
    const int file = m_file.get();
    const auto cut = [&] {
        return retryInterrupted([&] { return ::ftruncate(file, static_cast<off_t>(offset)); });
    };
    if (statusOf(file).st_size > static_cast<off_t>(offset))
        throwIfNot0(cut());
    try {
        writeAt(file, bytes.data(), bytes.size(), offset);
        throwIfNot0(retryInterrupted([&] { return ::fdatasync(file); }));
    } catch (const Failure&) {
        // Where not even that can be done, what is left is no whole transaction, which readers pass
        // over and the next writer replaces, or a whole one that nobody was promised.
        static_cast<void>(cut());
        throw;
    }
}

} // namespace qx::platform::registry
