#include "qx/platform/posix/files/systemtable.h"

#include <fcntl.h>
#include <unistd.h>

#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/error.h>

namespace qx::platform {

std::string readTable(const char* path) {
    std::string text;
    const Descriptor in = Descriptor::open(path, O_RDONLY);
    char bytes[4096];
    for (;;) {
        const ssize_t count =
            retryInterrupted([&] { return ::read(in.get(), bytes, sizeof bytes); });
        if (count <= 0)
            return text;
        text.append(bytes, static_cast<size_t>(count));
    }
}

} // namespace qx::platform
