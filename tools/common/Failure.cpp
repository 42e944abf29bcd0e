#include "tools/common/Failure.h"

#include <filesystem>

#include <qx/core/ErrorCode.h>
#include <qx/platform/files.h>
#include <qx/platform/result.h>
#include <qx/util/SystemName.h>

std::string describeResult(int32_t result) { return qx::resultCategory().message(result); }

Failure fileFailure(const std::string& name, int32_t result) {
    if (result == qx::result::BrokenPipe)
        return Failure(Failure::Runtime, "");
    std::error_code error;
    if (result == qx::result::AccessDenied && std::filesystem::is_directory(name, error))
        return Failure(Failure::Runtime, name + ": is a folder");
    return Failure(Failure::Runtime, name + ": " + describeResult(result));
}

void requireFile(int32_t result, const std::string& name) {
    if (result < 0)
        throw fileFailure(name, result);
}

std::string absolutePath(const std::string& name) {
    std::string absolute(PathCapacity, '\0');
    requireFile(QXPathExpand(name.c_str(), absolute.data(), static_cast<int32_t>(absolute.size())),
                qx::util::fromSystemName(name.c_str()).toUtf8());
    return absolute.c_str();
}
