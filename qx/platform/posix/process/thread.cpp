#include "qx/platform/thread.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <string_view>
#include <unistd.h>

#include <qx/platform/detail/Utf8.h>
#include <qx/platform/native.h>
#include <qx/platform/result.h>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/handle.h>
#include <qx/platform/posix/process/TryJoin.h>
#include <qx/platform/posix/sync/ForkMark.h>
#include <qx/platform/posix/sync/futex.h>

using namespace qx;
using namespace qx::platform;

namespace {

constexpr int32_t NoMoreThreads = static_cast<int32_t>(0x800700A4u);

/// Room for the system's own part of a stack (thread-local data, signal frames) and for some calls.
constexpr size_t SmallestStack = 64 * 1024;

/// Longest name that the kernel keeps.
constexpr size_t LongestName = 15;

bool isThread(QXHandle handle) noexcept { return handle != 0 && handle != NoHandle; }

/// Settings of a thread to come.
class Attributes {
public:
    explicit Attributes(uint32_t stackSize) noexcept {
        m_error = ::pthread_attr_init(&m_attributes);
        if (m_error == 0 && stackSize != 0) {
            const auto needed = static_cast<size_t>(::sysconf(_SC_THREAD_STACK_MIN));
            const auto page = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
            const size_t size = std::max({size_t{stackSize}, needed, SmallestStack});
            // The system takes whole pages and would cut the last one off.
            m_error = ::pthread_attr_setstacksize(&m_attributes, (size + page - 1) / page * page);
        }
    }
    ~Attributes() { ::pthread_attr_destroy(&m_attributes); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    int error() const noexcept { return m_error; }
    const pthread_attr_t* get() const noexcept { return &m_attributes; }

private:
    pthread_attr_t m_attributes;
    int m_error;
};

/// What stands behind the handle of a thread. The thread, which takes over from its creator what it
/// begins with, and the handle let go of it in their own time.
class Started {
public:
    Started(QXThreadEntry entry, void* argument, std::string_view name) noexcept
        : m_entry(entry), m_argument(argument) {
        name.copy(m_name, LongestName);
    }

    static Started& of(QXHandle handle) noexcept {
        return *reinterpret_cast<Started*>(static_cast<uintptr_t>(handle));
    }
    QXHandle handle() const noexcept { return reinterpret_cast<uintptr_t>(this); }

    int create(const pthread_attr_t* attributes) noexcept {
        return ::pthread_create(&m_thread, attributes, &Started::begin, this);
    }

    /// Gives the handle up when @p finish, which gets the system's thread, returns 0. The number of
    /// the thread may be that of another one in a child made by fork, where this one does not run.
    template <class Finish>
    int32_t end(Finish finish) noexcept {
        if (m_mark.isFromParent())
            return result::InvalidHandle;
        if (const int error = finish(m_thread); error != 0)
            return resultFromErrno(error);
        letGo();
        return result::Ok;
    }
    /// True in a child made by fork, where nobody else lets go of it any more.
    bool dropIfFromParent() noexcept {
        if (!m_mark.isFromParent())
            return false;
        delete this;
        return true;
    }

    /// Runs in the new thread.
    static void* begin(void* argument) {
        auto* const self = static_cast<Started*>(argument);
        const QXThreadEntry entry = self->m_entry;
        void* const entryArgument = self->m_argument;
        if (self->m_name[0] != 0)
            ::pthread_setname_np(::pthread_self(), self->m_name);
        self->m_id.store(QXThreadCurrentId(), std::memory_order_release);
        self->letGo();
        return entry(entryArgument);
    }

    /// Number of the thread. To wait until it says so itself would cost a fifth of a short thread's
    /// life; but the system names the clock of its processor time after it (in the bits above the
    /// lowest three, inverted), until it ends.
    uint32_t awaitId() const noexcept {
        clockid_t clock = 0;
        if (::pthread_getcpuclockid(m_thread, &clock) == 0) {
            // 0 for a thread that ended during the call
            if (const uint32_t id = ~static_cast<uint32_t>(clock >> 3); id != 0)
                return id;
        }
        for (;;) {
            if (const uint32_t id = m_id.load(std::memory_order_acquire); id != 0)
                return id;
            ::sched_yield();
        }
    }

    void letGo() noexcept {
        if (m_owners.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }

private:
    ~Started() = default;

    pthread_t m_thread{};
    QXThreadEntry m_entry;
    void* m_argument;
    char m_name[LongestName + 1] = {}; // empty for none
    std::atomic<uint32_t> m_id{0};
    std::atomic<int> m_owners{2};
    ForkMark m_mark;
};

} // namespace

int32_t QXThreadCreate(QXThreadEntry entry, void* argument, uint32_t flags, uint32_t stackSize,
                       QXHandle* handle, uint32_t* id) {
    return QXThreadCreateNamed(nullptr, entry, argument, flags, stackSize, handle, id);
}

int32_t QXThreadCreateNamed(const char* name, QXThreadEntry entry, void* argument, uint32_t flags,
                            uint32_t stackSize, QXHandle* handle, uint32_t* id) {
    if (handle == nullptr || id == nullptr)
        return result::NullPointer;
    *handle = NoHandle;
    *id = 0;
    if (entry == nullptr)
        return result::NullPointer;
    if (flags != 0)
        return result::InvalidArgument;
    const auto cut = cutUtf8(name != nullptr ? name : "", LongestName);
    auto* const started = new (std::nothrow) Started(entry, argument, cut);
    if (started == nullptr)
        return result::OutOfMemory;

    const Attributes attributes(stackSize);
    int error = attributes.error();
    if (error == 0)
        error = started->create(attributes.get());
    if (error != 0) {
        started->letGo(); // for the thread that is not there
        started->letGo();
        return error == EAGAIN ? NoMoreThreads : resultFromErrno(error);
    }
    *id = started->awaitId();
    *handle = started->handle();
    return result::Ok;
}

int32_t QXThreadJoin(QXHandle handle, void** exitValue) {
    if (exitValue == nullptr)
        return result::NullPointer;
    *exitValue = nullptr;
    if (!isThread(handle))
        return result::InvalidHandle;
    return Started::of(handle).end([&](pthread_t thread) {
        return ::pthread_equal(thread, ::pthread_self()) ? EDEADLK
                                                         : ::pthread_join(thread, exitValue);
    });
}

bool qx::platform::tryJoin(QXHandle handle) noexcept {
    const auto join = [](pthread_t thread) { return ::pthread_tryjoin_np(thread, nullptr); };
    return Started::of(handle).end(join) == result::Ok;
}

int32_t QXThreadDetach(QXHandle handle) {
    if (!isThread(handle))
        return result::InvalidHandle;
    Started& started = Started::of(handle);
    return started.dropIfFromParent() ? result::InvalidHandle : started.end(&::pthread_detach);
}

void QXThreadSleep(uint32_t milliseconds) {
    if (milliseconds == 0) {
        ::sched_yield();
        return;
    }
    const timespec end = Deadline::after(milliseconds).time();
    while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}
