#include "qx/platform/posix/shared/SharedFile.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include <sys/mman.h>
#include <sys/stat.h>

#include <qx/platform/detail/HexDigits.h>
#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/folder.h>
#include <qx/platform/posix/shared/SharedFolder.h>
#include <qx/platform/thread.h>

namespace qx::platform::shared {

namespace {

// Bytes of a file that are locked, one for each slot; what they contain does not matter. A user has
// a lock on one of them, whoever sets up or removes the file a write lock on all. Nobody ever waits
// for a lock: its holder may be stopped, or another user's process that wants to be waited for.
//
// So a write lock on all is had only while there is no user, and with it nobody becomes one: what
// lies in the file then is what killed processes left. Whoever has it either sets a new object up
// and gives back all bytes but its own, or removes the file. In between others may have removed the
// name or put another file under it, which the number of links of the locked file tells. And one
// becomes a user only beside another one: whoever had the file a moment ago may have been killed
// while it set it up.
//
// A process that is killed leaves the file and what its slot held in the state. The kernel drops
// its lock, by which those who wait on the object learn of its death (isSlotTaken) and give back
// what it held; a process that takes the slot later does so before it uses the object.
constexpr off_t FirstUserByte = 1;
constexpr off_t UserBytes = SharedFile::SlotCount;

/// Keeps everybody else from being a user.
Locking tryLockWhole(int descriptor) {
    return tryLock(descriptor, F_WRLCK, FirstUserByte, UserBytes);
}

/// Throws why a lock failed: a system without such locks knows nothing of the command.
[[noreturn]] void throwLockFailure() {
    throw Failure{errno == EINVAL ? result::NotAvailable : lastResult()};
}

/// A lock on those bytes that another description has; F_UNLCK when none has. One of a user when it
/// cannot be found out: to take a living process for dead would be worse than the reverse.
struct flock lockOfAnother(int descriptor, off_t firstByte, off_t length) {
    struct flock range = lockOf(F_WRLCK, firstByte, length);
    return fcntl(descriptor, F_OFD_GETLK, &range) == 0 ? range : lockOf(F_WRLCK, firstByte, 1);
}

/// True when somebody is a user of a file, which therefore is set up: whoever may only read it can
/// lock more than a user would, but only for reading. False while somebody sets it up or removes
/// it, and when whoever did so is gone.
bool isInUse(int descriptor) {
    const struct flock other = lockOfAnother(descriptor, FirstUserByte, UserBytes);
    return other.l_type == F_RDLCK || (other.l_type == F_WRLCK && other.l_len == 1);
}

const char* prefixOf(Place place) {
    switch (place) {
    case Place::Lock:
        return "lock.";
    case Place::PrivateMemory:
        return "memory.";
    case Place::PublicMemory:
        break;
    }
    return "qx-memory.";
}

Descriptor openFile(int folder, const char* fileName, int flags, mode_t mode = 0) {
    // O_NONBLOCK: in the common folder somebody may have put a pipe under the name.
    return aboveStandard(
        Descriptor::openAt(folder, fileName, flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, mode));
}

/// Removes a file that is locked whole. The name goes before the lock, so that whoever gets the
/// lock next finds a file without a name and knows that it is not to be used. The common folder
/// lets nobody remove a file of another user, which is then emptied: an empty file without users
/// counts as absent.
bool discard(int folder, const char* fileName, int descriptor) {
    return unlinkat(folder, fileName, 0) == 0 || ftruncate(descriptor, 0) == 0;
}

/// True when this removed it.
bool discardIfUnused(int folder, const char* fileName) {
    const Descriptor file = openFile(folder, fileName, O_RDWR);
    struct stat status;
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    if (tryLockWhole(file.get()) != Locking::Done)
        return false; // the user, or whoever sets up or removes the file, sees to it
    // In between others may have removed the file and made a new one.
    return fstat(file.get(), &status) == 0 && status.st_nlink != 0 &&
           discard(folder, fileName, file.get());
}

/// Gives back the memory of a file that nobody else uses. True when it did.
bool emptyIfUnused(int descriptor) {
    return tryLockWhole(descriptor) == Locking::Done && ftruncate(descriptor, 0) == 0;
}

/// Removes what killed processes left.
void sweepOnce() {
    static constinit std::atomic_flag done;
    if (done.test_and_set())
        return;
    for (const Place place : {Place::Lock, Place::PrivateMemory, Place::PublicMemory})
        static_cast<void>(resultOf([&] {
            forEachOwnFile(place, [](int folder, const char* fileName, const std::string&) {
                discardIfUnused(folder, fileName);
            });
        }));
}

/// Whether the memory that a request makes may be that of another user's file, who can write to it
/// and cut it: where it would be his to write to anyway, as of all or of the file's group.
bool mayBeOthers(const SharedFileRequest& request, const struct stat& status) {
    return (request.mode & S_IWOTH) != 0 ||
           ((request.mode & S_IWGRP) != 0 && status.st_gid == getegid());
}

/// Whether a file is not to be touched.
bool isForeign(const SharedFileRequest& request, const struct stat& status) {
    if (!S_ISREG(status.st_mode))
        return true;
    if (status.st_uid == geteuid())
        return false;
    return request.place != Place::PublicMemory ||
           (request.create && !request.exclusive && !mayBeOthers(request, status));
}

/// Opens the file of that name, or makes an empty one; none when it may not be made.
Descriptor openOrCreate(int folder, const char* fileName, const SharedFileRequest& request) {
    for (;;) {
        Descriptor file = openFile(folder, fileName, request.readOnly ? O_RDONLY : O_RDWR);
        if (!file && errno == ENOENT) {
            if (!request.create)
                return file;
            // Nobody else may open it before it is set up and gets its mode.
            file = openFile(folder, fileName, O_RDWR | O_CREAT | O_EXCL, 0600);
            if (!file && errno == EEXIST)
                continue; // somebody else was faster
            if (!file && errno == ENOENT && request.place != Place::PublicMemory)
                throw Failure{result::Busy}; // the folder had to give way to another one
            if (!file && errno == EROFS)
                throwFolderFailure();
        }
        if (!file)
            throw Failure{lastResult()};
        if (isForeign(request, statusOf(file.get())))
            throw Failure{result::AccessDenied};
        return file;
    }
}

bool isPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_' || c == '.' || c == ':';
}

/// FNV-1a of 128 bits.
void hashText(const char* text, char (&hex)[33]) {
    __extension__ using Wide = unsigned __int128;
    constexpr Wide Prime = (Wide{1} << 88) + 0x13B;
    Wide hash = (Wide{0x6C62272E07BB0142} << 64) + 0x62B821756295C58D;
    for (; *text != '\0'; ++text)
        hash = (hash ^ static_cast<unsigned char>(*text)) * Prime;
    std::snprintf(hex, sizeof hex, "%016llx%016llx", static_cast<unsigned long long>(hash >> 64),
                  static_cast<unsigned long long>(hash));
}

} // namespace

