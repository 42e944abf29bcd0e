#include "tools/common/InstalledModule.h"

#include <cstdint>
#include <filesystem>

#include <qx/core/Result.h>
#include <qx/platform/module.h>

#include "tools/common/Failure.h"

namespace fs = std::filesystem;

std::optional<std::string> installedModule(const char* fileName) {
    std::string program(PathCapacity, '\0');
    qx::throwIfFailed(QXModuleGetFileName(reinterpret_cast<const void*>(&installedModule),
                                          program.data(), static_cast<int32_t>(program.size())));
    const fs::path folder = fs::path(program.c_str()).parent_path();
    for (const char* const place : {QX_MODULES_FROM_PROGRAMS, "../modules"}) {
        const fs::path module = folder / place / fileName;
        std::error_code ignored;
        if (fs::exists(module, ignored))
            return absolutePath(module.string());
    }
    return std::nullopt;
}
