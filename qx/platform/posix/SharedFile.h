#pragma once

#include <cstddef>
#include <cstdint>

#include "qx/platform/posix/descriptor.h"

namespace qx::platform::shared {

/// Where a file lies, which is also its name space.
enum class Place {
    Lock,          ///< locks and signals of the user: in the user's folder
    PrivateMemory, ///< memory blocks of the user: in the user's folder
    PublicMemory   ///< memory blocks that other users may open: in the common folder
};

/// What SharedFile::open is asked for.
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
/// A user is an open file description that holds a lock on a byte of the file: the kernel drops it
/// when the process ends in whatever way, and it cannot be confused with a later process as a
/// process id can. The last user to close removes the file; what killed processes leave behind is
/// taken as absent by the next one who opens the name, and is removed then or when some process
/// makes its first file.
///
/// The user's folder has mode 0700 and is used only when it belongs to the user and nobody else may
/// enter it.
class SharedFile {
public:
    static constexpr uint32_t SlotCount = 1024;
    static constexpr uint32_t NoSlot = UINT32_MAX;

    SharedFile() = default;
    ~SharedFile() { close(); }
    SharedFile(const SharedFile&) = delete;
    SharedFile& operator=(const SharedFile&) = delete;

    /// Opens or creates. On success the set-up lock is held, against every other process that opens
    /// or removes the file, until endSetUp or close; a new file is empty, and becomes visible to
    /// others as it is when the set-up ends.
    int32_t open(const SharedFileRequest& request, bool& isNew) noexcept;

    /// Sets the size of a new file and reserves its space: 0x80070070 when there is not enough.
    int32_t reserve(uint64_t sizeInBytes) noexcept;

    /// Size in bytes, or a negative result code.
    int64_t size() const noexcept;

    /// Becomes a user that cannot be told from the others.
    int32_t enter() noexcept;
    /// Becomes the only user with this slot, below SlotCount: 0x80070004 when all are taken.
    int32_t enterSlot(uint32_t& slot) noexcept;
    void endSetUp() noexcept;

    /// True while the process that took the slot lives. Never asked for one's own slot.
    bool isSlotTaken(uint32_t slot) const noexcept;

    /// Maps the whole of the given size for reading and writing, or MAP_FAILED. The mapping does
    /// not keep its process a user: a child made by fork, which inherits it, would keep its parent
    /// one.
    void* mapApart(size_t sizeInBytes) const noexcept;

    /// In a child after fork: becomes a user of its own in place of sharing the parent's
    /// descriptor.
    int32_t reenterSlot(uint32_t& slot) noexcept;
    /// In a child after fork: lets go of the parent's descriptor without being a user.
    void abandon() noexcept { m_descriptor = Descriptor(); }

    /// Stops using the file and removes it when nobody else uses it.
    void close() noexcept;

    int descriptor() const noexcept { return m_descriptor.get(); }

    static constexpr size_t FileNameCapacity = 256;

private:
    Descriptor openAgain() const noexcept;

    Descriptor m_descriptor;
    Place m_place = Place::Lock;
    char m_fileName[FileNameCapacity] = {};
};

/// Writes the name of the file that serves @p name: the name itself with unusual characters
/// escaped, or for a long one its beginning and a hash.
void makeFileName(Place place, const char* name,
                  char (&fileName)[SharedFile::FileNameCapacity]) noexcept;

} // namespace qx::platform::shared
