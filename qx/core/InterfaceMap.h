#pragma once

#include <cstdint>

#include <qx/core/GUID.h>
#include <qx/platform/export.h>

class IQXUnknown;

namespace qx {

class ComObject;

namespace pcom {

/// Continues an interface query elsewhere, for example in the map of a base class.
using ChainFunction = int32_t (*)(ComObject* object, const GUID& iid, void** out, uint32_t data);

/// One row of a class's static interface map. A row of kind End closes the map. Nobody has to write
/// one: Implements makes the map of the interfaces that it is given.
///
///     class Thermometer : public pcom::Implements<Object, IThermometer> { ... };
struct InterfaceData {
    static constexpr uintptr_t End = 0;
    static constexpr uintptr_t SubObject = 1;

    /// Interface that the row answers; null lets a chain row take every interface.
    const GUID* iid;
    /// End, SubObject, or the address of a ChainFunction.
    uintptr_t kind;
    /// SubObject: displacement in bytes of the interface from the ComObject part of the object, as
    /// a two's complement: an interface may stand in front of it.
    /// Chain: a value handed to the function.
    uint32_t data;
};

/// Walks @p map for @p iid and stores the interface with a new reference in @p out.
/// The unknown interface is always the object itself.
/// @return 0, result::NullPointer when @p out is null, result::NoInterface with null in @p out, or
///     the failure of a chain function of a row with an identifier
QX_API int32_t QueryInterfaceMap(const InterfaceData* map, ComObject* object, const GUID& iid,
                                 void** out);

/// The object behind @p unknown when its QueryInterface walks an interface map, as that of every
/// object of the library does; null for null and for any other object. Unlike a dynamic_cast of the
/// interface, this is safe for objects without run-time type information. Takes no reference.
QX_API ComObject* comObjectOf(const IQXUnknown* unknown);

} // namespace pcom
} // namespace qx
