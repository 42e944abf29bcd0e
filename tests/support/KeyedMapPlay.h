#pragma once

#include <type_traits>

#include <qx/collections/IntegerHashMap.h>
#include <qx/collections/StringHashMap.h>

#include "tests/support/MapModel.h"

namespace qxtest {

/// Plays operations that are read from bytes on a keyed map and on its plain model. Throws
/// std::logic_error when the two come apart.
template <class Map, class Rules>
class KeyedMapPlay : private CollectionPlay {
public:
    KeyedMapPlay(int capacity, float loadFactor, Failures failures = {})
        : CollectionPlay(std::move(failures)), m_map(capacity, loadFactor),
          m_model(capacity, loadFactor) {}

    void play(std::span<const uint8_t> bytes) {
        start(bytes);
        while (!isOver()) {
            step();
            require(m_map.getSize() == m_model.size, "size");
            require(m_map.isEmpty() == (m_model.size == 0), "isEmpty");
            require(m_map.getCapacity() == m_model.capacity(), "capacity");
        }
        requireSameContent();
    }

private:
    using Key = typename Rules::Key;
    static constexpr bool IsText = std::is_same_v<Key, std::u16string>;

    void step() {
        const int what = byte(), kind = what % 8, seldom = what / 8;
        if (kind == 0 && seldom < 4)
            return seldom == 0 ? clear() : requireSameContent();
        if (kind == 4 && seldom == 0)
            return requireSameKeys();
        kind == 1 || kind == 2 ? remove() : kind == 3 || kind == 4 ? look() : put();
    }

    /// Of many keys some that meet in a bucket and some that have one hash.
    Key key() {
        const int low = byte(), high = byte();
        if constexpr (!IsText) {
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
    /// Around the key, which is soon gone.
    static qx::String asArgument(const std::u16string& key) {
        return qx::String(key.data(), qx::String::AM_WRAP, static_cast<int32_t>(key.size()));
    }
    static int valueIn(const qx::Object* object) {
        return object ? dynamic_cast<const Item&>(*object).value() : Null;
    }

    void put() {
        const Key some = key();
        const auto argument = asArgument(some);
        const int value = byte() % 16 - 1;
        Item* const item = value == Null ? nullptr : new Item(value);
        if (expect("put", m_model.get(some), [&] { return valueIn(m_map.put(argument, item)); }))
            m_model.put(some, value);
    }
    void remove() {
        const Key some = key();
        const auto argument = asArgument(some);
        if (expect("remove", m_model.get(some), [&] { return valueIn(m_map.remove(argument)); }))
            m_model.remove(some);
    }
    void look() {
        const Key some = key();
        const int value = m_model.get(some);
        require(valueIn(m_map.get(asArgument(some))) == value, "get");
        require(m_map.peek(some) == m_map.get(asArgument(some)), "peek");
        if constexpr (IsText) {
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
    void requireSameContent() {
        typename ModelMap<Rules>::Content content, walked;
        m_map.forEach([&](auto key, const qx::Object* object) {
            content.emplace_back(Key(key), valueIn(object));
        });
        for (const auto& [key, object] : m_map)
            walked.emplace_back(Key(key), valueIn(object));
        require(content == m_model.content() && walked == content, "content");
    }
    /// A set of the keys stays as it is when the map changes.
    void requireSameKeys() {
        auto expected = m_model.keys();
        decltype(m_map.createKeySet()) keys;
        expect("createKeySet", 0, [&] { keys = m_map.createKeySet(); });
        if (!keys)
            return;
        put();
        std::vector<Key> found;
        for (const auto& key : *keys) {
            if constexpr (IsText)
                found.emplace_back(key->view());
            else
                found.push_back(key->toInt32());
        }
        std::ranges::sort(expected);
        std::ranges::sort(found);
        require(found == expected, "keys");
    }

    Map m_map;
    ModelMap<Rules> m_model;
};

using IntegerMapPlay = KeyedMapPlay<qx::collections::IntegerHashMap, IntegerRules>;
using StringMapPlay = KeyedMapPlay<qx::collections::StringHashMap, StringRules>;

} // namespace qxtest
