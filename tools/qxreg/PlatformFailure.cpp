#include "PlatformFailure.h"

#include <cstdio>

#include <qx/platform/result.h>

namespace result = qx::result;

Failure platformFailure(const std::string& name, int32_t code) {
    const auto because = [&name](const char* why) {
        return Failure(Failure::Runtime, name + ": " + why);
    };
    switch (code) {
    case result::NotFound:
        return because("does not exist");
    case result::AccessDenied:
        return because("access denied, or others may write the registry's folder or file");
    case result::Corrupt:
        return because("the file of the registry is damaged");
    case result::DiskFull:
        return because("the disk is full");
    case result::InvalidArgument:
        return because("cannot be named or stored so");
    case result::BrokenPipe: // who closed it knows
        return Failure(Failure::Runtime, "");
    default:
        char number[32];
        std::snprintf(number, sizeof number, "failure 0x%08X", static_cast<unsigned>(code));
        return because(number);
    }
}

void require(int32_t code, const std::string& name) {
    if (code < 0)
        throw platformFailure(name, code);
}
