#include "tools/common/Failure.h"

#include <cstdio>

#include <qx/core/ErrorCode.h>
#include <qx/platform/files.h>
#include <qx/platform/result.h>
#include <qx/util/SystemName.h>

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
    char code[16];
    std::snprintf(code, sizeof code, " (0x%08X)", static_cast<unsigned int>(result));
    return qx::resultCategory().message(result) + code;
}

Failure fileFailure(const std::string& name, int32_t result) {
    if (result == qx::result::BrokenPipe)
        return Failure(Failure::Runtime, "");
    return Failure(Failure::Runtime, name + ": " + describeResult(result));
}

void requireFile(int32_t result, const std::string& name) {
    if (result < 0)
        throw fileFailure(name, result);
}

std::string absolutePath(const std::string& name) {
    std::string absolute(65536, '\0');
    requireFile(QXPathExpand(name.c_str(), absolute.data(), static_cast<int32_t>(absolute.size())),
                qx::util::fromSystemName(name.c_str()).toUtf8());
    return absolute.c_str();
}
