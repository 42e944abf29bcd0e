#pragma once

#include <string>

#include <qx/core/Object.h>
#include <qx/core/PlatformHandle.h>
#include <qx/platform/export.h>
#include <qx/platform/shared.h>

namespace qx::ipc {

/// A block of memory that is shared by name with other processes. It is mapped for reading and
/// writing from construction to destruction, and exists until its last user destroys it or dies.
/// The members may be called from any thread; who uses the bytes when is up to the users. A block
/// has less than 4 GiB.
class QX_API SharedMemory : public qx::Object {
public:
    /// @param name         any text, not empty
    /// @param size         in bytes; 0 takes the size of an existing block, which no member tells:
    ///     the users have to know it, or say it in the block
    /// @param flags        QX_SHAREDMEM_... bits; QX_SHAREDMEM_CREATE creates a missing block
    /// @param permissions  0: only this user may open the block; otherwise the bits of 0666 that
    ///     say what its group and others may do
    /// @throws ResultException "Failed to open shared memory." or "Failed to attach shared memory"
    SharedMemory(const char* name, unsigned int size, unsigned int flags, unsigned int permissions);
    /// A name with a 0 byte in it is refused as an empty one is.
    SharedMemory(const std::string& name, unsigned int size, unsigned int flags,
                 unsigned int permissions)
        : SharedMemory(name.find('\0') == std::string::npos ? name.c_str() : "", size, flags,
                       permissions) {}
    ~SharedMemory() override;
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    /// The mapped block, aligned to a page.
    void* get() const noexcept { return m_address; }
    operator void*() const noexcept { return m_address; }

private:
    PlatformHandle<&QXSharedMemClose> m_handle;
    void* m_address = nullptr;
};

} // namespace qx::ipc

using CQXSharedMemory = qx::ipc::SharedMemory;
