#include "qx/core/InterfaceMap.h"

#include <qx/core/CastTo.h>
#include <qx/core/ComObject.h>
#include <qx/core/Object.h>
#include <qx/core/ObjectBehind.h>
#include <qx/platform/module.h>
#include <qx/platform/result.h>

namespace qx::pcom {

namespace {

/// Asks an object for its ComObject. Only QueryInterfaceMap knows this identifier, and it answers
/// with a result of its own: an object that grants every interface is not mistaken for a ComObject.
constexpr GUID ComObjectIid{
    0xF3285B9F, 0xFA41, 0x4FAC, {0x9F, 0x95, 0xBC, 0x0A, 0x83, 0x4A, 0x53, 0xE9}};
constexpr int32_t ComObjectAnswer = 0x5158434F;

/// Asks a ComObject for its Object, and is known only to the map at the end of every Object's.
constexpr GUID ObjectIid{
    0x2B6E9D14, 0x7C03, 0x4D58, {0xA1, 0x4F, 0x86, 0xE2, 0x59, 0x0B, 0xC7, 0x3D}};
constexpr int32_t ObjectAnswer = 0x51584F42;

} // namespace

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
    if (iid == ComObjectIid && object) {
        *out = object; // lent: an object without references has to survive
        return ComObjectAnswer;
    }
    for (const InterfaceData* row = map; row->kind != InterfaceData::End; ++row) {
        if (row->iid && !(*row->iid == iid))
            continue;
        if (row->kind == InterfaceData::SubObject) {
            auto* const found = reinterpret_cast<IQXUnknown*>(reinterpret_cast<char*>(object) +
                                                              static_cast<int32_t>(row->data));
            found->AddRef();
            *out = found;
            return result::Ok;
        }
        const auto chain = reinterpret_cast<ChainFunction>(row->kind);
        const int32_t chained = chain(object, iid, out, row->data);
        // A chain to a base map that does not know the interface lets the walk go on.
        if (chained == result::Ok || chained == ObjectAnswer || (chained < 0 && row->iid))
            return chained;
    }
    if (iid == ObjectIid && map == Object::GetComIntfMap()) {
        *out = object;
        return ObjectAnswer;
    }
    *out = nullptr;
    return result::NoInterface;
}

__attribute__((no_sanitize("vptr"))) ComObject* comObjectOf(const IQXUnknown* unknown) {
    if (!unknown)
        return nullptr;
    // This query changes nothing.
    void* answer = nullptr;
    const int32_t answered =
        const_cast<IQXUnknown*>(unknown)->QueryInterface(ComObjectIid, &answer);
    if (answered != ComObjectAnswer) {
        if (answered >= 0 && answer)
            static_cast<IQXUnknown*>(answer)->Release();
        return nullptr;
    }
    return static_cast<ComObject*>(answer);
}

} // namespace qx::pcom

namespace qx {

__attribute__((no_sanitize("vptr"))) Object* detail::objectAt(const IQXUnknown* unknown) {
    if (!unknown)
        return nullptr;
    auto* const asked = const_cast<IQXUnknown*>(unknown);
    void* answer = nullptr;
    const int32_t answered = asked->QueryInterface(pcom::ObjectIid, &answer);
    // One that passes its queries on answers for somebody else.
    if (answered == pcom::ObjectAnswer && answer == asked)
        return static_cast<Object*>(static_cast<ComObject*>(answer));
    if (answered >= 0 && answered != pcom::ObjectAnswer && answer)
        static_cast<IQXUnknown*>(answer)->Release();
    return nullptr;
}

bool detail::isLastingTable(const void* table, const void* user) noexcept {
    return QXModuleOutlives(table, user) != 0;
}

Object* detail::untypedObject(const ComObject* object) { return objectAt(object); }

} // namespace qx
