#include "qx/platform/posix/process/Child.h"

#include <cerrno>
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

constinit std::mutex s_lock;
constinit NodeList<Child> s_children; // with a handle; guarded by s_lock
constinit QXHandle s_lastHandle = 0;  // likewise

/// For holders of s_lock.
Child** findChild(QXHandle handle) noexcept {
    return s_children.find([&](const Child& child) { return child.handle == handle; });
}

int32_t exitCodeOf(int status) noexcept {
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

/// Exit code of a child that was collected, but not by us.
int32_t exitCodeOfCollected(int descriptor) noexcept {
    DescriptorInfo info{};
    info.mask = ExitInfo;
    if (::ioctl(descriptor, GetDescriptorInfo, &info) != 0 || (info.mask & ExitInfo) == 0)
        return QX_PROCESS_EXIT_UNKNOWN;
    return exitCodeOf(info.status);
}

void forgetChildren() noexcept { s_children.clear(); } // in a child: they are the parent's

} // namespace

void Child::begin(pid_t number) noexcept {
    Descriptor descriptor(static_cast<int>(::syscall(SYS_pidfd_open, number, 0)));
    const bool isGone = !descriptor && errno == ESRCH;
    m_number = isGone ? 0 : number;
    m_descriptor = aboveStandard(std::move(descriptor));
}

int32_t Child::wait(int options, int32_t& exitCode) const noexcept {
    siginfo_t info{};
    const auto waitFor = [&] {
        return m_descriptor
                   ? ::waitid(P_PIDFD, static_cast<id_t>(descriptor()), &info, WEXITED | options)
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

QXHandle enterChild(std::unique_ptr<Child> child) noexcept {
    const std::lock_guard guard(s_lock);
    child->handle = ++s_lastHandle;
    s_children.add(child.get());
    return child.release()->handle;
}

int32_t collectChild(QXHandle handle, int options, int32_t& exitCode) noexcept {
    const Child* child = nullptr;
    {
        const std::lock_guard guard(s_lock);
        if (Child** const found = findChild(handle); found != nullptr)
            child = *found;
    }
    if (child == nullptr)
        return result::InvalidHandle;
    // One thread at a time uses a handle: nobody takes the child out meanwhile.
    const int32_t result = child->wait(options, exitCode);
    if (result >= 0)
        takeChild(handle);
    return result;
}

std::unique_ptr<Child> takeChild(QXHandle handle) noexcept {
    const std::lock_guard guard(s_lock);
    Child** const found = findChild(handle);
    return std::unique_ptr<Child>(found != nullptr ? s_children.take(found) : nullptr);
}

constexpr ForkSteps ChildForkSteps = HeldInFork<s_lock, forgetChildren>;

} // namespace qx::platform
