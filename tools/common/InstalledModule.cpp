#include "tools/common/InstalledModule.h"

#include <cstdint>
#include <filesystem>

#include <qx/core/Result.h>
#include <qx/platform/module.h>

#include "tools/common/Failure.h"

namespace fs = std::filesystem;

std::optional<std::string> installedModule(const char* fileName) {
    char program[4096];
    qx::throwIfFailed(QXModuleGetFileName(reinterpret_cast<const void*>(&installedModule), program,
                                          static_cast<int32_t>(sizeof program)));
    const fs::path folder = fs::path(program).parent_path();
    for (const char* const place : {QX_MODULES_FROM_PROGRAMS, "../modules"}) {
        const fs::path module = folder / place / fileName;
        std::error_code ignored;
        if (fs::exists(module, ignored))
            return absolutePath(module.string());
    }
    return std::nullopt;
}
