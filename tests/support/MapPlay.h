#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/HashSet.h>
#include <qx/collections/pcom/MapEntry.h>

#include "tests/support/Items.h"
#include "tests/support/MapModel.h"
#include "tests/support/Play.h"

namespace qxtest {

/// What the plays of maps and of sets share.
class TablePlay : protected Play {
protected:
    using Collection = qx::collections::pcom::Collection;
    using Iterator = qx::collections::pcom::Iterator;

    explicit TablePlay(ModelMap model) : m_model(std::move(model)) {}

    /// Numbers that often share buckets; sometimes null.
    int key() { return byte() % 4 == 0 ? byte() % 8 * 101 - 1 : byte() % 24 - 1; }
    /// Few numbers, so that there are equal values; sometimes null.
    int value() { return byte() % 8 - 1; }
    std::vector<int> numbers() {
        std::vector<int> numbers;
        for (int count = byte() % 6; count-- > 0;)
            numbers.push_back(byte() % 2 ? key() : value());
        return numbers;
    }
    static bool contains(const std::vector<int>& numbers, int number) {
        return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
    }

    /// Removes, retains or looks for @p others in keys, those of a map or a set.
    void useKeys(Collection& keys) {
        const std::vector<int> before = m_model.parts(&ModelEntry::key), others = numbers();
        qx::collections::pcom::ArrayList list;
        for (const int other : others)
            list.add(item(other));
        bool any = false, all = true;
        switch (byte() % 4) {
        case 0:
            for (const int other : others)
                any = m_model.remove(other) || any;
            require(keys.removeAll(list) == any, "removeAll");
            break;
        case 1:
            for (const int number : before) {
                if (!contains(others, number))
                    any = m_model.remove(number) || any;
            }
            require(keys.retainAll(list) == any, "retainAll");
            break;
        case 2:
            for (const int other : others)
                all = all && contains(before, other);
            require(keys.containsAll(list) == all, "containsAll");
            break;
        default: {
            const int sought = key();
            require(keys.contains(item(sought)) == contains(before, sought), "contains");
            require(keys.remove(item(sought)) == m_model.remove(sought), "remove");
        }
        }
    }
    void useOwnKeys(Collection& keys) {
        require(!keys.retainAll(keys), "retainAll of itself");
        require(keys.containsAll(keys), "containsAll of itself");
        if (byte() % 4)
            return;
        require(keys.removeAll(keys) == (m_model.size > 0), "removeAll of itself");
        for (const int number : m_model.parts(&ModelEntry::key))
            m_model.remove(number);
    }

    void walk(Collection& collection) {
        m_iterator = collection.createIterator();
        m_modelIterator.emplace(m_model);
    }
    /// @param check  (element, entry of the model) is true when they belong together
    template <class Check>
    void moveIterator(Check&& check) {
        if (!m_iterator)
            return;
        if (byte() % 2)
            require(m_iterator->hasNext() == m_modelIterator->hasNext(), "hasNext");
        const Outcome expected = m_modelIterator->next();
        expect(expected, "next", [&] {
            const Element element = m_iterator->next();
            require(check(element, *m_modelIterator->lastReturned), "next element");
        });
    }
    void removeThroughIterator() {
        if (m_iterator)
            expect(m_modelIterator->remove(), "remove of an iterator",
                   [&] { m_iterator->remove(); });
    }

    ModelMap m_model;
    qx::Reference<Iterator> m_iterator;
    std::optional<ModelMapIterator> m_modelIterator;
};

/// Plays operations that are read from bytes on a map of items, its views and an iterator.
class MapPlay : private TablePlay {
public:
    using HashMap = qx::collections::pcom::HashMap;
    using MapEntry = qx::collections::pcom::MapEntry;

    MapPlay(int capacity, float load)
        : TablePlay(ModelMap(static_cast<std::size_t>(capacity), load)),
          m_map(new HashMap(capacity, load)) {}

