#pragma once

#include <cstdint>

#include <qx/core/Reference.h>
#include <qx/core/Unknown.h>
#include <qx/platform/result.h>

// What others hand out, who may break every rule of it.

namespace qx::detail {

/// Lets @p call (iid, out) store an interface. One that fails stores nothing, and one that stores
/// null has failed. Whether a pointer that comes with a success leads to the table of that
/// interface, nobody can tell.
template <class Interface, class Call>
int32_t takeInterface(Reference<Interface>& reference, Call&& call) {
    const int32_t code = call(Interface::Iid, reference.putVoid());
    if (code < 0)
        static_cast<void>(reference.detach()); // whatever it left there
    return code >= 0 && !reference ? result::NullPointer : code;
}

/// The interface that @p object answers a query for; null when it has none.
template <class Interface, class Asked>
Reference<Interface> interfaceOf(Asked& object) {
    Reference<Interface> reference;
    takeInterface(reference,
                  [&](const GUID& iid, void** out) { return object.QueryInterface(iid, out); });
    return reference;
}

/// Asks @p object for what a caller wants, who finds null in @p out with every failure and
/// exception.
template <class Asked>
int32_t passInterface(Asked& object, const GUID& iid, void** out) {
    if (!out)
        return result::NullPointer;
    *out = nullptr;
    void* found = nullptr;
    const int32_t code = object.QueryInterface(iid, &found);
    if (code >= 0)
        *out = found;
    return code;
}

} // namespace qx::detail
