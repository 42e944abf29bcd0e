#include "qx/platform/posix/random.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <qx/platform/result.h>

#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/error.h>

namespace qx::platform {

namespace {

/// For kernels and filters of system calls that do not let getrandom through.
int32_t readDevice(unsigned char* at, size_t length) noexcept {
    const Descriptor device = Descriptor::open("/dev/urandom", O_RDONLY);
    if (!device)
        return lastResult();
    while (length > 0) {
        const ssize_t count = retryInterrupted([&] { return ::read(device.get(), at, length); });
        if (count <= 0)
            return count < 0 ? lastResult() : result::Fail;
        at += count;
        length -= static_cast<size_t>(count);
    }
    return result::Ok;
}

} // namespace

int32_t randomBytes(void* buffer, size_t length) noexcept {
    auto* at = static_cast<unsigned char*>(buffer);
    while (length > 0) {
        const ssize_t count = retryInterrupted([&] { return ::getrandom(at, length, 0); });
        if (count < 0)
            return readDevice(at, length);
        at += count;
        length -= static_cast<size_t>(count);
    }
    return result::Ok;
}

} // namespace qx::platform
