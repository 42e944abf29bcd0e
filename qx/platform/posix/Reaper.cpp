#include "qx/platform/posix/Reaper.h"

#include <cerrno>
#include <csignal>
#include <mutex>
#include <new>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include <qx/platform/result.h>
#include <qx/platform/thread.h>

#include "qx/platform/posix/Forks.h"
#include "qx/platform/posix/NodeList.h"
#include "qx/platform/posix/error.h"
#include "qx/platform/posix/handle.h"

namespace qx::platform {

namespace {

/// A thread that waits for one child.
struct Reaper {
    pid_t child;
    QXHandle thread = NoHandle;
    Reaper* next = nullptr;
};

/// The reapers at work, and the one that ended last: a thread must be joined by another one, since
/// a detached one may still be in the library's code when that is unloaded.
class Reapers {
public:
    constexpr Reapers() = default;
    ~Reapers();

    int32_t add(pid_t child) noexcept;
    void lock() noexcept { m_lock.lock(); }
    void unlock() noexcept { m_lock.unlock(); }
    /// For a forked child, which has the lists of its parent, but not the threads.
    void forget() noexcept;

private:
    static void* work(void* argument);
    static void join(Reaper* reaper) noexcept;
    [[gnu::noinline]] void finish(Reaper* reaper) noexcept; // keeps its variables out of work

    std::mutex m_lock;
    NodeList<Reaper> m_working;
    Reaper* m_ended = nullptr;
};

constinit Reapers s_reapers;

/// Lets no signal of the host program arrive in threads that are started meanwhile.
class SignalsBlocked {
public:
    SignalsBlocked() noexcept {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &m_previous);
    }
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t m_previous;
};

void Reapers::forget() noexcept {
    while (Reaper** const first = m_working.find([](const Reaper&) { return true; }))
        m_working.remove(first);
    delete std::exchange(m_ended, nullptr);
}

int32_t Reapers::add(pid_t child) noexcept {
    auto* const reaper = new (std::nothrow) Reaper{child};
    if (reaper == nullptr)
        return result::OutOfMemory;
    const SignalsBlocked blocked;
    const std::lock_guard guard(m_lock); // until the thread stands in its node and in the list
    constexpr uint32_t SmallestStack = 1;
    uint32_t id = 0;
    const int32_t result =
        QXThreadCreateNamed("qx-reaper", &work, reaper, 0, SmallestStack, &reaper->thread, &id);
    if (result < 0)
        delete reaper;
    else
        m_working.add(reaper);
    return result;
}

void* Reapers::work(void* argument) {
    auto* const reaper = static_cast<Reaper*>(argument);
    // The only place where the destructor's cancellation gets through. Nothing here has its address
    // taken: the address sanitizer would leave the guards of such a variable on a cancelled stack.
    while (::waitid(P_PID, static_cast<id_t>(reaper->child), nullptr, WEXITED) != 0 &&
           errno == EINTR) {
    }
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    s_reapers.finish(reaper);
    return nullptr;
}

void Reapers::join(Reaper* reaper) noexcept {
    void* value = nullptr;
    QXThreadJoin(reaper->thread, &value);
    delete reaper;
}

void Reapers::finish(Reaper* reaper) noexcept {
    Reaper* previous = nullptr;
    {
        const std::lock_guard guard(m_lock);
        Reaper** const found = m_working.find([&](const Reaper& each) { return &each == reaper; });
        if (found == nullptr) // the destructor joins it
            return;
        previous = std::exchange(m_ended, m_working.take(found));
    }
    if (previous != nullptr)
        join(previous);
}

Reapers::~Reapers() {
    std::unique_lock guard(m_lock);
    while (Reaper** const first = m_working.find([](const Reaper&) { return true; })) {
        Reaper* const reaper = m_working.take(first);
        guard.unlock();
        ::pthread_cancel(reaper->thread);
        join(reaper);
        guard.lock();
    }
    if (Reaper* const last = std::exchange(m_ended, nullptr); last != nullptr) {
        guard.unlock();
        join(last);
    }
}

} // namespace

constexpr ForkSteps ReaperForkSteps{[](void*) noexcept { s_reapers.lock(); },
                                    [](void*) noexcept { s_reapers.unlock(); },
                                    [](void*) noexcept {
                                        s_reapers.forget();
                                        s_reapers.unlock();
                                    }};

int32_t reapInBackground(pid_t child) noexcept { return s_reapers.add(child); }

} // namespace qx::platform
