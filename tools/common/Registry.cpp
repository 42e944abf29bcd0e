#include "tools/common/Registry.h"

#include <qx/platform/registry.h>
#include <qx/platform/result.h>
#include <qx/util/SystemName.h>

namespace result = qx::result;

namespace {

/// The folder that the registry lies in; empty when the user has none.
std::string registryFolder() {
    std::string folder(PathCapacity, '\0');
    if (QXRegistryGetFolder(folder.data(), static_cast<int32_t>(folder.size())) < 0)
        return {};
    return folder.c_str();
}

} // namespace

Failure registryFailure(const std::string& name, int32_t code) {
    const auto because = [&name](const std::string& why) {
        return Failure(Failure::Runtime, name + ": " + why);
    };
    const std::string folder = registryFolder();
    if (folder.empty())
        return because("the user has no home folder for the registry (set HOME or XDG_DATA_HOME)");
    switch (code) {
    case result::NotFound:
        return because("does not exist");
    case result::InvalidArgument:
        return because("cannot be named or stored so");
    case result::Corrupt:
        return because("the file of the registry is damaged");
    case result::AccessDenied:
        return because("access denied, or others may write the registry in " + folder);
    default:
        return because(describeResult(code) + ", for the registry in " + folder);
    }
}

void requireRegistry(int32_t code, const std::string& name) {
    if (code < 0)
        throw registryFailure(name, code);
}

void useRegistry(const qx::String& folder) {
    const std::string name = qx::util::toSystemName(folder);
    requireFile(QXRegistrySetFolder(absolutePath(name).c_str()), folder.toUtf8());
}
