#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include <sys/types.h>

#include <qx/platform/result.h>

#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/sync/futex.h>

namespace qx::platform::shared {

/// Where a file lies, which is also its name space.
enum class Place {
    Lock,          ///< locks and signals of the user: in the user's folder
    PrivateMemory, ///< memory blocks of the user: in the user's folder
    PublicMemory   ///< memory blocks that other users may open: in the common folder
};

/// What SharedFile::tryOpen is asked for.
struct SharedFileRequest {
    Place place;
    const char* name; ///< any text, not empty
    bool create = true;
    bool exclusive = false; ///< with create: an existing file is an error (0x80070050)
    bool readOnly = false;
    uint32_t mode = 0600; ///< permission bits of a new file, whatever the umask
};

/// A named file on the memory file system that exists as long as some process uses it.
///
/// A user is an open file description that holds a lock on a byte of the file, of its own for a
/// Place::Lock: its slot. The kernel drops it when the process ends in whatever way, and it cannot
/// be confused with a later process as a process id can. The last user to close removes the file;
/// what killed processes leave behind is taken as absent by the next one who opens the name, and is
/// removed then or when some process makes its first file.
///
/// The user's folder has mode 0700 and is used only when it belongs to the user and nobody else may
/// enter it. It has another name than usual when another user was there first.
class SharedFile {
public:
    static constexpr uint32_t SlotCount = 1024;

    SharedFile() = default;
    ~SharedFile() { close(); }
    SharedFile(const SharedFile&) = delete;
    SharedFile& operator=(const SharedFile&) = delete;

    /// Opens or creates and becomes a user; never waits. A new file is empty, and nobody else can
    /// use it until endSetUp. Returns Busy while another process sets up or removes the file (most
    /// often for a few microseconds, but for as long as it likes when it is stopped just then),
    /// NotFound and FileExists for what the request does not allow. Throws other failures.
    int32_t tryOpen(const SharedFileRequest& request, bool& isNew);

    /// Lets others use a new file.
    void endSetUp();

    /// Sets the size of a new file and reserves its space: 0x80070070 when there is not enough.
    void reserve(uint64_t sizeInBytes);

    int64_t sizeInBytes() const { return statusOf(descriptor()).st_size; }

    /// The number of this user, below SlotCount, that no other living user of a Place::Lock has.
    uint32_t slot() const noexcept { return m_slot; }
    /// True while the process that took the slot lives. Never asked for one's own slot.
    bool isSlotTaken(uint32_t slot) const noexcept;

    /// Maps the whole of the given size for reading and writing, or MAP_FAILED. The mapping does
    /// not keep its process a user: a child made by fork, which inherits it, would keep its parent
    /// one.
    void* mapApart(size_t sizeInBytes) const noexcept;

    /// In a child after fork: becomes a user of its own in place of sharing the parent's
    /// descriptor.
    bool tryReenter() noexcept;
    /// In a child after fork: lets go of the parent's descriptor without being a user.
    void abandon() noexcept { m_descriptor = Descriptor(); }

    /// Stops using the file and, when nobody else uses it, gives back its memory and removes it as
    /// far as the process may.
    void close() noexcept;

    int descriptor() const noexcept { return m_descriptor.get(); }

    static constexpr size_t FileNameCapacity = 256;
    /// See makeFileName; empty before the first attempt to open.
    const char* fileName() const noexcept { return m_fileName; }

    // For whoever looks at files without being a user.

    /// The byte of a file that the user of a slot locks.
    static off_t byteOf(uint32_t slot) noexcept;
    /// True while a living process is a user of an open file, or has that slot of it.
    static bool hasUser(int descriptor) noexcept;
    static bool hasUser(int descriptor, uint32_t slot) noexcept;
    /// Removes a file that has no user, by the name that it has in its folder; false when there was
    /// none, or it has one.
    static bool removeUnused(Place place, const char* fileName);

    /// What the machine lacks for such files; null when nothing.
    static const char* lack() noexcept;

private:
    int32_t beginSetUp(const SharedFileRequest& request, int folder, Descriptor file);
    bool tryJoinUsers(Descriptor file);
    bool tryTakeSlot();
    short lockOfUser() const noexcept;
    Descriptor openAgain() const noexcept;

    Descriptor m_descriptor;
    uint32_t m_forkEpoch = 0; // when it was opened
    Place m_place = Place::Lock;
    uint32_t m_slot = 0;
    char m_fileName[FileNameCapacity] = {};
};

/// The name that makeFileName made a file name of; of a long one what is left of it.
std::string nameOfFile(Place place, std::string_view fileName);

/// A file in the folder of a place.
using FileVisitor = std::function<void(int folder, const char* fileName, const std::string& path)>;

/// Calls @p visit for the files of a place that belong to the user. There are none without the
/// folder, which is not made.
void forEachOwnFile(Place place, const FileVisitor& visit);

/// Gives others some time: the processor at first, then a moment.
void pauseBeforeRetry(uint32_t round) noexcept;

/// Repeats an attempt, most often to open a file, as long as it is Busy: for some seconds at most,
/// since who is in the way may be stopped. Its result, also of what it throws. The attempt must not
/// hold a lock when it returns.
template <class Attempt>
int32_t retryWhileBusy(Attempt attempt) noexcept {
    const Deadline end = Deadline::after(3000);
    for (uint32_t round = 0;; ++round) {
        const int32_t r = resultOf(attempt);
        if (r != result::Busy || end.hasPassed())
            return r;
        pauseBeforeRetry(round);
    }
}

/// Writes the name of the file that serves @p name: the name itself with unusual characters
/// escaped, or for a long one its beginning and a hash.
void makeFileName(Place place, const char* name,
                  char (&fileName)[SharedFile::FileNameCapacity]) noexcept;

} // namespace qx::platform::shared
