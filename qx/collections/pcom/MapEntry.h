#pragma once

#include <cstdint>

#include <qx/collections/pcom/AnyElement.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

/// A key of a map with the value that it leads to. The interface has no identifier: a map
/// recognises an entry of another map when its class is one over ComObject, and nothing else.
class QX_API MapEntry : public IQXUnknown {
public:
    virtual int compareTo(const Object& other) const = 0;
    virtual bool equals(const Object& other) const = 0;
    virtual Reference<IQXUnknown> getKey() const = 0;
    virtual Reference<IQXUnknown> getValue() const = 0;
    virtual uint32_t hashCode() const = 0;
    /// Replaces the value and returns the previous one.
    virtual Reference<IQXUnknown> setValue(IQXUnknown* value) = 0;

    Reference<IQXUnknown> setValue(const SomeElement auto& value) {
        return setValue(unknownFor(value));
    }

protected:
    ~MapEntry() = default;
};

/// The entry that an element of an entry set is, whichever map it comes from: faster than a cast,
/// and safe for elements that are anybody's.
/// @throws CastFailedException when it is none
QX_API MapEntry& entryOf(IQXUnknown* element);
QX_API const MapEntry& entryOf(const IQXUnknown* element);

} // namespace qx::collections::pcom
