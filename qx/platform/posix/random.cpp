#include "qx/platform/posix/random.h"

#include <sys/random.h>

#include <qx/platform/posix/descriptor.h>

namespace qx::platform {

namespace {

/// For kernels and filters of system calls that do not let getrandom through.
void readDevice(unsigned char* at, size_t length) {
    const Descriptor device = Descriptor::open("/dev/urandom", O_RDONLY);
    if (!device)
        throw Failure{lastResult()};
    readWholeAt(device.get(), at, length, 0);
}

} // namespace

void fillRandomly(void* buffer, size_t length) {
    auto* at = static_cast<unsigned char*>(buffer);
    while (length > 0) {
        const ssize_t count = retryInterrupted([&] { return ::getrandom(at, length, 0); });
        if (count < 0)
            return readDevice(at, length);
        at += count;
        length -= static_cast<size_t>(count);
    }
}

} // namespace qx::platform
