#pragma once

#include <cstdint>
#include <memory>
#include <sys/types.h>

#include <qx/platform/types.h>

#include <qx/platform/posix/WaitEnd.h>
#include <qx/platform/posix/descriptor.h>

namespace qx::platform {

/// A child process that was not collected yet. Where the system has process descriptors, one keeps
/// the number from being taken for that of another child once somebody else has collected this one.
class Child {
public:
    /// Takes over a child that was just created. It stays without a descriptor when the system has
    /// none, or none left.
    void begin(pid_t number) noexcept;

    /// Waits for the end and collects the child. @p options: those of waitid. Busy when it still
    /// runs; @p exitCode is set only by success.
    int32_t wait(int options, int32_t& exitCode) const noexcept;
    /// Waits for the end, which is still to be collected; false when the time is over first.
    bool awaitEnd(const WaitEnd& end) const noexcept;
    /// Sends a signal, to this child or, when it has ended, to nobody.
    int32_t send(int signal) const noexcept;

    /// What the system called it, and may call another one by now when this one has ended.
    pid_t number() const noexcept { return m_givenNumber; }
    /// Readable from the end of the child on; -1 without one.
    int descriptor() const noexcept { return m_descriptor.get(); }
    void closeDescriptor() noexcept { m_descriptor = Descriptor(); }

    QXHandle handle = 0; // while the child is in the table of those with a handle
    Child* next = nullptr;

private:
    pid_t m_number = 0; // 0 for one that was gone before it could be looked at
    pid_t m_givenNumber = 0;
    Descriptor m_descriptor;
};

/// Enters a child into the table of this process, until one of the calls below takes it
/// out. No handle is given twice, and a forked child has none of its parent's.
QXHandle enterChild(std::unique_ptr<Child> child) noexcept;

/// Collects a child and takes it out, when it has ended or @p options let this wait for that; Busy
/// when it still runs, InvalidHandle when there is none of that handle.
int32_t collectChild(QXHandle handle, int options, int32_t& exitCode) noexcept;

/// Waits for the end of a child and collects it; TimedOut when the time is over first.
int32_t collectChildUntil(QXHandle handle, const WaitEnd& end, int32_t& exitCode) noexcept;

/// Sends a signal to a child that may have ended, and tells its number. Any thread may, also while
/// another waits for the child. InvalidHandle when there is none of that handle.
int32_t signalChild(QXHandle handle, int signal) noexcept;
int32_t numberOfChild(QXHandle handle, uint32_t& number) noexcept;

/// Takes a child out; null when there is none of that handle.
std::unique_ptr<Child> takeChild(QXHandle handle) noexcept;

} // namespace qx::platform
