#pragma once

#include <cstdint>

#include <qx/core/Object.h>
#include <qx/core/PlatformHandle.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/exec/IRunnable.h>
#include <qx/platform/export.h>
#include <qx/platform/thread.h>
#include <qx/sync/Duration.h>

namespace qx::exec {

/// Runs an IRunnable on a new thread and hands back what it returned.
///
/// The object belongs to one owner and is not guarded. It may be destroyed while its thread runs:
/// the thread goes on by itself and holds its own reference to the runnable.
class QX_API Thread : public Object {
public:
    /// Not started. @p runnable is kept until destruction; without one (null) there is nothing to
    /// start.
    explicit Thread(IRunnable* runnable);
    /// @param name  free text, also shown by debuggers and process listings, as far as it fits into
    ///     15 bytes of UTF-8
    Thread(IRunnable* runnable, const String& name);
    /// Not started, whatever the other is; runnable, name and stack size are the other's.
    Thread(const Thread& other);

    /// @throws CloneNotSupportedException for a class derived from Thread
    [[nodiscard]] Thread* clone() const override;

    /// Stack of the thread in bytes, raised to what the system needs; 0, as at first, for the
    /// system's default.
    /// @throws IllegalStateException "thread already started"
    void setStackSize(unsigned int size);

    /// Starts the thread. An exception that escapes from the runnable ends there, and the result is
    /// null.
    /// @throws IllegalStateException "thread already started"
    /// @throws ResultException "thread creation failed", also for a null runnable
    void start();

    /// Waits for the end of the thread and returns the runnable's result. The object may then be
    /// started again.
    /// @throws IllegalStateException "thread not started"
    /// @throws ResultException "thread join failed"; the object stays started
    void* join();

    /// The number that getCurrentID gives in the thread.
    /// @throws IllegalStateException "thread not started"
    unsigned int getID() const;
    String getName() const { return m_name; }

    /// The system's number of the calling thread; never 0.
    static unsigned int getCurrentID();
    /// Suspends the calling thread for at least that time; 0 lets other threads go first.
    static void sleep(unsigned int milliseconds);
    /// The same for any std::chrono::duration, rounded up to milliseconds, and until a time point
    /// of any clock; at once when it is not ahead.
    template <sync::Duration D>
    static void sleepFor(const D& duration) {
        sync::waitInSteps(duration, sleepStep);
    }
    template <sync::TimePoint T>
    static void sleepUntil(const T& end) {
        sync::waitUntilTime(end, sleepStep);
    }

private:
    static bool sleepStep(uint32_t milliseconds) {
        if (milliseconds != 0)
            sleep(milliseconds);
        return false;
    }
    static void* threadWrapper(void* argument);
    void checkNotStarted() const;
    void checkStarted() const;

    Reference<IRunnable> m_runnable;
    String m_name;
    uint32_t m_stackSize = 0;
    PlatformHandle<&QXThreadDetach> m_handle;
    uint32_t m_id = 0;
};

} // namespace qx::exec

using CQXThread = qx::exec::Thread;
