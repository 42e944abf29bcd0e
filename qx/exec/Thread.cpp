#include "qx/exec/Thread.h"

#include <atomic>
#include <typeinfo>
#include <utility>

#include <qx/core/ComObject.h>
#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/ThreadEnd.h>
#include <qx/core/detail/ExactClone.h>
#include <qx/platform/detail/LeavingThreads.h>
#include <qx/platform/native.h>

namespace qx::exec {

namespace {

/// Set by any thread, and asked as late as static objects are destroyed.
constinit std::atomic<Thread::ExceptionHook> s_exceptionHook{nullptr};

void tellHook(const std::exception_ptr& exception, const String& name) noexcept {
    if (const auto hook = s_exceptionHook.load(std::memory_order_acquire))
        hook(exception, name);
}

} // namespace

/// One run of a thread, which the thread and the object that has started it share.
struct Thread::Run : public ComObject {
    Run(Reference<IRunnable> toRun, const String& itsName)
        : runnable(std::move(toRun)), name(itsName) {}

    /// Of the thread and the object, each says when it is done with the exception; the second one
    /// hands it to the hook, unless somebody has taken it.
    void leave() noexcept {
        if (hasOneLeft.exchange(true, std::memory_order_acq_rel) && exception)
            tellHook(std::exchange(exception, nullptr), name);
    }

    Reference<IRunnable> runnable;
    const String name;
    std::exception_ptr exception; // of the thread until that has left
    std::atomic<bool> hasOneLeft{false};
};

Thread::Thread(IRunnable* runnable) : m_runnable(runnable) {}

// The name is copied: a string may stand for units that somebody else keeps.
Thread::Thread(IRunnable* runnable, const String& name)
    : m_runnable(runnable), m_name(name, String::AM_COPY) {}

Thread::Thread(const Thread& other)
    : Object(), m_runnable(other.m_runnable), m_name(other.m_name), m_stackSize(other.m_stackSize) {
}

Thread::~Thread() {
    m_handle.reset();
    if (m_run)
        m_run->leave();
}

Thread* Thread::clone() const { return qx::detail::exactClone(*this); }

void Thread::setStackSize(unsigned int size) {
    checkNotStarted();
    m_stackSize = size;
}

void Thread::start() {
    checkNotStarted();
    const char16_t* const failure = u"thread creation failed";
    if (!m_runnable)
        throwResult(result::NullPointer, failure);
    auto run = makeReference<Run>(m_runnable, m_name);
    Reference<Run> forThread = run;
    const std::string name = m_name.toUtf8();
    platform::threadBegins();
    const int32_t code =
        QXThreadCreateNamed(name.empty() ? nullptr : name.c_str(), &threadWrapper, forThread.get(),
                            0, m_stackSize, m_handle.put(), &m_id);
    if (code < 0)
        platform::threadEnds();
    throwIfFailed(code, failure);
    (void)forThread.detach(); // the thread's now
    m_run = std::move(run);
}

void* Thread::join() {
    void* const value = awaitEnd();
    std::exchange(m_run, nullptr)->leave();
    return value;
}

void* Thread::joinOrThrow() {
    void* const value = awaitEnd();
    if (const auto exception = std::exchange(m_run, nullptr)->exception)
        std::rethrow_exception(exception);
    return value;
}

/// Joins the thread, whose run is then that of the caller.
void* Thread::awaitEnd() {
    checkStarted();
    void* value = nullptr;
    throwIfFailed(QXThreadJoin(m_handle.get(), &value), u"thread join failed");
    m_handle.detach();
    m_id = 0;
    return value;
}

Thread::ExceptionHook Thread::setExceptionHook(ExceptionHook hook) noexcept {
    return s_exceptionHook.exchange(hook, std::memory_order_acq_rel);
}

unsigned int Thread::getID() const {
    checkStarted();
    return m_id;
}

unsigned int Thread::getCurrentID() { return QXThreadCurrentId(); }

void Thread::sleep(unsigned int milliseconds) { QXThreadSleep(milliseconds); }

void* Thread::threadWrapper(void* argument) {
    const auto run = Reference<Run>::attach(static_cast<Run*>(argument));
    const struct Leaving {
        Run& run;
        ~Leaving() {
            run.runnable.reset(); // when the thread has ended, it is the object's alone
            run.leave();
            platform::threadEnds();
        }
    } leaving{*run};
    try {
        return run->runnable->run();
    } catch (...) {
        if (isThreadEnding())
            throw;
        run->exception = std::current_exception();
        return nullptr;
    }
}

void Thread::checkNotStarted() const {
    if (m_handle)
        throw IllegalStateException(u"thread already started");
}

void Thread::checkStarted() const {
    if (!m_handle)
        throw IllegalStateException(u"thread not started");
}

} // namespace qx::exec
