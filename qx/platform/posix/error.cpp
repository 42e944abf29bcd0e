#include "qx/platform/posix/error.h"

#include <algorithm>
#include <cstring>

#include <qx/platform/native.h>
#include <qx/platform/result.h>

namespace qx::platform {

namespace {

struct ErrorRow {
    int error;
    uint16_t code;
};

// clang-format off
constexpr ErrorRow ErrorRows[] = {
    {ENOENT,        2}, // file not found
    {ENOTDIR,       3}, // path not found
    {EMFILE,        4}, // too many open files
    {ENFILE,        4},
    {EACCES,        5}, // access denied
    {EPERM,         5},
    {EISDIR,        5},
    {EBADF,         6}, // invalid handle
    {ENOMEM,       14}, // out of memory
    {EXDEV,        17}, // not the same device
    {EROFS,        19}, // write protected
    {EIO,          31}, // general failure
    {ETXTBSY,      32}, // sharing violation
    {EBUSY,       170}, // in use
    {EDEADLK,    1131}, // possible deadlock
    {EEXIST,       80}, // file exists
    {EINVAL,       87}, // invalid parameter
    {EPIPE,       109}, // broken pipe
    {ENOSPC,      112}, // disk full
    {EDQUOT,     1295}, // quota exceeded
    {EFBIG,       223}, // file too large
    {ESPIPE,      132}, // cannot seek
    {ENOSYS,      120}, // call not implemented
    {ENOTEMPTY,   145}, // folder not empty
    {ENAMETOOLONG,206}, // name or argument too long
    {E2BIG,       206},
    {ENOEXEC,     193}, // not a program
    {EAGAIN,      170}, // in use
    {EOVERFLOW,   534}, // arithmetic overflow
    {ECANCELED,  1223}, // cancelled
    {ETIMEDOUT,  1460}, // timed out
    {ENXIO,       433}, // no such device
    {ENODEV,      433},
    {EOPNOTSUPP,   50}, // not supported
    {ENOTTY,       50},
    {ECHILD,      128}, // no child processes
    {EFAULT,      998}, // invalid access to memory
    {EILSEQ,     1113}, // no such character
    {ELOOP,      1921}, // name cannot be resolved
    {EMLINK,     1142}, // too many links
};
// clang-format on

constexpr int32_t codeOf(const ErrorRow& row) noexcept {
    return static_cast<int32_t>(0x80070000u | row.code);
}

} // namespace

int32_t resultFromErrno(int error) noexcept {
    for (const auto& row : ErrorRows) {
        if (row.error == error)
            return codeOf(row);
    }
    return result::Fail;
}

} // namespace qx::platform

void QXNativeErrorText(char* buffer, int32_t capacity) {
    if (capacity < 1)
        return;
    const auto size = static_cast<size_t>(capacity);
    // The call may return a constant text instead of filling the buffer.
    const char* const text = ::strerror_r(errno, buffer, size);
    if (text != buffer) {
        const size_t length = std::min(std::strlen(text), size - 1);
        std::memcpy(buffer, text, length);
        buffer[length] = '\0';
    }
}

int32_t QXResultFromErrno(int32_t error) { return qx::platform::resultFromErrno(error); }

int32_t QXErrnoFromResult(int32_t result) {
    for (const auto& row : qx::platform::ErrorRows) {
        if (qx::platform::codeOf(row) == result)
            return row.error;
    }
    return 0;
}

int32_t QXResultFromNative() { return qx::platform::lastResult(); }
