#include "qx/platform/posix/process/Reaper.h"

#include <algorithm>
#include <csignal>
#include <mutex>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <utility>

#include <qx/platform/result.h>
#include <qx/platform/thread.h>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/NodeList.h>
#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/handle.h>

namespace qx::platform {

namespace {

/// Children whose descriptors are kept to learn of their end; a program that drops more should not
/// run out of descriptors by that.
constexpr int MostWatched = 64;

/// How long the thread pauses between two looks at children that are not watched: at first, and
/// after it has doubled again and again.
constexpr int ShortestPauseMs = 1;
constexpr int LongestPauseMs = 128;
constexpr int Unlimited = -1; // of a wait

/// The children to collect, and the thread that does it.
///
/// A child is waited for by its process descriptor or its number, never by "any child": the host
/// program may have children of its own. Nor is SIGCHLD caught, which belongs to the program too.
///
/// A watched child moves to the unwatched ones when its descriptor says that it has ended, and is
/// collected there: so one place collects, under the lock, and epoll holds no pointer to a child
/// that is gone.
class Reaper {
public:
    constexpr Reaper() = default;
    ~Reaper();

    int32_t add(std::unique_ptr<Child> child) noexcept;

    void lock() noexcept { m_lock.lock(); }
    void unlock() noexcept { m_lock.unlock(); }
    /// For a forked child, which has neither the children of its parent nor the thread.
    void forget() noexcept;

private:
    int32_t start() noexcept;
    void openEvents() noexcept;
    void closeEvents() noexcept;
    bool watch(Child& child) noexcept;
    void unwatch(Child& child) noexcept;
    void wake() const noexcept;
    void work() noexcept;
    Child* awaitEvent(int pauseMs) const noexcept;
    bool collectEnded() noexcept;
    void joinThread() noexcept;

    std::mutex m_lock;
    NodeList<Child> m_unwatched; // looked at from time to time
    NodeList<Child> m_watched;   // those whose descriptors are in m_events
    int m_watchedCount = 0;
    int m_pauseMs = ShortestPauseMs;
    bool m_isWorking = false; // a thread is there and will look at the lists again
    bool m_isStopping = false;
    QXHandle m_thread = NoHandle; // to be joined: in a detached one the library's code might still
                                  // run when that is unloaded
    /// Where the ends of watched children are waited for, and what ends that wait. Either both or
    /// none, when the system has no more descriptors. The thread reads them without the lock: they
    /// change only while there is none.
    Descriptor m_events;
    Descriptor m_wake;
};

constinit Reaper s_reaper;

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

int32_t Reaper::add(std::unique_ptr<Child> child) noexcept {
    const std::lock_guard guard(m_lock);
    if (m_isStopping) // the process ends, and leaves its children to the system
        return result::Ok;
    if (!m_isWorking) {
        joinThread(); // the one that had nothing left to do
        openEvents();
        collectEnded(); // those for which no thread could be started
    }
    Child& added = *child;
    const bool isWatched = m_watchedCount < MostWatched && watch(added);
    if (!isWatched)
        added.closeDescriptor();
    (isWatched ? m_watched : m_unwatched).add(child.release());
    if (!m_isWorking) {
        const int32_t result = start();
        if (result < 0 && isWatched)
            unwatch(added); // for the next call to look at
        return result;
    }
    if (!isWatched) {
        m_pauseMs = ShortestPauseMs;
        wake();
    }
    return result::Ok;
}

/// For holders of the lock, as all up to work.
int32_t Reaper::start() noexcept {
    const SignalsBlocked blocked;
    constexpr uint32_t SmallestStack = 1;
    const QXThreadEntry entry = [](void*) -> void* {
        s_reaper.work();
        return nullptr;
    };
    uint32_t id = 0;
    m_pauseMs = ShortestPauseMs;
    const int32_t result =
        QXThreadCreateNamed("qx-reaper", entry, nullptr, 0, SmallestStack, &m_thread, &id);
    m_isWorking = result >= 0;
    return result;
}

void Reaper::openEvents() noexcept {
    if (m_events)
        return;
    m_events = aboveStandard(Descriptor(::epoll_create1(EPOLL_CLOEXEC)));
    m_wake = aboveStandard(Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)));
    epoll_event event{.events = EPOLLIN, .data = {.ptr = nullptr}};
    if (!m_events || !m_wake ||
        ::epoll_ctl(m_events.get(), EPOLL_CTL_ADD, m_wake.get(), &event) != 0)
        closeEvents();
}

