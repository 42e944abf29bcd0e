#include "qx/pcom/DllModule.h"

#include <qx/core/Literal.h>
#include <qx/core/String.h>
#include <qx/platform/result.h>
#include <qx/util/Guid.h>

namespace qx::pcom {

int32_t DllModule::RegisterClassEntry(ClassData& entry, const char16_t* modulePath) {
    if (!modulePath)
        return result::NullPointer;
    RegistryChange change(*this);
    if (const int32_t result = Module::RegisterClassEntry(entry, modulePath); result < 0)
        return result;
    change.setDefaultValue(
        u"CLSID\\"_qs + util::Guid(*entry.clsid).toString() + u"\\InprocServer32", modulePath);
    change.commit();
    return result::Ok;
}

} // namespace qx::pcom
