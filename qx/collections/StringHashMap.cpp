#include "qx/collections/StringHashMap.h"

#include <qx/collections/detail/KeyedTable.h>
#include <qx/collections/detail/ReleaseAll.h>
#include <qx/collections/pcom/HashSet.h>
#include <qx/core/CastTo.h>
#include <qx/core/TextView.h>
#include <qx/util/buffer/detail/WithUnits.h>

namespace qx::collections {

using qx::detail::isExactly;
using util::detail::withUnits;

StringHashMap::StringHashMap(int capacity, float loadFactor) : KeyedMap(capacity, loadFactor) {}

StringHashMap::~StringHashMap() {
    detail::releaseAll(*this, [this] { table().clear(); });
}

void StringHashMap::clear() { table().clear(); }

Reference<Object> StringHashMap::get(const char16_t* key, int length) const {
    return table().get(TextView(key, length));
}

Reference<Object> StringHashMap::get(const String& key) const {
    return withUnits(key, [this](std::u16string_view units) { return table().get(units); });
}

Object* StringHashMap::peek(std::u16string_view key) const noexcept { return table().peek(key); }

int StringHashMap::getSize() const { return table().size(); }

bool StringHashMap::containsKey(const char16_t* key, int length) const {
    return table().peek(TextView(key, length)) != nullptr;
}

bool StringHashMap::containsKey(const String& key) const {
    return withUnits(key,
                     [this](std::u16string_view units) { return table().peek(units) != nullptr; });
}

bool StringHashMap::isEmpty() const { return table().size() == 0; }

Reference<Object> StringHashMap::put(const String& key, Object* value) {
    // A value that nobody holds yet goes even when the key cannot be read.
    const Reference<Object> held(key.isInForeignBuffer() ? value : nullptr);
    const auto putUnits = [&](std::u16string_view units) { return table().put(units, value); };
    return withUnits(key, putUnits);
}

Reference<Object> StringHashMap::remove(const String& key) {
    return withUnits(key, [this](std::u16string_view units) { return table().remove(units); });
}

Reference<Object> StringHashMap::get(const char16_t* key) const {
    return isExactly(*this) ? table().get(TextView(key)) : get(String(key));
}

bool StringHashMap::containsKey(const char16_t* key) const {
    return isExactly(*this) ? table().peek(TextView(key)) != nullptr : containsKey(String(key));
}

Reference<Object> StringHashMap::put(const char16_t* key, Object* value) {
    if (isExactly(*this))
        return table().put(TextView(key), value);
    const Reference<Object> held(value); // goes even when there is no memory for the key
    return put(String(key), value);
}

Reference<Object> StringHashMap::remove(const char16_t* key) {
    return isExactly(*this) ? table().remove(TextView(key)) : remove(String(key));
}

Reference<const Set<String>> StringHashMap::createKeySet() const {
    const auto keys = makeReference<pcom::HashSet>();
    forEach([&](std::u16string_view key, const Object*) {
        keys->add((new String(key))->GetUnknown());
    });
    return makeReference<Set<String>>(keys.get());
}

} // namespace qx::collections
