#pragma once

#include <qx/pcom/Module.h>

namespace qx::pcom {

/// The classes of a module that is a shared library. Its path is entered with each of them.
class QX_API DllModule : public Module {
public:
    using Module::Module;

protected:
    /// @return also result::NullPointer for a null path
    int32_t RegisterClassEntry(ClassData& entry, const char16_t* modulePath) override;
};

} // namespace qx::pcom

using CQXComDllModule = qx::pcom::DllModule;
