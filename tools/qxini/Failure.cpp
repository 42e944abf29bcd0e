#include "Failure.h"

#include <cstdio>

#include <qx/platform/result.h>

namespace result = qx::result;

Failure fileFailure(const std::string& name, int32_t code) {
    const auto because = [&name](const char* why) {
        return Failure(Failure::Runtime, name + ": " + why);
    };
    switch (code) {
    case result::NotFound:
        return because("no such file");
    case result::AccessDenied:
        return because("permission denied, or no file");
    case result::DiskFull:
        return because("no space left on the device");
    case result::FileTooLarge:
        return because("the file is too large");
    case result::BrokenPipe:
        return Failure(Failure::Runtime, "");
    default:
        char number[32];
        std::snprintf(number, sizeof number, "failure 0x%08X", static_cast<unsigned>(code));
        return because(number);
    }
}
