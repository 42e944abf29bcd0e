#include "tools/common/Failure.h"

#include <cstdio>

#include <qx/platform/result.h>

namespace {

constexpr int32_t native(uint32_t systemError) {
    return static_cast<int32_t>(0x80070000u | systemError);
}

// clang-format off
constexpr struct {
    int32_t result;
    const char* text;
} Texts[] = {
    {qx::result::NotFound,     "no such file"},
    {native(3),                "no such folder"},
    {native(4),                "too many open files"},
    {qx::result::AccessDenied, "permission denied"},
    {qx::result::OutOfMemory,  "out of memory"},
    {native(19),               "the file system is read-only"},
    {qx::result::DiskFull,     "no space left on the device"},
    {native(206),              "the name is too long"},
    {native(31),               "the device does not work"},
    {qx::result::FileTooLarge, "the file would be too large"},
    {qx::result::InvalidHandle, "not open"},
};
// clang-format on

} // namespace

std::string describeResult(int32_t result) {
    for (const auto& row : Texts)
        if (row.result == result)
            return row.text;
    char code[32];
    std::snprintf(code, sizeof code, "error 0x%08X", static_cast<unsigned int>(result));
    return code;
}

Failure fileFailure(const std::string& name, int32_t result) {
    if (result == qx::result::BrokenPipe)
        return Failure(Failure::Runtime, "");
    return Failure(Failure::Runtime, name + ": " + describeResult(result));
}
