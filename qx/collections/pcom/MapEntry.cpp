#include "qx/collections/pcom/MapEntry.h"

#include <qx/collections/pcom/detail/HashMapEntry.h>

namespace qx::collections::pcom {

MapEntry& entryOf(IQXUnknown* element) {
    return const_cast<MapEntry&>(entryOf(static_cast<const IQXUnknown*>(element)));
}

const MapEntry& entryOf(const IQXUnknown* element) {
    if (const HashMapEntry* const entry = HashMapEntry::from(element)) [[likely]]
        return *entry;
    return requireCast(qx::pcom::objectBehind<const MapEntry>(element));
}

} // namespace qx::collections::pcom
