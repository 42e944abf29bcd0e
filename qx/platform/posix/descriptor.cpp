#include "qx/platform/posix/descriptor.h"

#include <algorithm>

namespace qx::platform {

namespace {

/// Transfers by calls of @p call, which is told how much is done and how much is asked for, until
/// all of it is done or a call does nothing. As of the call, the number of bytes or -1 with errno.
template <class Call>
ssize_t transferAll(size_t size, Call call) noexcept {
    constexpr size_t LargestCall = size_t{1} << 30;
    size_t done = 0;
    while (done < size) {
        const size_t asked = std::min(size - done, LargestCall);
        const ssize_t count = retryInterrupted([&] { return call(done, asked); });
        if (count < 0)
            return count;
        if (count == 0)
            break;
        done += static_cast<size_t>(count);
    }
    return static_cast<ssize_t>(done);
}

void checkWhole(ssize_t done, size_t size) {
    if (done != static_cast<ssize_t>(size))
        throw Failure{done < 0 ? lastResult() : result::Fail};
}

} // namespace

ssize_t readAt(int file, void* buffer, size_t size, uint64_t offset) noexcept {
    return transferAll(size, [&](size_t done, size_t asked) {
        return ::pread(file, static_cast<char*>(buffer) + done, asked,
                       static_cast<off_t>(offset + done));
    });
}

void readWholeAt(int file, void* buffer, size_t size, uint64_t offset) {
    checkWhole(readAt(file, buffer, size, offset), size);
}

void writeAt(int file, const void* buffer, size_t size, uint64_t offset) {
    const auto write = [&](size_t done, size_t asked) {
        return ::pwrite(file, static_cast<const char*>(buffer) + done, asked,
                        static_cast<off_t>(offset + done));
    };
    checkWhole(transferAll(size, write), size);
}

void writeOn(int file, const void* buffer, size_t size) {
    const auto write = [&](size_t done, size_t asked) {
        return ::write(file, static_cast<const char*>(buffer) + done, asked);
    };
    checkWhole(transferAll(size, write), size);
}

void flush(int file) {
    const int flushed = retryInterrupted([file] { return ::fsync(file); });
    if (flushed != 0 && errno != EINVAL && errno != EROFS && errno != ENOTSUP)
        throw Failure{lastResult()};
}

struct flock lockOf(short type, off_t firstByte, off_t length) noexcept {
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = firstByte;
    range.l_len = length;
    return range;
}

Locking tryLock(int file, short type, off_t firstByte, off_t length) noexcept {
    struct flock range = lockOf(type, firstByte, length);
    if (retryInterrupted([&] { return ::fcntl(file, F_OFD_SETLK, &range); }) == 0)
        return Locking::Done;
    return errno == EAGAIN ? Locking::Taken : Locking::Failed;
}

} // namespace qx::platform
