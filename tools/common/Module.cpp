#include "tools/common/Module.h"

#include <qx/platform/result.h>

#include "tools/common/Failure.h"

namespace result = qx::result;

void requireModule(int32_t code, const std::string& path) {
    const auto because = [&path](const char* why) {
        return Failure(Failure::Runtime, path + ": " + why);
    };
    switch (code) {
    case result::AccessDenied:
        throw because("access denied, or others may change the file or a folder above it");
    case result::NotALibrary:
        throw because("is no library");
    case result::NotAModule:
        throw because("is no component module");
    case result::ModuleVersion:
        throw because("was built for another version of the library (build it again)");
    case result::ModuleNotFound:
        throw because("cannot be loaded, or something that it needs");
    case result::SymbolNotFound:
        throw because("lacks a function of component modules");
    default:
        requireFile(code, path);
    }
}
