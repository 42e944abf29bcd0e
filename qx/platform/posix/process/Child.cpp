#include "qx/platform/posix/process/Child.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <mutex>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include <qx/platform/process.h>
#include <qx/platform/result.h>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/NodeList.h>
#include <qx/platform/posix/error.h>

namespace qx::platform {

namespace {

/// The first form of the kernel's answer about a process descriptor, since Linux 6.13.
struct DescriptorInfo {
    uint64_t mask;
    uint64_t controlGroup;
    uint32_t numbers[11]; // of the process, its parent and their users
    int32_t status;       // of waitpid
};

constexpr uint64_t ExitInfo = 1u << 3; // since Linux 6.15
constexpr auto GetDescriptorInfo = _IOWR(0xFF, 11, DescriptorInfo);

constexpr auto OfDescriptor = static_cast<idtype_t>(3); // P_PIDFD, which glibc has since 2.36

constinit std::mutex s_lock;
constinit NodeList<Child> s_children; // with a handle; guarded by s_lock
constinit QXHandle s_lastHandle = 0;  // likewise

/// For holders of s_lock.
Child** findChild(QXHandle handle) noexcept {
    return s_children.find([&](const Child& child) { return child.handle == handle; });
}

/// The child of a handle, for the one thread at a time that waits with it: nobody else takes it out
/// meanwhile. Null when there is none.
const Child* lookUpChild(QXHandle handle) noexcept {
    const std::lock_guard guard(s_lock);
    Child** const found = findChild(handle);
    return found != nullptr ? *found : nullptr;
}

int32_t exitCodeOf(int status) noexcept {
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

/// Exit code of a child that was collected, but not by us.
int32_t exitCodeOfCollected(int descriptor) noexcept {
    using namespace std::chrono_literals;
    // Whoever collects a child is a moment ahead of the kernel's note of the status, and a kernel
    // that looks for the note just before it is written may look for the process just after.
    bool wasGone = false;
    for (const WaitEnd end(1s); !end.hasPassed(); WaitEnd(end.atMost(100us)).poll(nullptr, 0)) {
        DescriptorInfo info{};
        info.mask = ExitInfo;
        const bool isThere = ::ioctl(descriptor, GetDescriptorInfo, &info) == 0;
        if (isThere && (info.mask & ExitInfo) != 0)
            return exitCodeOf(info.status);
        if (!isThere && (errno != ESRCH || std::exchange(wasGone, true)))
            break;
    }
    return QX_PROCESS_EXIT_UNKNOWN;
}

void forgetChildren() noexcept { s_children.clear(); } // in a child: they are the parent's

} // namespace

void Child::begin(pid_t number) noexcept {
    Descriptor descriptor(static_cast<int>(::syscall(SYS_pidfd_open, number, 0)));
    const bool isGone = !descriptor && errno == ESRCH;
    m_number = isGone ? 0 : number;
    m_givenNumber = number;
    m_descriptor = aboveStandard(std::move(descriptor));
}

int32_t Child::wait(int options, int32_t& exitCode) const noexcept {
    siginfo_t info{};
    const auto waitFor = [&] {
        return m_descriptor
                   ? ::waitid(OfDescriptor, static_cast<id_t>(descriptor()), &info,
                              WEXITED | options)
                   : ::waitid(P_PID, static_cast<id_t>(m_number), &info, WEXITED | options);
    };
    if (m_number == 0) {
        exitCode = QX_PROCESS_EXIT_UNKNOWN;
    } else if (retryInterrupted(waitFor) == 0) {
        if (info.si_pid == 0)
            return result::Busy;
        exitCode = info.si_code == CLD_EXITED ? info.si_status : -info.si_status;
    } else if (errno == ECHILD) {
        exitCode = exitCodeOfCollected(descriptor());
    } else {
        return lastResult();
    }
    return result::Ok;
}

bool Child::awaitEnd(const WaitEnd& end) const noexcept {
    using namespace std::chrono_literals;
    constexpr std::chrono::nanoseconds LongestPause = 16ms;
    // Without a descriptor only looking tells, and so it does of a child that a debugger holds,
    // whose descriptor says early that it has ended.
    bool isLooking = !m_descriptor;
    int32_t exitCode = 0;
    for (std::chrono::nanoseconds pause = 1ms;;) {
        if (wait(WNOHANG | WNOWAIT, exitCode) != result::Busy)
            return true; // a failure is for the collecting to tell
        if (end.hasPassed())
            return false;
        if (isLooking) {
            WaitEnd(end.atMost(pause)).poll(nullptr, 0);
            pause = std::min(2 * pause, LongestPause);
        } else {
            pollfd entry{descriptor(), POLLIN, 0};
            isLooking = end.poll(&entry, 1) != 0;
        }
    }
}

int32_t Child::send(int signal) const noexcept {
    if (m_number == 0)
        return result::Ok;
    if (!m_descriptor) {
        // The number is that of the child until somebody collects it. Here that happens under the
        // lock which the caller holds; a program that does it itself has to know what it does.
        int32_t exitCode = 0;
        if (wait(WNOHANG | WNOWAIT, exitCode) != result::Busy || ::kill(m_number, signal) == 0)
            return result::Ok;
    } else if (::syscall(SYS_pidfd_send_signal, descriptor(), signal, nullptr, 0) == 0) {
        return result::Ok;
    }
    return errno == ESRCH ? result::Ok : lastResult();
}

QXHandle enterChild(std::unique_ptr<Child> child) noexcept {
    const std::lock_guard guard(s_lock);
    child->handle = ++s_lastHandle;
    s_children.add(child.get());
    return child.release()->handle;
}

int32_t collectChild(QXHandle handle, int options, int32_t& exitCode) noexcept {
    const Child* const child = lookUpChild(handle);
    if (child == nullptr)
        return result::InvalidHandle;
    // Who sends a signal to a number must not find it given to another process.
    const bool isKnownByNumber = child->descriptor() < 0;
    int32_t result = child->wait(isKnownByNumber ? options | WNOWAIT : options, exitCode);
    std::unique_ptr<Child> collected;
    if (result >= 0) {
        const std::lock_guard guard(s_lock);
        if (isKnownByNumber)
            result = child->wait(WNOHANG, exitCode);
        if (Child** const found = findChild(handle); result >= 0 && found != nullptr)
            collected.reset(s_children.take(found));
    }
    return result;
}

int32_t collectChildUntil(QXHandle handle, const WaitEnd& end, int32_t& exitCode) noexcept {
    const Child* const child = lookUpChild(handle);
    if (child == nullptr)
        return result::InvalidHandle;
    return child->awaitEnd(end) ? collectChild(handle, WNOHANG, exitCode) : result::TimedOut;
}

int32_t signalChild(QXHandle handle, int signal) noexcept {
    const std::lock_guard guard(s_lock);
    Child** const found = findChild(handle);
    return found != nullptr ? (*found)->send(signal) : result::InvalidHandle;
}

int32_t numberOfChild(QXHandle handle, uint32_t& number) noexcept {
    const std::lock_guard guard(s_lock);
    Child** const found = findChild(handle);
    if (found == nullptr)
        return result::InvalidHandle;
    number = static_cast<uint32_t>((*found)->number());
    return result::Ok;
}

std::unique_ptr<Child> takeChild(QXHandle handle) noexcept {
    const std::lock_guard guard(s_lock);
    Child** const found = findChild(handle);
    return std::unique_ptr<Child>(found != nullptr ? s_children.take(found) : nullptr);
}

constexpr ForkSteps ChildForkSteps = HeldInFork<s_lock, forgetChildren>;

} // namespace qx::platform