    void play(std::span<const uint8_t> bytes) {
        start(bytes);
        while (!isOver()) {
            step();
            require(m_map->getSize() == m_model.size, "size");
            require(m_map->getCapacity() == static_cast<int>(m_model.buckets.size()), "capacity");
            require(values(*m_map->createKeySet()) == m_model.parts(&ModelEntry::key), "keys");
            require(values(*m_map->createValueCollection()) == m_model.parts(&ModelEntry::value),
                    "values");
        }
    }

private:
    enum class Part { Keys, Values, Entries };

    void step() {
        switch (byte() % 16) {
        case 0:
        case 1:
        case 2:
        case 3: {
            const int k = key(), v = value();
            require(valueOf(m_map->put(item(k), item(v))) == m_model.put(k, v), "put");
            break;
        }
        case 4: {
            const int k = key(), removed = m_model.get(k);
            m_model.remove(k);
            require(valueOf(m_map->remove(item(k))) == removed, "remove");
            break;
        }
        case 5:
            search();
            break;
        case 6:
            useKeys(*m_map->createKeySet());
            break;
        case 7:
            byte() % 2 ? useOwnKeys(*m_map->createKeySet()) : useEntries();
            break;
        case 8:
            useValues();
            break;
        case 9:
            useOtherMap();
            break;
        case 10:
            if (byte() % 8 == 0) {
                m_map->clear();
                m_model.clear();
            }
            break;
        case 11:
            startWalk();
            break;
        case 12:
        case 13:
            move();
            break;
        case 14:
            removeThroughIterator();
            break;
        default:
            setLast();
        }
    }

    void search() {
        const int k = key(), v = value();
        require(m_map->containsKey(item(k)) == (m_model.find(k) != nullptr), "containsKey");
        require(valueOf(m_map->get(item(k))) == m_model.get(k), "get");
        require(m_map->containsValue(item(v)) == contains(m_model.parts(&ModelEntry::value), v),
                "containsValue");
    }
    void useEntries() {
        const auto entries = m_map->createEntrySet();
        HashMap other;
        const int k = key(), v = value();
        other.put(item(k), item(v));
        const auto entry = m_model.find(k);
        const Element element = other.createEntrySet()->createIterator()->next();
        require(entries->contains(element) == (entry && entry->value == v), "contains an entry");
        require(!entries->remove(element), "removes a foreign entry");
        require(!entries->retainAll(*entries), "retainAll of own entries");
        if (m_last) {
            const bool own = m_model.find(m_modelLast->key) == m_modelLast;
            require(entries->remove(m_last) == own, "remove of an entry");
            if (own)
                m_model.remove(m_modelLast->key);
        }
    }
    void useValues() {
        const auto collection = m_map->createValueCollection();
        const int v = value();
        ModelEntryPointer first;
        for (const auto& entry : m_model.entries()) {
            if (!first && entry->value == v)
                first = entry;
        }
        require(collection->remove(item(v)) == (first != nullptr), "remove of a value");
        if (first)
            m_model.remove(first->key);
    }
    void useOtherMap() {
        HashMap other(7, 2.0F);
        ModelMap model(7, 2.0F);
        for (const int k : numbers()) {
            const int v = value();
            other.put(item(k), item(v));
            model.put(k, v);
        }
        const bool equal = std::ranges::all_of(m_model.entries(), [&](const auto& entry) {
            const auto found = model.find(entry->key);
            return found && found->value == entry->value;
        });
        require(m_map->equals(other) == (equal && m_model.size == model.size), "equals");
        switch (byte() % 4) {
        case 0:
            m_map->putAll(*m_map);
            require(m_map->equals(*m_map), "equal to itself");
            break;
        case 1: {
            const HashMap copy(*m_map);
            ModelMap modelCopy(m_model.buckets.size(), m_model.load);
            for (const auto& entry : m_model.entries())
                modelCopy.put(entry->key, entry->value);
            require(values(*copy.createKeySet()) == modelCopy.parts(&ModelEntry::key), "copy");
            require(m_map->equals(copy) && HashMap(*m_map, 0.5F).equals(*m_map), "copies");
            break;
        }
        default:
            m_map->putAll(other);
            for (const auto& entry : model.entries())
                m_model.put(entry->key, entry->value);
        }
    }

