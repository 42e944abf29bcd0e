#pragma once

#include <cstdint>
#include <utility>

#include <qx/platform/types.h>

namespace qx {

/// Owner of one handle of the platform layer, released by @p Release. A failing release is
/// swallowed.
template <int32_t (*Release)(QXHandle)>
class PlatformHandle {
public:
    static constexpr QXHandle None = ~QXHandle{0};

    PlatformHandle() noexcept = default;
    explicit PlatformHandle(QXHandle handle) noexcept : m_handle(handle) {}
    PlatformHandle(PlatformHandle&& other) noexcept : m_handle(other.detach()) {}
    PlatformHandle& operator=(PlatformHandle other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~PlatformHandle() { reset(); }

    QXHandle get() const noexcept { return m_handle; }
    explicit operator bool() const noexcept { return m_handle != None; }
    /// Where the call that makes a handle is to store it; the present handle is released first.
    QXHandle* put() noexcept {
        reset();
        return &m_handle;
    }
    QXHandle detach() noexcept { return std::exchange(m_handle, None); }
    /// Releases the handle, if any, and returns the platform's result; 0 for none.
    int32_t reset() noexcept { return m_handle == None ? 0 : Release(detach()); }

private:
    QXHandle m_handle = None;
};

} // namespace qx
