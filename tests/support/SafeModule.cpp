#include "tests/support/SafeModule.h"

#include <filesystem>

#include <qx/platform/module.h>

#include "tests/support/TemporaryFolder.h"

namespace qxtest {

std::string safeModule(const std::string& path) {
    namespace fs = std::filesystem;
    static const TemporaryFolder folder;
    const std::string copy = folder.path(fs::path(path).filename().string());
    if (fs::copy_file(path, copy, fs::copy_options::skip_existing))
        fs::permissions(copy, fs::perms::owner_all);
    return copy;
}

int freeModules(unsigned delayMs) {
    int kept = -1;
    return QXComFreeUnusedModules(delayMs, &kept) == 0 ? kept : -1;
}

} // namespace qxtest
