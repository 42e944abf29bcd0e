#pragma once

#include <cerrno>
#include <cstdint>
#include <new>

#include <qx/platform/result.h>

namespace qx::platform {

/// Result code of an errno value: 0x8007nnnn with the number that Windows programs know, 0x80004005
/// for an error without a row in the table. Never success.
int32_t resultFromErrno(int error) noexcept;

/// The same for the calling thread's errno.
inline int32_t lastResult() noexcept { return resultFromErrno(errno); }

/// Runs a system call again as long as a signal interrupts it; its result otherwise.
template <class Call>
auto retryInterrupted(Call&& call) noexcept(noexcept(call())) {
    for (;;) {
        const auto value = call();
        if (value != -1 || errno != EINTR)
            return value;
    }
}

/// Runs the body of a C function that uses containers: its result code, or the one for memory that
/// ran out.
template <class Body>
int32_t withinMemory(Body&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return result::OutOfMemory;
    }
}

} // namespace qx::platform
