#pragma once

#include <cstdint>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/files.h>

namespace qx::io {

/// The file of a stream: a handle that the stream owns and closes, or one that it only uses.
class FileHandle {
public:
    static constexpr QXHandle None = PlatformHandle<&QXFileClose>::None;

    FileHandle() noexcept = default;
    FileHandle(QXHandle handle, bool owns) noexcept
        : m_owned(owns ? handle : None), m_borrowed(owns ? None : handle) {}

    QXHandle get() const noexcept { return m_owned ? m_owned.get() : m_borrowed; }
    bool isOpen() const noexcept { return get() != None; }
    /// Place for the call that opens a file to be owned; an owned one is closed first.
    QXHandle* put() noexcept {
        m_borrowed = None;
        m_synced = 0;
        return m_owned.put();
    }
    /// Closes an owned file and leaves a borrowed one as it is; the platform's result.
    int32_t close() noexcept { return m_owned.reset(); }
    /// Makes what was written durable; the platform's result. Of bytes that are lost the system
    /// tells once, and takes for stored what is left. So the first failure is the result of all
    /// later calls, until another file is put here.
    int32_t sync() noexcept {
        const int32_t result = QXFileFlush(get());
        if (m_synced >= 0)
            m_synced = result;
        return m_synced;
    }

private:
    PlatformHandle<&QXFileClose> m_owned;
    QXHandle m_borrowed = None;
    int32_t m_synced = 0;
};

} // namespace qx::io
