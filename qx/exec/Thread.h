#pragma once

#include <concepts>
#include <cstdint>
#include <exception>
#include <type_traits>
#include <utility>

#include <qx/core/AnyText.h>
#include <qx/core/Object.h>
#include <qx/core/PlatformHandle.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/exec/CallableRunnable.h>
#include <qx/exec/IRunnable.h>
#include <qx/platform/export.h>
#include <qx/platform/thread.h>
#include <qx/sync/Duration.h>

namespace qx::exec {

namespace detail {
struct ThreadHandle;
}

/// What a thread can run beside an IRunnable: something that is called without arguments and
/// returns nothing or a pointer.
template <class T>
concept ThreadBody = !std::convertible_to<T, IRunnable*> && std::invocable<std::decay_t<T>&>;

/// Runs an IRunnable or a callable on a new thread and hands back what it returned.
///
///     qx::exec::Thread thread([&] { sum = add(numbers); }, u"adder");
///     thread.start();
///     thread.joinOrThrow();
///
/// The object belongs to one owner and is not guarded. It may be destroyed while its thread runs:
/// the thread goes on by itself and holds its own reference to the runnable.
///
/// An exception that leaves the runnable ends the thread, not the process. It is kept for
/// joinOrThrow. One that nobody asks for, because the thread is joined by join, or its object is
/// destroyed without a join, goes to the hook of setExceptionHook, or is dropped when there is
/// none.
class QX_API Thread : public Object {
public:
    /// Not started. @p runnable is kept until destruction; without one (null) there is nothing to
    /// start.
    explicit Thread(IRunnable* runnable);
    /// @param name  free text, also shown by debuggers and process listings, as far as it fits into
    ///     15 bytes of UTF-8
    Thread(IRunnable* runnable, const String& name);
    Thread(IRunnable* runnable, const OtherText auto& name) : Thread(runnable, stringOf(name)) {}
    /// The same for a callable, which is kept and called at every start.
    template <class Body>
    requires ThreadBody<Body>
    explicit Thread(Body&& body) : Thread(makeRunnable(std::forward<Body>(body))) {}
    template <class Body>
    requires ThreadBody<Body> Thread(Body&& body, const String& name)
        : Thread(makeRunnable(std::forward<Body>(body)), name) {}
    template <class Body>
    requires ThreadBody<Body> Thread(Body&& body, const OtherText auto& name)
        : Thread(std::forward<Body>(body), stringOf(name)) {}
    /// Not started, whatever the other is; runnable, name and stack size are the other's.
    Thread(const Thread& other);
    ~Thread() override;

    /// @throws CloneNotSupportedException for a class derived from Thread
    [[nodiscard]] Thread* clone() const override;

    /// Stack of the thread in bytes, raised to what the system needs; 0, as at first, for the
    /// system's default.
    /// @throws IllegalStateException "thread already started"
    void setStackSize(unsigned int size);

    /// Starts the thread.
    /// @throws IllegalStateException "thread already started"
    /// @throws ResultException "thread creation failed", also for a null runnable
    void start();

    /// Waits for the end of the thread and returns the runnable's result, null when it ended with
    /// an exception. The object may then be started again.
    /// @throws IllegalStateException "thread not started"
    /// @throws ResultException "thread join failed", in a child made by fork also for a thread of
    ///     its parent; the object stays started
    void* join();
    /// The same, but throws the exception with which the runnable ended. The object may be started
    /// again then too.
    void* joinOrThrow();

    /// What sees the exceptions of threads that nobody asks for: the exception, and the name of the
    /// thread, which may be empty.
    using ExceptionHook = void (*)(const std::exception_ptr& exception,
                                   const String& name) noexcept;
    /// Sets the hook of this process, null for none, and returns the one before. It is called on
    /// the thread that ends, or on the one that joins it or destroys its object, maybe on several
    /// at once and at the end of the process. Any thread may set it.
    ///
    ///     Thread::setExceptionHook([](const std::exception_ptr&, const String& name) noexcept {
    ///         std::cerr << "thread " << name << " failed\n";
    ///     });
    static ExceptionHook setExceptionHook(ExceptionHook hook) noexcept;

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
    template <sync::Duration D>
    static void sleep(const D& duration) {
        sleepFor(duration);
    }
    template <sync::TimePoint T>
    static void sleepUntil(const T& end) {
        sync::waitUntilTime(end, sleepStep);
    }

private:
    friend struct detail::ThreadHandle;
    struct Run;

    static bool sleepStep(uint32_t milliseconds) {
        if (milliseconds != 0)
            sleep(milliseconds);
        return false;
    }
    static void* threadWrapper(void* argument);
    void* awaitEnd();
    void checkNotStarted() const;
    void checkStarted() const;

    Reference<IRunnable> m_runnable;
    String m_name;
    uint32_t m_stackSize = 0;
    PlatformHandle<&QXThreadDetach> m_handle;
    uint32_t m_id = 0;
    Reference<Run> m_run; // while started
};

} // namespace qx::exec

using CQXThread = qx::exec::Thread;
