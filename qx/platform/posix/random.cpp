#include "qx/platform/posix/random.h"

#include <sys/random.h>

#include <qx/platform/result.h>

#include "qx/platform/posix/error.h"

namespace qx::platform {

int32_t randomBytes(void* buffer, size_t length) noexcept {
    auto* at = static_cast<unsigned char*>(buffer);
    while (length > 0) {
        const ssize_t count = retryInterrupted([&] { return ::getrandom(at, length, 0); });
        if (count < 0)
            return lastResult();
        at += count;
        length -= static_cast<size_t>(count);
    }
    return result::Ok;
}

} // namespace qx::platform
