#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <qx/platform/replace.h>

#include <qx/platform/detail/RegistryLog.h>
#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/sync/futex.h>

/* The system calls on the registry's files. */

namespace qx::platform::registry {

/// Opens a file for reading; none when there is none. Throws 0x80070005 when it belongs neither to
/// the user nor to the superuser or when others may write it.
Descriptor openForReading(const std::string& path);

QXFileState stateOf(int file);

/// Reads from @p offset up to @p end; less when the file is shorter.
std::vector<uint8_t> readRange(int file, uint64_t offset, uint64_t end);

/// A file open for a change, with the lock that keeps other writers out of it until the end of the
/// object. The lock goes with the open file description: it ends with the process, and threads
/// exclude each other too.
class LockedFile {
public:
    LockedFile() = default;
    ~LockedFile() { close(); }
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;

    /// Opens and locks the file, which is made together with its folder when it does not exist.
    /// False, with no file open, while somebody else has the lock. Throws Busy when @p patience is
    /// at its end and that is nobody who may write the file: no writer has such a lock, so it need
    /// not ever go.
    bool tryOpen(const std::string& path, const Deadline& patience);
    void close() noexcept;

    int descriptor() const noexcept { return m_file.get(); }

    /// Puts the bytes in the place of all that lies behind @p offset and makes them durable. On
    /// failure the file ends at the offset.
    void append(uint64_t offset, std::span<const uint8_t> bytes) const;

private:
    Descriptor m_file;
};

} // namespace qx::platform::registry
