#include "qx/platform/posix/SharedFile.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include "qx/platform/posix/error.h"
#include <qx/platform/result.h>

namespace qx::platform::shared {

namespace {

constexpr char MemoryFolder[] = "/dev/shm";

// Bytes of a file that are locked; what they contain does not matter.
constexpr off_t SetUpByte = 0;
constexpr off_t FirstUserByte = 1;
constexpr off_t UserBytes = SharedFile::SlotCount;

enum class Blocking { Yes, No };

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

/// Locks or, with F_UNLCK, unlocks one byte for the open file description. F_OFD_ locks go with the
/// description, not with the process, so a second one in this process counts as another user.
bool setLock(int descriptor, short type, off_t byte, Blocking blocking) {
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = byte;
    range.l_len = 1;
    const int command = blocking == Blocking::Yes ? F_OFD_SETLKW : F_OFD_SETLK;
    return retryInterrupted([&] { return fcntl(descriptor, command, &range); }) == 0;
}

/// True when another description holds a lock in the range. What cannot be found out counts as
/// held: to take a living process for dead would be worse than the reverse.
bool isLockedByOther(int descriptor, off_t firstByte, off_t length) {
    struct flock range = {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    range.l_start = firstByte;
    range.l_len = length;
    return fcntl(descriptor, F_OFD_GETLK, &range) != 0 || range.l_type != F_UNLCK;
}

bool hasOtherUsers(int descriptor) { return isLockedByOther(descriptor, FirstUserByte, UserBytes); }

int32_t openUserFolder(Descriptor& folder) {
    char path[64];
    std::snprintf(path, sizeof path, "%s/qx-%u", MemoryFolder, static_cast<unsigned>(geteuid()));
    if (mkdir(path, 0700) != 0 && errno != EEXIST)
        return lastResult();
    folder = Descriptor::open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    struct stat status;
    if (!folder || fstat(folder.get(), &status) != 0)
        return lastResult();
    const bool isOurs = status.st_uid == geteuid() && (status.st_mode & 077) == 0;
    return isOurs ? result::Ok : result::AccessDenied;
}

int32_t openFolder(Place place, Descriptor& folder) {
    if (place != Place::PublicMemory)
        return openUserFolder(folder);
    folder = Descriptor::open(MemoryFolder, O_RDONLY | O_DIRECTORY);
    return folder ? result::Ok : lastResult();
}

Descriptor openFile(int folder, const char* fileName, int flags, mode_t mode = 0) {
    // O_NONBLOCK: in the common folder somebody may have put a pipe under the name.
    return Descriptor::openAt(folder, fileName, flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, mode);
}

/// Removes a file that has no users; its set-up lock is held. The common folder lets nobody remove
/// a file of another user, which is then emptied: an empty file without users counts as absent.
bool discard(int folder, const char* fileName, int descriptor) {
    return unlinkat(folder, fileName, 0) == 0 || ftruncate(descriptor, 0) == 0;
}

void discardIfUnused(int folder, const char* fileName, Blocking blocking) {
    const Descriptor file = openFile(folder, fileName, O_RDWR);
    struct stat status;
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return;
    if (!setLock(file.get(), F_WRLCK, SetUpByte, blocking))
        return;
    // Between the two calls above others may have removed the file and made a new one.
    if (fstat(file.get(), &status) == 0 && status.st_nlink != 0 && !hasOtherUsers(file.get()))
        discard(folder, fileName, file.get());
}

/// Removes what killed processes left. Files whose set-up lock is held have somebody who sees to
/// it.
void sweep(Place place) {
    Descriptor folder;
    if (openFolder(place, folder) < 0)
        return;
    const int folderDescriptor = folder.get();
    DIR* entries = fdopendir(folderDescriptor);
    if (entries == nullptr)
        return;
    folder.release();
    const char* prefix = prefixOf(place);
    while (const dirent* entry = readdir(entries)) {
        struct stat status;
        if (std::strncmp(entry->d_name, prefix, std::strlen(prefix)) == 0 &&
            fstatat(folderDescriptor, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISREG(status.st_mode) && status.st_uid == geteuid())
            discardIfUnused(folderDescriptor, entry->d_name, Blocking::No);
    }
    closedir(entries);
}

void sweepOnce() {
    static constinit std::atomic_flag done;
    if (done.test_and_set())
        return;
    for (const Place place : {Place::Lock, Place::PrivateMemory, Place::PublicMemory})
        sweep(place);
}

/// Opens the file of that name, or makes an empty one; 0x80070002 when it may not be made.
int32_t openOrCreate(int folder, const char* fileName, const SharedFileRequest& request,
                     Descriptor& file) {
    for (;;) {
        file = openFile(folder, fileName, request.readOnly ? O_RDONLY : O_RDWR);
        if (file)
            break;
        if (errno != ENOENT || !request.create)
            return lastResult();
        file = openFile(folder, fileName, O_RDWR | O_CREAT | O_EXCL, request.mode);
        if (file) {
            if (fchmod(file.get(), request.mode) != 0)
                return lastResult();
            break;
        }
        if (errno != EEXIST)
            return lastResult();
    }
    struct stat status;
    if (fstat(file.get(), &status) != 0)
        return lastResult();
    const bool isOurs = S_ISREG(status.st_mode) &&
                        (request.place == Place::PublicMemory || status.st_uid == geteuid());
    return isOurs ? result::Ok : result::AccessDenied;
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

int32_t SharedFile::open(const SharedFileRequest& request, bool& isNew) noexcept {
    m_place = request.place;
    makeFileName(request.place, request.name, m_fileName);
    Descriptor folder;
    if (const int32_t r = openFolder(request.place, folder); r < 0)
        return r;
    for (;;) {
        Descriptor file;
        if (const int32_t r = openOrCreate(folder.get(), m_fileName, request, file); r < 0)
            return r;
        const short lockType = request.readOnly ? F_RDLCK : F_WRLCK;
        struct stat status;
        if (!setLock(file.get(), lockType, SetUpByte, Blocking::Yes) ||
            fstat(file.get(), &status) != 0)
            return lastResult();
        if (status.st_nlink == 0)
            continue; // its last user removed it before we got the lock
        isNew = !hasOtherUsers(file.get());
        if (isNew) {
            // Whatever lies there is the rest of killed processes. Their memory may still be mapped
            // by somebody who outlived his use of it, so the next file is another one.
            if (!request.create) {
                if (!request.readOnly)
                    discard(folder.get(), m_fileName, file.get());
                return result::NotFound;
            }
            if (request.exclusive && status.st_uid != geteuid())
                return result::FileExists; // what is to be ours alone cannot be another user's file
            if (status.st_size != 0) {
                if (!discard(folder.get(), m_fileName, file.get()))
                    return lastResult();
                if (fstat(file.get(), &status) != 0 || status.st_nlink == 0)
                    continue;
            }
            m_descriptor = std::move(file);
            sweepOnce();
            return result::Ok;
        }
        if (request.exclusive)
            return result::FileExists;
        m_descriptor = std::move(file);
        return result::Ok;
    }
}

int32_t SharedFile::reserve(uint64_t sizeInBytes) noexcept {
    int error;
    do
        error = posix_fallocate(m_descriptor.get(), 0, static_cast<off_t>(sizeInBytes));
    while (error == EINTR);
    return error == 0 ? result::Ok : resultFromErrno(error);
}

int64_t SharedFile::size() const noexcept {
    struct stat status;
    return fstat(m_descriptor.get(), &status) == 0 ? status.st_size : lastResult();
}

int32_t SharedFile::enter() noexcept {
    return setLock(m_descriptor.get(), F_RDLCK, FirstUserByte, Blocking::No) ? result::Ok
                                                                             : lastResult();
}

int32_t SharedFile::enterSlot(uint32_t& slot) noexcept {
    for (slot = 0; slot < SlotCount; ++slot) {
        if (setLock(m_descriptor.get(), F_WRLCK, FirstUserByte + slot, Blocking::No))
            return result::Ok;
        if (errno != EAGAIN && errno != EACCES)
            return lastResult();
    }
    return resultFromErrno(EMFILE);
}

void SharedFile::endSetUp() noexcept {
    setLock(m_descriptor.get(), F_UNLCK, SetUpByte, Blocking::No);
}

bool SharedFile::isSlotTaken(uint32_t slot) const noexcept {
    return isLockedByOther(m_descriptor.get(), FirstUserByte + slot, 1);
}

void* SharedFile::mapApart(size_t sizeInBytes) const noexcept {
    // A mapping keeps its open file description alive, and with that the locks.
    const Descriptor apart = openAgain();
    if (!apart)
        return MAP_FAILED;
    return mmap(nullptr, sizeInBytes, PROT_READ | PROT_WRITE, MAP_SHARED, apart.get(), 0);
}

int32_t SharedFile::reenterSlot(uint32_t& slot) noexcept {
    // The parent's description is shared with the child and keeps the parent's slot locked as long
    // as the child has it, even after the parent's death. It is given up only when the new one has
    // a slot, so that the file is never without a user in between.
    Descriptor own = openAgain();
    if (!own)
        return lastResult();
    std::swap(own, m_descriptor);
    return enterSlot(slot);
}

/// A new description of the same file, under whatever name it lies or none.
Descriptor SharedFile::openAgain() const noexcept {
    char path[48];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", m_descriptor.get());
    return Descriptor::open(path, O_RDWR);
}

void SharedFile::close() noexcept {
    if (!m_descriptor)
        return;
    m_descriptor = Descriptor();
    Descriptor folder;
    if (openFolder(m_place, folder) >= 0)
        discardIfUnused(folder.get(), m_fileName, Blocking::Yes);
}

} // namespace qx::platform::shared
