// Files that are taken for component modules: whatever they hold, the look at them before they are
// loaded reads inside of the file only and comes to an end.

#include <cstdint>
#include <cstdlib>
#include <cstring>

// What looks at the file; private to the platform layer.
#include "qx/platform/posix/module/ModuleNote.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qx;
    const auto read = [&](uint64_t offset, void* buffer, size_t count) {
        if (offset > size || count > size - offset)
            std::abort(); // only what is there is asked for
        if (count > 0)
            std::memcpy(buffer, data + offset, count);
        return true;
    };
    platform::InterfaceVersion version{~0u, ~0u};
    const int32_t result = platform::readInterfaceVersion(read, size, version);
    const bool isKnown =
        result == result::Ok || result == result::NotALibrary || result == result::NotAModule;
    const bool isUntouched = version.major == ~0u && version.minor == ~0u;
    if (!isKnown || (result < 0 && !isUntouched))
        std::abort();
    return 0;
}
