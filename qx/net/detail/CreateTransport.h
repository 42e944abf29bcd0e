#pragma once

#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/net/detail/HandOut.h>
#include <qx/platform/module.h>

namespace qx::net::detail {

/// The interface of a new transport of the component whose programmatic identifier is @p name.
/// @throws ResultException that names it, with the result of the creation
template <class Interface>
Reference<Interface> createTransport(const String& name) {
    const String units(name, String::AM_COPY); // with a 0 unit behind them
    if (units.contains(u'\0'))
        throwResultOf(result::NotFound, name); // no identifier, and not another one cut off
    try {
        return taken<Interface>([&units](const GUID& iid, void** out) {
            return QXComCreateObjectByProgID(units.getData(), nullptr, &iid, out);
        });
    } catch (const ResultException& failure) {
        throw withDetail(
            ResultException(failure.getResult(),
                            u"cannot create transport " + (name.isEmpty() ? u"\"\""_qs : name)),
            failure.getDescription());
    }
}

} // namespace qx::net::detail
