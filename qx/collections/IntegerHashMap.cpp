#include "qx/collections/IntegerHashMap.h"

#include <qx/collections/detail/KeyedTable.h>
#include <qx/collections/pcom/HashSet.h>

namespace qx::collections {

IntegerHashMap::IntegerHashMap(int capacity, float loadFactor)
    : m_table(std::make_unique<detail::KeyedTable<IntegerEntry>>(capacity, loadFactor)) {}

IntegerHashMap::~IntegerHashMap() {
    while (m_table->size() != 0) // a value that goes away may put others
        m_table->clear();
}

void IntegerHashMap::clear() { m_table->clear(); }

Reference<Object> IntegerHashMap::get(int key) const { return m_table->get(key); }

int IntegerHashMap::getSize() const { return m_table->size(); }

bool IntegerHashMap::isEmpty() const { return m_table->size() == 0; }

Reference<Object> IntegerHashMap::put(int key, Object* value) { return m_table->put(key, value); }

Reference<Object> IntegerHashMap::remove(int key) { return m_table->remove(key); }

Reference<const Set<Integer32>> IntegerHashMap::createKeySet() const {
    const auto keys = makeReference<pcom::HashSet>();
    forEach([&](int key, const Object*) { keys->add((new Integer32(key))->GetUnknown()); });
    return makeReference<Set<Integer32>>(keys.get());
}

int IntegerHashMap::getCapacity() const noexcept { return m_table->storage().length(); }

} // namespace qx::collections