void Reaper::closeEvents() noexcept {
    m_events = Descriptor();
    m_wake = Descriptor();
}

bool Reaper::watch(Child& child) noexcept {
    epoll_event event{.events = EPOLLIN, .data = {.ptr = &child}};
    if (::epoll_ctl(m_events.get(), EPOLL_CTL_ADD, child.descriptor(), &event) != 0)
        return false;
    ++m_watchedCount;
    return true;
}

/// Has a child of which an event told looked at like those that are not watched.
void Reaper::unwatch(Child& child) noexcept {
    ::epoll_ctl(m_events.get(), EPOLL_CTL_DEL, child.descriptor(), nullptr);
    m_unwatched.add(
        m_watched.take(m_watched.find([&](const Child& each) { return &each == &child; })));
    --m_watchedCount;
    m_pauseMs = ShortestPauseMs;
}

void Reaper::wake() const noexcept { ::eventfd_write(m_wake.get(), 1); }

void Reaper::work() noexcept {
    std::unique_lock lock(m_lock);
    while (!m_isStopping && collectEnded()) {
        const int pauseMs = m_unwatched.isEmpty() && m_events ? Unlimited : m_pauseMs;
        m_pauseMs = std::min(2 * m_pauseMs, LongestPauseMs);
        lock.unlock();
        Child* const ended = awaitEvent(pauseMs);
        lock.lock();
        if (ended != nullptr)
            unwatch(*ended);
    }
    closeEvents();
    m_isWorking = false;
}

/// The next watched child that has ended; null when there is none yet.
Child* Reaper::awaitEvent(int pauseMs) const noexcept {
    if (!m_events) {
        QXThreadSleep(static_cast<uint32_t>(pauseMs));
        return nullptr;
    }
    epoll_event event{};
    if (::epoll_wait(m_events.get(), &event, 1, pauseMs) != 1)
        return nullptr;
    eventfd_t count = 0;
    if (event.data.ptr == nullptr)
        ::eventfd_read(m_wake.get(), &count);
    return static_cast<Child*>(event.data.ptr);
}

/// For holders of the lock: false when no child is left.
bool Reaper::collectEnded() noexcept {
    m_unwatched.removeAll([](const Child& child) {
        int32_t exitCode = 0;
        return child.wait(WNOHANG, exitCode) != result::Busy;
    });
    return !m_unwatched.isEmpty() || !m_watched.isEmpty();
}

void Reaper::joinThread() noexcept {
    void* value = nullptr;
    if (m_thread != NoHandle)
        QXThreadJoin(std::exchange(m_thread, NoHandle), &value);
}

void Reaper::forget() noexcept {
    m_unwatched.clear();
    m_watched.clear();
    m_watchedCount = 0;
    m_isWorking = false;
    QXThreadDetach(std::exchange(m_thread, NoHandle));
    closeEvents();
}

Reaper::~Reaper() {
    {
        const std::lock_guard guard(m_lock);
        m_isStopping = true;
        wake();
    }
    joinThread();
}

void forgetReaper() noexcept { s_reaper.forget(); }

} // namespace

constexpr ForkSteps ReaperForkSteps = HeldInFork<s_reaper, forgetReaper>;

int32_t reapInBackground(std::unique_ptr<Child> child) noexcept {
    return s_reaper.add(std::move(child));
}

} // namespace qx::platform