void pauseBeforeRetry(uint32_t round) noexcept {
    constexpr uint32_t Yields = 4;
    QXThreadSleep(round < Yields ? 0 : 1);
}

void makeFileName(Place place, const char* name,
                  char (&fileName)[SharedFile::FileNameCapacity]) noexcept {
    constexpr size_t LongestEscaped = 200;
    constexpr size_t LongestBeginning = 150;
    const size_t prefixLength = std::strlen(prefixOf(place));
    std::memcpy(fileName, prefixOf(place), prefixLength);

    char* const start = fileName + prefixLength;
    char* end = start;
    char* endOfBeginning = start;
    const char* next = name;
    for (; *next != '\0' && end <= start + LongestEscaped - 3; ++next) {
        if (isPlain(*next))
            *end++ = *next;
        else
            end += std::snprintf(end, 4, "%%%02X", static_cast<unsigned char>(*next));
        if (end <= start + LongestBeginning)
            endOfBeginning = end;
    }
    *end = '\0';
    if (*next == '\0')
        return;
    // The tilde is never plain, so a shortened name cannot equal a whole one.
    char hex[33];
    hashText(name, hex);
    std::snprintf(endOfBeginning, sizeof hex + 1, "~%s", hex);
}

std::string nameOfFile(Place place, std::string_view fileName) {
    fileName.remove_prefix(std::strlen(prefixOf(place)));
    std::string name;
    const auto digitAt = [&](size_t i) {
        return i < fileName.size() ? hexValue(static_cast<unsigned char>(fileName[i])) : -1;
    };
    for (size_t i = 0; i < fileName.size(); ++i) {
        const int high = digitAt(i + 1), low = digitAt(i + 2);
        if (fileName[i] == '%' && high >= 0 && low >= 0) {
            name += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            name += fileName[i];
        }
    }
    return name;
}

