#pragma once

#include <cstdint>
#include <iterator>
#include <list>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <qx/collections/IntegerHashMap.h>
#include <qx/collections/StringHashMap.h>

#include "tests/support/Items.h"
#include "tests/support/Play.h"

namespace qxtest {

inline uint32_t plainHash(int key) { return static_cast<uint32_t>(key); }
inline uint32_t plainHash(std::u16string_view key) {
    const std::size_t step = key.size() < 64 ? 1 : key.size() / 32;
    uint32_t hash = 0;
    for (std::size_t i = 0; i < key.size(); i += step)
        hash = hash * 37 + key[i];
    return hash;
}

/// A keyed map as a table of lists: slow, but by the rules that tell the order of its entries.
template <class Key>
class KeyedMapModel {
public:
    using Entries = std::vector<std::pair<Key, int>>;

    KeyedMapModel(int capacity, float loadFactor)
        : m_loadFactor(loadFactor), m_buckets(static_cast<std::size_t>(capacity)) {}

    /// The value, Null when there is none.
    int get(const Key& key) const {
        for (const auto& [other, value] : m_buckets[bucketOf(key)])
            if (other == key)
                return value;
        return Null;
    }
    int put(const Key& key, int value) {
        for (auto& entry : m_buckets[bucketOf(key)])
            if (entry.first == key)
                return std::exchange(entry.second, value);
        if (m_size >= static_cast<int>(static_cast<float>(m_buckets.size()) * m_loadFactor))
            rehash();
        m_buckets[bucketOf(key)].emplace_back(key, value);
        ++m_size;
        return Null;
    }
    int remove(const Key& key) {
        auto& bucket = m_buckets[bucketOf(key)];
        for (auto entry = bucket.begin(); entry != bucket.end(); ++entry) {
            if (entry->first == key) {
                const int value = entry->second;
                bucket.erase(entry);
                --m_size;
                return value;
            }
        }
        return Null;
    }
    void clear() {
        for (auto& bucket : m_buckets)
            bucket.clear();
        m_size = 0;
    }
    int size() const { return m_size; }
    int capacity() const { return static_cast<int>(m_buckets.size()); }
    Entries entries() const {
        Entries all;
        for (const auto& bucket : m_buckets)
            all.insert(all.end(), bucket.begin(), bucket.end());
        return all;
    }

private:
    using Bucket = std::list<std::pair<Key, int>>;

    std::size_t bucketOf(const Key& key) const { return plainHash(key) % m_buckets.size(); }
    void rehash() {
        std::vector<Bucket> old(2 * m_buckets.size() + 1);
        old.swap(m_buckets);
        for (auto bucket = old.rbegin(); bucket != old.rend(); ++bucket)
            for (auto& entry : *bucket)
                m_buckets[bucketOf(entry.first)].push_back(std::move(entry));
    }

    float m_loadFactor;
    int m_size = 0;
    std::vector<Bucket> m_buckets;
};

/// The entries of a keyed map in the order of its walk, with the values of its items.
template <class Key, class Map>
std::vector<std::pair<Key, int>> entriesOf(const Map& map) {
    std::vector<std::pair<Key, int>> entries;
    map.forEach([&](auto key, const qx::Object* object) {
        entries.emplace_back(Key(key), object ? dynamic_cast<const Item&>(*object).value() : Null);
    });
    return entries;
}

/// Plays operations that are read from bytes on a keyed map and on its plain model. Throws
/// std::logic_error when the two come apart.
template <class Map, class Key>
class KeyedMapPlay : private Play {
public:
    KeyedMapPlay(int capacity, float loadFactor)
        : m_map(capacity, loadFactor), m_model(capacity, loadFactor) {}

    void play(std::span<const uint8_t> bytes) {
        start(bytes);
        while (!isOver()) {
            step();
            require(m_map.getSize() == m_model.size(), "size");
            require(m_map.isEmpty() == (m_model.size() == 0), "isEmpty");
            require(m_map.getCapacity() == m_model.capacity(), "capacity");
        }
        requireSameContent();
    }

private:
    void step() {
        const int what = byte();
        switch (what % 8) {
        case 0:
            return what / 8 == 0 ? clear() : requireSameContent();
        case 1:
        case 2:
            return remove();
        case 3:
            return look();
        case 4:
            return what / 8 == 0 ? requireSameKeys() : look();
        default:
            return put();
        }
    }

    /// Of many keys some that meet in a bucket and some that have one hash.
    Key key() {
        const int low = byte(), high = byte();
        if constexpr (std::is_same_v<Key, int>) {
            return high % 4 == 0 ? low * 101 - 13 * 101 : low + 256 * (high % 8) - 300;
        } else {
            // Of a long text only every second unit and more counts for the hash.
            static constexpr std::size_t lengths[] = {0, 1, 2, 5, 23, 24, 25, 63, 64, 65, 96, 200};
            Key text(lengths[static_cast<std::size_t>(high) % std::size(lengths)],
                     static_cast<char16_t>(u'a' + low % 4));
            if (!text.empty())
                text[static_cast<std::size_t>(low / 4) % text.size()] = u'\0';
            return text;
        }
    }
    static const auto& asArgument(const int& key) { return key; }
    static qx::String asArgument(const std::u16string& key) {
        return qx::String(std::u16string_view(key));
    }
    static int valueIn(const qx::Reference<qx::Object>& object) {
        return object ? dynamic_cast<const Item&>(*object).value() : Null;
    }

    void put() {
        const Key some = key();
        const int value = byte() % 16 - 1;
        const auto old = m_map.put(asArgument(some), value == Null ? nullptr : new Item(value));
        require(valueIn(old) == m_model.put(some, value), "put");
    }
    void remove() {
        const Key some = key();
        require(valueIn(m_map.remove(asArgument(some))) == m_model.remove(some), "remove");
    }
    void look() {
        const Key some = key();
        const int value = m_model.get(some);
        require(valueIn(m_map.get(asArgument(some))) == value, "get");
        if constexpr (std::is_same_v<Key, std::u16string>) {
            const auto length = static_cast<int>(some.size());
            require(valueIn(m_map.get(some.data(), length)) == value, "get of units");
            require(m_map.containsKey(some.data(), length) == (value != Null), "contains units");
            require(m_map.containsKey(asArgument(some)) == (value != Null), "contains");
        }
    }
    void clear() {
        m_map.clear();
        m_model.clear();
    }
    void requireSameContent() { require(entriesOf<Key>(m_map) == m_model.entries(), "content"); }
    void requireSameKeys() {
        const auto keys = m_map.createKeySet();
        require(keys->getSize() == m_model.size(), "size of the key set");
        for (const auto& key : *keys) {
            const auto found = m_map.get(*key);
            if constexpr (std::is_same_v<Key, int>)
                require(valueIn(found) == m_model.get(key->toInt32()), "key");
            else
                require(valueIn(found) == m_model.get(std::u16string(key->view())), "key");
        }
    }

    Map m_map;
    KeyedMapModel<Key> m_model;
};

using IntegerMapPlay = KeyedMapPlay<qx::collections::IntegerHashMap, int>;
using StringMapPlay = KeyedMapPlay<qx::collections::StringHashMap, std::u16string>;

} // namespace qxtest
