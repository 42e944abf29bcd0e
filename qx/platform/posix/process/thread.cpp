#include "qx/platform/thread.h"

#include <algorithm>
#include <atomic>
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
#include <qx/platform/posix/sync/futex.h>

using namespace qx;
using namespace qx::platform;

namespace {

static_assert(sizeof(pthread_t) == sizeof(QXHandle));

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

/// What a new thread takes over from its creator. Both let go of it in their own time.
class Start {
public:
    Start(QXThreadEntry entry, void* argument, std::string_view name) noexcept
        : m_entry(entry), m_argument(argument) {
        name.copy(m_name, LongestName);
    }

    /// Runs in the new thread.
    static void* begin(void* argument) {
        auto* const start = static_cast<Start*>(argument);
        const QXThreadEntry entry = start->m_entry;
        void* const entryArgument = start->m_argument;
        if (start->m_name[0] != 0)
            ::pthread_setname_np(::pthread_self(), start->m_name);
        start->m_id.store(QXThreadCurrentId(), std::memory_order_release);
        start->letGo();
        return entry(entryArgument);
    }

    /// Number of the thread. To wait until it says so itself would cost a fifth of a short thread's
    /// life; but the system names the clock of its processor time after it (in the bits above the
    /// lowest three, inverted), until it ends.
    uint32_t awaitId(pthread_t thread) const noexcept {
        clockid_t clock = 0;
        if (::pthread_getcpuclockid(thread, &clock) == 0) {
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
    ~Start() = default;

    QXThreadEntry m_entry;
    void* m_argument;
    char m_name[LongestName + 1] = {}; // empty for none
    std::atomic<uint32_t> m_id{0};
    std::atomic<int> m_owners{2};
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
    auto* const start = new (std::nothrow) Start(entry, argument, cut);
    if (start == nullptr)
        return result::OutOfMemory;

    const Attributes attributes(stackSize);
    pthread_t thread{};
    int error = attributes.error();
    if (error == 0)
        error = ::pthread_create(&thread, attributes.get(), &Start::begin, start);
    if (error != 0) {
        start->letGo(); // for the thread that is not there
        start->letGo();
        return error == EAGAIN ? NoMoreThreads : resultFromErrno(error);
    }
    *id = start->awaitId(thread);
    start->letGo();
    *handle = thread;
    return result::Ok;
}

int32_t QXThreadJoin(QXHandle handle, void** exitValue) {
    if (exitValue == nullptr)
        return result::NullPointer;
    *exitValue = nullptr;
    if (!isThread(handle))
        return result::InvalidHandle;
    if (::pthread_equal(handle, ::pthread_self()))
        return result::Deadlock;
    const int error = ::pthread_join(handle, exitValue);
    return error == 0 ? result::Ok : resultFromErrno(error);
}

int32_t QXThreadDetach(QXHandle handle) {
    if (!isThread(handle))
        return result::InvalidHandle;
    const int error = ::pthread_detach(handle);
    return error == 0 ? result::Ok : resultFromErrno(error);
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
