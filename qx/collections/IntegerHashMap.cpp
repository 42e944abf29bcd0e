#include "qx/collections/IntegerHashMap.h"

#include <qx/collections/detail/KeyedTable.h>
#include <qx/collections/detail/ReleaseAll.h>
#include <qx/collections/pcom/HashSet.h>

namespace qx::collections {

IntegerHashMap::IntegerHashMap(int capacity, float loadFactor) : KeyedMap(capacity, loadFactor) {}

IntegerHashMap::~IntegerHashMap() {
    detail::releaseAll(*this, [this] { table().clear(); });
}

void IntegerHashMap::clear() { table().clear(); }

Reference<Object> IntegerHashMap::get(int key) const { return table().get(key); }

Object* IntegerHashMap::peek(int key) const noexcept { return table().peek(key); }

int IntegerHashMap::getSize() const { return table().size(); }

bool IntegerHashMap::isEmpty() const { return table().size() == 0; }

Reference<Object> IntegerHashMap::put(int key, Object* value) { return table().put(key, value); }

Reference<Object> IntegerHashMap::remove(int key) { return table().remove(key); }

Reference<const Set<Integer32>> IntegerHashMap::createKeySet() const {
    const auto keys = makeReference<pcom::HashSet>();
    forEach([&](int key, const Object*) { keys->add((new Integer32(key))->GetUnknown()); });
    return makeReference<Set<Integer32>>(keys.get());
}

} // namespace qx::collections
