#include "qx/platform/posix/registry/RegistryFile.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/aside.h>
#include <qx/platform/posix/files/path.h>
#include <qx/platform/posix/files/readat.h>
#include <qx/platform/posix/module/trust.h>
#include <qx/platform/posix/random.h>

namespace qx::platform::registry {

namespace {

Descriptor open(const char* path, int flags) noexcept {
    // O_NONBLOCK: should somebody have put a pipe there, it is refused and not waited for.
    return aboveStandard(Descriptor::open(path, flags | O_NOCTTY | O_NONBLOCK));
}

/// The folder of a path, which has one, without the "/" at its end.
std::string_view withoutName(std::string_view path) noexcept {
    return path.substr(0, path.rfind('/'));
}

/// Refuses an open file that is not the user's own, or that lies where others may exchange it.
int32_t check(const std::string& path, int file) noexcept {
    PathText folder;
    folder.append(folderOf(path));
    struct stat status;
    if (::fstat(file, &status) != 0)
        return lastResult();
    if (!S_ISREG(status.st_mode) || !isTrusted(path.c_str(), status))
        return result::AccessDenied;
    if (::stat(folder.c_str(), &status) != 0)
        return lastResult();
    return isTrusted(folder.c_str(), status) ? result::Ok : result::AccessDenied;
}

bool setLock(int file, short type) noexcept {
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET; // the whole file
    return retryInterrupted([&] { return ::fcntl(file, F_OFD_SETLK, &range); }) == 0;
}

bool flushFolder(const char* path) noexcept {
    const Descriptor folder = Descriptor::open(path, O_RDONLY | O_DIRECTORY);
    return folder && retryInterrupted([&] { return ::fsync(folder.get()); }) == 0;
}

/// Makes one folder in an existing one, for the owner alone and durable.
int32_t makeFolder(const PathText& path) noexcept {
    if (::mkdir(path.c_str(), S_IRWXU) != 0)
        return errno == EEXIST ? result::Ok : lastResult();
    PathText above;
    above.append(folderOf(path.view()));
    // The umask may have taken bits away.
    const bool isMade = ::chmod(path.c_str(), S_IRWXU) == 0 && flushFolder(above.c_str());
    return isMade ? result::Ok : lastResult();
}

/// Makes an absolute path of folders, as far as it does not exist.
int32_t makeFolders(std::string_view path) noexcept {
    for (size_t end = 0; end < path.size();) {
        end = std::min(path.find('/', end + 1), path.size());
        PathText folder;
        if (!folder.append(path.substr(0, end)))
            return NameTooLong;
        struct stat status;
        if (::stat(folder.c_str(), &status) == 0)
            continue;
        if (const int32_t result = makeFolder(folder); result < 0)
            return result;
    }
    return result::Ok;
}

int32_t writeAt(int file, uint64_t offset, std::span<const uint8_t> bytes) noexcept {
    constexpr size_t LargestWrite = size_t{1} << 30;
    while (!bytes.empty()) {
        const ssize_t count = retryInterrupted([&] {
            return ::pwrite(file, bytes.data(), std::min(bytes.size(), LargestWrite),
                            static_cast<off_t>(offset));
        });
        if (count < 0)
            return lastResult();
        bytes = bytes.subspan(static_cast<size_t>(count));
        offset += static_cast<uint64_t>(count);
    }
    return result::Ok;
}

/// Creates a file with nothing but a header, unless there is one. It gets its name when it is whole
/// and durable, and never takes that of another process's file.
int32_t createFile(const std::string& path) noexcept {
    PathText folder;
    folder.append(withoutName(path));
    if (const int32_t result = makeFolders(folder.view()); result < 0)
        return result;
    uint64_t generation = 0;
    if (const int32_t result = randomBytes(&generation, sizeof generation); result < 0)
        return result;

    PathText aside;
    Descriptor file;
    if (const int32_t result = createAside(path, S_IRUSR | S_IWUSR, aside, file); result < 0)
        return result;
    int32_t result = ::fchmod(file.get(), S_IRUSR | S_IWUSR) == 0 ? result::Ok : lastResult();
    if (result >= 0)
        result = writeAt(file.get(), 0, makeHeader(generation));
    if (result >= 0 && retryInterrupted([&] { return ::fsync(file.get()); }) != 0)
        result = lastResult();
    if (result >= 0 && ::link(aside.c_str(), path.c_str()) != 0 && errno != EEXIST)
        result = lastResult();
    ::unlink(aside.c_str());
    if (result >= 0 && !flushFolder(folder.c_str()))
        result = lastResult();
    return result;
}

} // namespace

int32_t openForReading(const std::string& path, Descriptor& file, QXFileState& state) noexcept {
    file = open(path.c_str(), O_RDONLY);
    if (!file)
        return lastResult();
    if (const int32_t result = check(path, file.get()); result < 0)
        return result;
    return QXFileGetHandleState(static_cast<QXHandle>(file.get()), &state);
}

int32_t readRange(int file, uint64_t offset, uint64_t end, std::vector<uint8_t>& bytes) {
    bytes.resize(end - offset);
    const ssize_t length = readAt(file, bytes.data(), bytes.size(), offset);
    if (length < 0)
        return lastResult();
    bytes.resize(static_cast<size_t>(length));
    return result::Ok;
}

int32_t LockedFile::tryOpen(const std::string& path) noexcept {
    // Others may remove the file again. A link that leads nowhere never lets one be made.
    constexpr int MostCreations = 16;
    for (int creations = 0;;) {
        m_file = registry::open(path.c_str(), O_RDWR);
        if (!m_file) {
            if (errno != ENOENT || creations++ == MostCreations)
                return lastResult();
            if (const int32_t result = createFile(path); result < 0)
                return result;
            continue;
        }
        if (const int32_t result = check(path, m_file.get()); result < 0)
            return result;
        if (!setLock(m_file.get(), F_WRLCK)) {
            const int32_t result = errno == EAGAIN ? result::Busy : lastResult();
            m_file = Descriptor();
            return result;
        }
        // Before the lock was had another writer may have put a compacted file under the name.
        struct stat named, opened;
        if (::fstat(m_file.get(), &opened) != 0)
            return lastResult();
        if (::stat(path.c_str(), &named) == 0 && named.st_dev == opened.st_dev &&
            named.st_ino == opened.st_ino)
            return result::Ok;
        close();
    }
}

void LockedFile::close() noexcept {
    // A child that was forked meanwhile has the description too, and with it would keep the lock.
    if (m_file)
        setLock(m_file.get(), F_UNLCK);
    m_file = Descriptor();
}

int32_t LockedFile::getState(QXFileState& state) const noexcept {
    return QXFileGetHandleState(static_cast<QXHandle>(m_file.get()), &state);
}

int32_t LockedFile::append(uint64_t offset, std::span<const uint8_t> bytes) const noexcept {
    struct stat status;
    if (::fstat(m_file.get(), &status) != 0)
        return lastResult();
    const auto end = static_cast<off_t>(offset);
    if (status.st_size > end &&
        retryInterrupted([&] { return ::ftruncate(m_file.get(), end); }) != 0)
        return lastResult();
    int32_t result = writeAt(m_file.get(), offset, bytes);
    if (result >= 0 && retryInterrupted([&] { return ::fdatasync(m_file.get()); }) != 0)
        result = lastResult();
    if (result < 0 && retryInterrupted([&] { return ::ftruncate(m_file.get(), end); }) != 0)
        return result; // what is left is no whole transaction, or one that was not promised
    return result;
}

} // namespace qx::platform::registry
