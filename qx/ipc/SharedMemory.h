#pragma once

#include <qx/core/Object.h>
#include <qx/core/PlatformHandle.h>
#include <qx/platform/export.h>
#include <qx/platform/shared.h>

namespace qx::ipc {

/// A block of memory shared by name with other processes, mapped for reading and writing from
/// construction to destruction. The block exists until its last user destroys it or dies.
class QX_API SharedMemory : public qx::Object {
public:
    /// @param name         any text, not empty
    /// @param size         bytes; 0 takes an existing block as it is
    /// @param flags        QX_SHAREDMEM_... bits; QX_SHAREDMEM_CREATE makes a missing block
    /// @param permissions  0 keeps the block to this user; otherwise what group and others may do,
    ///                     as the bits of 0666
    /// @throws ResultException "Failed to open shared memory." or "Failed to attach shared memory"
    SharedMemory(const char* name, unsigned int size, unsigned int flags, unsigned int permissions);
    ~SharedMemory() override;
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    /// The mapped block, page-aligned.
    void* get() const noexcept { return m_address; }
    operator void*() const noexcept { return m_address; }

private:
    PlatformHandle<&QXSharedMemClose> m_handle;
    void* m_address = nullptr;
};

} // namespace qx::ipc

using CQXSharedMemory = qx::ipc::SharedMemory;
