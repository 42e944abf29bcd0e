#pragma once

#include <cstdint>

#include <qx/platform/net.h>

namespace qx::platform {

/// Number of an errno value at the interface of sockets. 10107 for an error without a row in the
/// table; 0 only for 0.
int32_t socketErrorNumber(int error) noexcept;

/// Number at the interface of what the system's resolver returned; that of errno where it says so.
int32_t resolverErrorNumber(int error) noexcept;

/// Records errno as the calling thread's last socket error, and returns QX_SOCKET_ERROR.
int32_t socketFailed() noexcept;
/// The same for an error that no system call has found; errno says it as well.
int32_t socketFailed(int error) noexcept;
/// Records a number of the interface.
int32_t socketFailedWith(int32_t number) noexcept;

/// The system's number of a family, -1 for one that is unknown; and back, 0 for one that is none of
/// the interface's.
int systemFamily(int32_t family) noexcept;
uint16_t interfaceFamily(int family) noexcept;

/// Numbers that mean the same on both sides of the interface.
struct NumberPair {
    int32_t described;
    int system;
};

/// The system's form of a word of flags; -1 when one of them has no row.
template <size_t Count>
int systemFlags(const NumberPair (&rows)[Count], int32_t flags) noexcept {
    int result = 0;
    for (const NumberPair& row : rows) {
        if (flags & row.described) {
            result |= row.system;
            flags &= ~row.described;
        }
    }
    return flags == 0 ? result : -1;
}

} // namespace qx::platform
