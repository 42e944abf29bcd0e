#include "qx/core/ComObject.h"

#include <qx/platform/result.h>

namespace qx {

const char detail::objectLayout = 0;

int32_t ComObject::QueryInterface(const GUID& iid, void** out) {
    return pcom::QueryInterfaceMap(GetComIntfMap(), this, iid, out);
}

int32_t ComObject::SetOuterUnknown(IQXUnknown* /*outer*/) { return result::NoAggregation; }

const pcom::InterfaceData* ComObject::GetComIntfMap() {
    static constexpr pcom::InterfaceData map[] = {
        {&IQXUnknown::Iid, pcom::InterfaceData::SubObject, 0},
        {nullptr, pcom::InterfaceData::End, 0},
    };
    return map;
}

} // namespace qx