void forEachOwnFile(Place place, const FileVisitor& visit) {
    const std::string_view prefix = prefixOf(place);
    Folder folder = openFolder(place, Missing::IsNone);
    if (!folder.descriptor)
        return;
    forEachEntry(std::move(folder.descriptor), [&](int descriptor, const char* name) {
        struct stat status;
        if (std::string_view(name).starts_with(prefix) &&
            fstatat(descriptor, name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISREG(status.st_mode) && status.st_uid == geteuid())
            visit(descriptor, name, folder.path + '/' + name);
    });
}

int32_t SharedFile::tryOpen(const SharedFileRequest& request, bool& isNew) {
    m_place = request.place;
    m_forkEpoch = forkEpoch();
    isNew = false;
    makeFileName(request.place, request.name, m_fileName);
    const Descriptor folder = openFolder(request.place, Missing::IsMade).descriptor;
    Descriptor file = openOrCreate(folder.get(), m_fileName, request);
    if (!file)
        return result::NotFound;
    if (request.readOnly) {
        if (!hasUser(file.get()))
            return result::NotFound;
        return tryJoinUsers(std::move(file)) ? result::Ok : result::Busy;
    }
    switch (tryLockWhole(file.get())) {
    case Locking::Failed:
        throwLockFailure();
    case Locking::Taken:
        if (!tryJoinUsers(std::move(file)))
            return result::Busy;
        return request.exclusive ? result::FileExists : result::Ok;
    case Locking::Done:
        break;
    }
    isNew = true;
    return beginSetUp(request, folder.get(), std::move(file));
}

/// Takes a file that is locked whole. What lies there is the rest of killed processes; their memory
/// may still be mapped by somebody who outlived his use of it, so the next file is another one.
int32_t SharedFile::beginSetUp(const SharedFileRequest& request, int folder, Descriptor file) {
    struct stat status = statusOf(file.get());
    if (status.st_nlink == 0)
        return result::Busy; // its last user removed it before we got the lock
    if (!request.create) {
        discard(folder, m_fileName, file.get());
        return result::NotFound;
    }
    if (request.exclusive && status.st_uid != geteuid())
        return result::FileExists; // what is to be ours alone cannot be another user's file
    if (status.st_size != 0) {
        if (!discard(folder, m_fileName, file.get()))
            throw Failure{lastResult()};
        status = statusOf(file.get());
        if (status.st_nlink == 0)
            return result::Busy; // the next attempt makes a new one
    }
    if (status.st_uid == geteuid())
        throwIfNot0(fchmod(file.get(), request.mode));
    m_descriptor = std::move(file);
    m_slot = 0;
    sweepOnce();
    return result::Ok;
}

/// Becomes one of the users of a file that somebody else had a moment ago; false when it is not in
/// use.
bool SharedFile::tryJoinUsers(Descriptor file) {
    m_descriptor = std::move(file);
    if (!tryTakeSlot())
        return false;
    const struct stat status = statusOf(m_descriptor.get());
    // Removed or emptied before we became a user.
    return status.st_nlink != 0 && status.st_size != 0;
}

bool SharedFile::tryTakeSlot() {
    const short type = lockOfUser();
    const int file = m_descriptor.get();
    if (!isInUse(file))
        return false; // and may be half set up
    const uint32_t slots = type == F_RDLCK ? 1 : SlotCount;
    for (m_slot = 0; m_slot < slots; ++m_slot) {
        const Locking locking = tryLock(file, type, FirstUserByte + m_slot, 1);
        if (locking == Locking::Done)
            return true;
        if (locking == Locking::Failed)
            throwLockFailure();
    }
    // All of them are taken, or somebody has begun to remove it meanwhile, who takes all.
    if (slots == 1 || !isInUse(file))
        return false;
    throw Failure{resultFromErrno(EMFILE)};
}

/// Blocks of memory have users that cannot be told apart, some of whom may only read the file.
short SharedFile::lockOfUser() const noexcept { return m_place == Place::Lock ? F_WRLCK : F_RDLCK; }

void SharedFile::endSetUp() {
    const int file = m_descriptor.get();
    if (tryLock(file, lockOfUser(), FirstUserByte, 1) != Locking::Done ||
        tryLock(file, F_UNLCK, FirstUserByte + 1, UserBytes - 1) != Locking::Done)
        throwLockFailure();
}

off_t SharedFile::byteOf(uint32_t slot) noexcept { return FirstUserByte + off_t{slot}; }

bool SharedFile::hasUser(int descriptor) noexcept {
    return lockOfAnother(descriptor, FirstUserByte, UserBytes).l_type != F_UNLCK;
}

bool SharedFile::hasUser(int descriptor, uint32_t slot) noexcept {
    return lockOfAnother(descriptor, byteOf(slot), 1).l_type != F_UNLCK;
}

bool SharedFile::removeUnused(Place place, const char* fileName) {
    const Descriptor folder = openFolder(place, Missing::IsNone).descriptor;
    return folder && discardIfUnused(folder.get(), fileName);
}

const char* SharedFile::lack() noexcept {
    const Descriptor folder = Descriptor::open(QX_MEMORY_FOLDER, O_RDONLY | O_DIRECTORY);
    if (!folder)
        return "Objects between processes lie in the folder " QX_MEMORY_FOLDER
               ", which cannot be opened.";
    if (faccessat(folder.get(), ".", W_OK, AT_EACCESS) != 0)
        return "Objects between processes lie in the folder " QX_MEMORY_FOLDER
               ", which the process must not write to.";
    if (access("/proc/self/fd", X_OK) != 0)
        return "Objects between processes are opened once more by way of /proc/self/fd, which is "
               "not there.";
    struct flock range = lockOf(F_RDLCK, FirstUserByte, 1);
    if (fcntl(folder.get(), F_OFD_GETLK, &range) != 0)
        return "Processes that use an object are told by locks of open file descriptions "
               "(F_OFD_SETLK), which the system refuses in " QX_MEMORY_FOLDER ".";
    return nullptr;
}

void SharedFile::reserve(uint64_t sizeInBytes) {
    // The file system may take back all that an interrupted call has reserved. Where signals come
    // faster than that takes, smaller and smaller pieces get through.
    constexpr off_t SmallestPiece = 1 << 20;
    const auto end = static_cast<off_t>(sizeInBytes);
    off_t piece = end;
    for (off_t begin = 0; begin < end;) {
        const off_t length = std::min(piece, end - begin);
        const int error = posix_fallocate(m_descriptor.get(), begin, length);
        if (error == 0)
            begin += length;
        else if (error == EINTR)
            piece = std::max(length / 2, SmallestPiece);
        else
            throw Failure{resultFromErrno(error)};
    }
}

bool SharedFile::isSlotTaken(uint32_t slot) const noexcept {
    return hasUser(m_descriptor.get(), slot);
}

void* SharedFile::mapApart(size_t sizeInBytes) const noexcept {
    // A mapping keeps its open file description alive, and with that the locks.
    const Descriptor apart = openAgain();
    if (!apart)
        return MAP_FAILED;
    return mmap(nullptr, sizeInBytes, PROT_READ | PROT_WRITE, MAP_SHARED, apart.get(), 0);
}

bool SharedFile::tryReenter() noexcept {
    // The parent's description is shared with the child and keeps the parent's slot locked as long
    // as the child has it, even after the parent's death. It is given up only when the new one has
    // a slot, so that the file is never without a user in between.
    Descriptor own = openAgain();
    if (!own)
        return false;
    std::swap(own, m_descriptor);
    m_forkEpoch = forkEpoch();
    bool isUser = false;
    return resultOf([&] { isUser = tryTakeSlot(); }) >= 0 && isUser;
}

/// A new description of the same file, under whatever name it lies or none.
Descriptor SharedFile::openAgain() const noexcept {
    char path[48];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", m_descriptor.get());
    return aboveStandard(Descriptor::open(path, O_RDWR));
}

void SharedFile::close() noexcept {
    if (!m_descriptor)
        return;
    // A program that another thread is just starting has the description until it is executed, and
    // with it would keep the lock. So does a child made by fork, which may go on using the file.
    // The name may have to stay, where the process has become another user or may not open more
    // files: what it stands for is emptied first.
    Descriptor file = std::move(m_descriptor);
    if (m_forkEpoch == forkEpoch()) {
        emptyIfUnused(file.get());
        tryLock(file.get(), F_UNLCK, FirstUserByte, UserBytes);
    }
    file = Descriptor();
    static_cast<void>(resultOf([&] { removeUnused(m_place, m_fileName); }));
}

} // namespace qx::platform::shared
