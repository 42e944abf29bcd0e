#pragma once

#include <cerrno>
#include <cstdint>
#include <new>
#include <type_traits>

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

/// What goes wrong inside this layer, on its way to the C function that returns its code. What is
/// asked often and answered with no (a value that is not there, a lock that another has) is a value
/// instead: throwing costs more than most system calls.
struct Failure {
    int32_t code;
};

/// For the failure of a step on the way: a negative result is thrown.
inline void throwIfFailed(int32_t result) {
    if (result < 0)
        throw Failure{result};
}

/// For a system call on the way that gives 0: anything else is thrown as errno says.
inline void throwIfNot0(int returned) {
    if (returned != 0)
        throw Failure{lastResult()};
}

/// Runs the body of a C function: its result code, Ok for one that returns nothing, and the code of
/// what it throws.
template <class Body>
int32_t resultOf(Body&& body) noexcept {
    try {
        if constexpr (std::is_void_v<decltype(body())>)
            return body(), result::Ok;
        else
            return body();
    } catch (const Failure& failure) {
        return failure.code;
    } catch (const std::bad_alloc&) {
        return result::OutOfMemory;
    }
}

} // namespace qx::platform
