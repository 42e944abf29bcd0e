#include "qx/pcom/ClassFactory.h"

namespace qx::pcom {

uint32_t ClassFactory::Release() {
    const uint32_t count = InternalRelease();
    if (count == 0)
        destroy();
    return count;
}

int32_t ClassFactory::CreateInstance(IQXUnknown* outer, const GUID& iid, void** out) {
    if (!out)
        return result::NullPointer;
    *out = nullptr;
    if (outer && !(iid == IQXUnknown::Iid))
        return result::InvalidArgument;
    if (!m_createInstance)
        return result::NotImplemented;
    const int32_t code = resultOf([&] { return m_createInstance(module(), outer, iid, out); });
    if (code >= 0 && *out)
        return code;
    *out = nullptr; // what a failure left there came without a reference
    return code < 0 ? code : result::Fail;
}

int32_t ClassFactory::LockServer(int16_t lock) {
    Module* const counting = module();
    if (!counting)
        return result::Ok;
    if (lock)
        counting->AddRef();
    else
        counting->Release();
    return result::Ok;
}

} // namespace qx::pcom
