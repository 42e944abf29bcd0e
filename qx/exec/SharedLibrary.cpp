#include "qx/exec/SharedLibrary.h"

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/detail/LibraryIdentity.h>
#include <qx/platform/module.h>

namespace qx::exec {

SharedLibrary::SharedLibrary(const char16_t* path) {
    const int32_t code = QXModuleLibOpen(libraryIdentity(), path, m_handle.put());
    if (code < 0) {
        char reason[512];
        QXModuleErrorText(reason, sizeof reason);
        throw withDetail(ResultException(code, u"Failed to open shared library."_qs),
                         *reason ? String(reason) : String(path));
    }
}

void* SharedLibrary::getSymbol(const char16_t* name) const {
    void* symbol = nullptr;
    if (const int32_t code = QXLibGetSymbol(m_handle.get(), name, &symbol); code < 0)
        throw withDetail(ResultException(code, u"Failed to get symbol."_qs), String(name));
    return symbol;
}

int32_t SharedLibrary::close(QXHandle handle) {
    return QXModuleLibClose(libraryIdentity(), handle);
}

} // namespace qx::exec