    void startWalk() {
        m_part = static_cast<Part>(byte() % 3);
        if (m_part == Part::Entries)
            walk(*m_map->createEntrySet());
        else if (m_part == Part::Keys)
            walk(*m_map->createKeySet());
        else
            walk(*m_map->createValueCollection());
    }
    void move() {
        moveIterator([&](const Element& element, const ModelEntry& expected) {
            if (m_part != Part::Entries)
                return valueOf(element) == (m_part == Part::Keys ? expected.key : expected.value);
            m_last = element;
            m_modelLast = m_modelIterator->lastReturned;
            return matches(element, expected);
        });
    }
    static bool matches(const Element& element, const ModelEntry& expected) {
        const auto& entry = dynamic_cast<const MapEntry&>(*element);
        return valueOf(entry.getKey()) == expected.key &&
               valueOf(entry.getValue()) == expected.value;
    }
    /// Changes an entry that may long have left the map.
    void setLast() {
        if (!m_last)
            return;
        require(matches(m_last, *m_modelLast), "entry");
        const int v = value();
        const int previous = std::exchange(m_modelLast->value, v);
        require(valueOf(dynamic_cast<MapEntry&>(*m_last).setValue(item(v))) == previous,
                "setValue");
    }

    qx::Reference<HashMap> m_map;
    Part m_part = Part::Keys;
    Element m_last;
    ModelEntryPointer m_modelLast;
};

/// The same for a set.
class SetPlay : private TablePlay {
public:
    using HashSet = qx::collections::pcom::HashSet;

    SetPlay() : TablePlay(ModelMap(101, 0.75F)), m_set(new HashSet()) {}

    void play(std::span<const uint8_t> bytes) {
        start(bytes);
        while (!isOver()) {
            step();
            require(m_set->getSize() == m_model.size, "size");
            require(values(*m_set) == m_model.parts(&ModelEntry::key), "elements");
        }
    }

private:
    void step() {
        switch (byte() % 10) {
        case 0:
        case 1:
            add(byte() % 2 ? key() : byte());
            break;
        case 2: {
            const std::vector<int> added = numbers();
            qx::collections::pcom::ArrayList list;
            bool any = false;
            for (const int number : added) {
                list.add(item(number));
                any = addToModel(number) || any;
            }
            require(m_set->addAll(list) == any, "addAll");
            break;
        }
        case 3:
            useKeys(*m_set);
            break;
        case 4:
            require(!m_set->addAll(*m_set), "addAll of itself");
            useOwnKeys(*m_set);
            break;
        case 5:
            compare();
            break;
        case 6:
            if (byte() % 16 == 0) {
                m_set->clear();
                m_model.clear();
            }
            break;
        case 7:
            walk(*m_set);
            break;
        case 8:
            moveIterator([](const Element& element, const ModelEntry& expected) {
                return valueOf(element) == expected.key;
            });
            break;
        default:
            removeThroughIterator();
        }
    }
    bool addToModel(int number) {
        const bool isNew = !m_model.find(number);
        m_model.put(number, 0);
        return isNew;
    }
    void add(int number) { require(m_set->add(item(number)) == addToModel(number), "add"); }
    void compare() {
        HashSet other(*m_set);
        require(m_set->equals(other), "a copy");
        const int number = key();
        if (other.add(item(number)))
            require(m_set->compareTo(other) == -1 && !other.equals(*m_set), "a larger set");
        else if (other.remove(item(number)))
            require(m_set->compareTo(other) != 0 && other.compareTo(*m_set) == -1, "a smaller set");
    }

    qx::Reference<HashSet> m_set;
};

} // namespace qxtest
