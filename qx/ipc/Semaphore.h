#pragma once

#include <cstdint>
#include <string>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/export.h>
#include <qx/platform/shared.h>
#include <qx/sync/Duration.h>
#include <qx/sync/Object.h>

namespace qx::ipc {

/// A counting semaphore shared by name with the other processes of the user.
///
/// A semaphore that was created with 1 or more guards resources: the units of a process that ends
/// or is killed are given back within a second. One that was created with 0 is a signal, and no
/// units are given back. A semaphore disappears when its last user destroys it or dies. The process
/// that took a unit must give it back, from any thread and through any object of the same name.
///
/// All members may be called from any thread. A failing platform call throws ResultException with
/// the call's result code and leaves the semaphore usable, unless the member says otherwise.
class QX_API Semaphore : public sync::Object {
public:
    /// @param name   any text, not empty
    /// @param value  the initial units, at most 0x7FFFFFFF; an existing semaphore keeps its units
    /// @throws ResultException; with result::NotAvailable and a description of what is missing on a
    ///     machine without a memory file system or without locks that belong to open files
    Semaphore(const char* name, uint32_t value);
    /// A name with a 0 byte in it is refused as an empty one is.
    Semaphore(const std::string& name, uint32_t value)
        : Semaphore(name.find('\0') == std::string::npos ? name.c_str() : "", value) {}

    /// Blocks until there is a unit, and takes it.
    void wait() override;
    [[nodiscard]] bool tryWait() override;

    /// Waits for a unit for at most any std::chrono::duration, rounded up to milliseconds, or until
    /// a time point of any clock; false when there was none in time. When the time is already over,
    /// they take a unit that is there.
    template <sync::Duration D>
    [[nodiscard]] bool waitFor(const D& duration) {
        return sync::waitInSteps(duration,
                                 [this](uint32_t milliseconds) { return tryWait(milliseconds); });
    }
    template <sync::TimePoint T>
    [[nodiscard]] bool waitUntil(const T& end) {
        return sync::waitUntilTime(end,
                                   [this](uint32_t milliseconds) { return tryWait(milliseconds); });
    }

    /// Gives back a unit, or adds one.
    virtual void signal();

    /// The units that could be taken at a moment within the call: those of processes that are dead
    /// by then count as given back. Others may take and give at any time.
    virtual int32_t getValue();

    /// True when the unit that the calling thread took last is one that came back from a process
    /// which died or ended with it, and the thread has not signalled since: what the semaphore
    /// guards may be half changed. Each unit that came back is taken before others and told once,
    /// and once more when whoever was told dies with it. Never true for a signal.
    bool acquiredFromDead() const;

    /// Serve std::lock_guard, std::unique_lock and std::scoped_lock, and with a limit
    /// std::unique_lock: one unit of a semaphore that was created with 1 is a lock between
    /// processes.
    void lock() { wait(); }
    [[nodiscard]] bool try_lock() { return tryWait(); }
    template <sync::Duration D>
    [[nodiscard]] bool try_lock_for(const D& duration) {
        return waitFor(duration);
    }
    template <sync::TimePoint T>
    [[nodiscard]] bool try_lock_until(const T& end) {
        return waitUntil(end);
    }
    void unlock() { signal(); }

private:
    bool tryWait(uint32_t milliseconds);

    PlatformHandle<&QXNamedSemClose> m_handle;
};

} // namespace qx::ipc
