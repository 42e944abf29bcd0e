#pragma once

#include <qx/core/AnyText.h>
#include <qx/core/Object.h>
#include <qx/core/PlatformHandle.h>
#include <qx/platform/export.h>
#include <qx/util/FileName.h>

namespace qx::exec {

/// A dynamic library, loaded as long as the object lives. One thread at a time.
class QX_API SharedLibrary : public Object {
public:
    /// @param path  a file, or a plain name that is looked up where the system keeps libraries
    /// @throws ResultException "Failed to open shared library.": result::NotFound without such a
    ///     file, the other codes of QXModuleLibOpen
    explicit SharedLibrary(const char16_t* path);
    explicit SharedLibrary(const util::FileName& path) : SharedLibrary(path.terminated()) {}

    /// Address of a function or variable; it is good as long as the library is loaded.
    /// @throws ResultException "Failed to get symbol." with 0x8007007F for a name that the library
    ///     does not have
    void* getSymbol(const char16_t* name) const;
    void* getSymbol(const AnyText& name) const { return getSymbol(name.terminated()); }

private:
    static int32_t close(QXHandle handle);

    PlatformHandle<&SharedLibrary::close> m_handle;
};

} // namespace qx::exec

using CQXSharedLibrary = qx::exec::SharedLibrary;
