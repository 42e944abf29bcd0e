#include "qx/exec/SharedLibrary.h"

#include <qx/core/Result.h>
#include <qx/core/detail/LibraryIdentity.h>
#include <qx/platform/module.h>

namespace qx::exec {

SharedLibrary::SharedLibrary(const char16_t* path) {
    throwIfFailed(QXModuleLibOpen(libraryIdentity(), path, m_handle.put()),
                  u"Failed to open shared library.");
}

void* SharedLibrary::getSymbol(const char16_t* name) const {
    void* symbol = nullptr;
    throwIfFailed(QXLibGetSymbol(m_handle.get(), name, &symbol), u"Failed to get symbol.");
    return symbol;
}

int32_t SharedLibrary::close(QXHandle handle) {
    return QXModuleLibClose(libraryIdentity(), handle);
}

} // namespace qx::exec
