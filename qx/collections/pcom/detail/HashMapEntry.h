#pragma once

#include <cstdint>
#include <utility>

#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/MapEntry.h>
#include <qx/core/ObjectBehind.h>
#include <qx/core/Reference.h>
#include <qx/core/Required.h>

namespace qx::collections::pcom {

/// An entry of a HashMap, made when somebody is to see it. From then on the map has its key and
/// value in it, and it keeps them when it has left the map.
///
/// compareTo, equals and hashCode do not look at what is in it: all entries are alike.
class HashMapEntry final : public Component<ComObject, MapEntry> {
public:
    /// Takes over a reference to the key and one to the value.
    HashMapEntry(IQXUnknown* key, IQXUnknown* value, uint32_t hash) noexcept
        : m_key(Reference<IQXUnknown>::attach(key)), m_value(Reference<IQXUnknown>::attach(value)),
          m_hash(hash) {}

    /// The entry that @p element is, which may be anything and null; null when it is none. Entries
    /// as iterators hand them out are known by their table.
    static const HashMapEntry* from(const IQXUnknown* element) {
        static const void* const table =
            qx::detail::functionTableOf(HashMapEntry(nullptr, nullptr, 0).GetUnknown());
        if (element && qx::detail::functionTableOf(element) == table) [[likely]]
            return static_cast<const HashMapEntry*>(static_cast<const ComObject*>(element));
        return qx::pcom::objectBehind<const HashMapEntry>(element);
    }

    int compareTo(const Object&) const override { return 0; }
    bool equals(const Object&) const override { return true; }
    Reference<IQXUnknown> getKey() const override { return m_key; }
    Reference<IQXUnknown> getValue() const override { return m_value; }
    uint32_t hashCode() const override { return 0; }
    Reference<IQXUnknown> setValue(IQXUnknown* value) override {
        Reference<IQXUnknown> other(value);
        m_value.swap(other);
        return other;
    }

    /// The map's hash of the key.
    uint32_t hashOfKey() const noexcept { return m_hash; }

private:
    friend struct HashMapSlot;

    Reference<IQXUnknown> m_key;
    Reference<IQXUnknown> m_value;
    const uint32_t m_hash;
};

} // namespace qx::collections::pcom
