#include "qx/platform/posix/Child.h"

#include <cerrno>
#include <csignal>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <qx/platform/process.h>
#include <qx/platform/result.h>

#include "qx/platform/posix/descriptor.h"
#include "qx/platform/posix/error.h"

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

} // namespace

Child Child::started(pid_t number) noexcept {
    Descriptor descriptor(static_cast<int>(::syscall(SYS_pidfd_open, number, 0)));
    if (!descriptor && errno == ESRCH)
        return {0, NoDescriptor};
    descriptor = aboveStandard(std::move(descriptor));
    return {number, descriptor ? static_cast<int>(descriptor.release()) : NoDescriptor};
}

int32_t Child::wait(int options, int32_t& exitCode) const noexcept {
    const bool hasDescriptor = m_descriptor != NoDescriptor;
    siginfo_t info{};
    const auto waitFor = [&] {
        return hasDescriptor
                   ? ::waitid(P_PIDFD, static_cast<id_t>(m_descriptor), &info, WEXITED | options)
                   : ::waitid(P_PID, static_cast<id_t>(m_number), &info, WEXITED | options);
    };
    if (m_number == 0) {
        exitCode = QX_PROCESS_EXIT_UNKNOWN;
    } else if (retryInterrupted(waitFor) == 0) {
        if (info.si_pid == 0)
            return result::Busy;
        exitCode = info.si_code == CLD_EXITED ? info.si_status : -info.si_status;
    } else if (errno == ECHILD) {
        exitCode = exitCodeOfCollected(m_descriptor);
    } else {
        return lastResult();
    }
    return result::Ok;
}

void Child::close() const noexcept {
    if (m_descriptor != NoDescriptor)
        ::close(m_descriptor);
}

} // namespace qx::platform
