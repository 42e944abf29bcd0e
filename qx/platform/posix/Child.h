#pragma once

#include <climits>
#include <cstdint>
#include <sys/types.h>

#include "qx/platform/posix/handle.h"

namespace qx::platform {

/// A child process as its handle holds it: the number below, a process descriptor above, which
/// keeps the number from being taken for that of another child once somebody else has collected
/// this one. Does not own the descriptor.
class Child {
public:
    /// A child that was just created. Without a descriptor when the system has none left.
    static Child started(pid_t number) noexcept;

    static bool isHandle(QXHandle handle) noexcept {
        return handle != 0 && ((handle | handle << 32) >> 63) == 0;
    }
    explicit Child(QXHandle handle) noexcept
        : m_number(static_cast<pid_t>(handle & INT_MAX)),
          m_descriptor(static_cast<int>(handle >> 32)) {}
    QXHandle handle() const noexcept {
        return static_cast<QXHandle>(m_descriptor) << 32 | static_cast<QXHandle>(m_number);
    }
    pid_t number() const noexcept { return m_number; }

    /// Waits for the end and collects the child. @p options: those of waitid. Busy when it still
    /// runs; @p exitCode is set only by success.
    int32_t wait(int options, int32_t& exitCode) const noexcept;
    void close() const noexcept;

private:
    static constexpr int NoDescriptor = INT_MAX;

    Child(pid_t number, int descriptor) noexcept : m_number(number), m_descriptor(descriptor) {}

    pid_t m_number; // 0 for one that was gone before it could be looked at
    int m_descriptor;
};

} // namespace qx::platform
