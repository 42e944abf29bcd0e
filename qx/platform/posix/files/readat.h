#pragma once

#include <cstddef>
#include <cstdint>
#include <unistd.h>

#include <qx/platform/posix/error.h>

namespace qx::platform {

/// Reads @p size bytes at a place of a file, fewer only where the file ends. As of pread, the
/// number or -1 with errno.
inline ssize_t readAt(int file, void* buffer, size_t size, uint64_t offset) noexcept {
    size_t length = 0;
    while (length < size) {
        const ssize_t count = retryInterrupted([&] {
            return ::pread(file, static_cast<char*>(buffer) + length, size - length,
                           static_cast<off_t>(offset + length));
        });
        if (count < 0)
            return count;
        if (count == 0)
            break;
        length += static_cast<size_t>(count);
    }
    return static_cast<ssize_t>(length);
}

} // namespace qx::platform
