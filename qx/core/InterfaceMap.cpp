#include "qx/core/InterfaceMap.h"

#include <qx/core/ComObject.h>
#include <qx/platform/result.h>

namespace qx::pcom {

int32_t QueryInterfaceMap(const InterfaceData* map, ComObject* object, const GUID& iid,
                          void** out) {
    if (!out)
        return result::NullPointer;
    if (iid == IQXUnknown::Iid) {
        IQXUnknown* const unknown = object;
        if (object)
            object->AddRef();
        *out = unknown;
        return result::Ok;
    }
    for (const InterfaceData* row = map; row->kind != InterfaceData::End; ++row) {
        if (row->iid && !(*row->iid == iid))
            continue;
        if (row->kind == InterfaceData::SubObject) {
            auto* const found =
                reinterpret_cast<IQXUnknown*>(reinterpret_cast<char*>(object) + row->data);
            found->AddRef();
            *out = found;
            return result::Ok;
        }
        const auto chain = reinterpret_cast<ChainFunction>(row->kind);
        const int32_t chained = chain(object, iid, out, row->data);
        // A chain to a base map that does not know the interface lets the walk go on.
        if (chained == result::Ok || (chained < 0 && row->iid))
            return chained;
    }
    *out = nullptr;
    return result::NoInterface;
}

} // namespace qx::pcom
