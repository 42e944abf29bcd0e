#pragma once

#include <vector>

#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/HashSet.h>
#include <qx/collections/pcom/MapEntry.h>

#include "tests/support/MapModel.h"

namespace qxtest {

/// Keys and values in the order of the map.
inline ModelTable::Content contentOf(const qx::collections::pcom::Map& map) {
    ModelTable::Content content;
    for (const auto& [key, value] : map)
        content.emplace_back(valueOf(key), valueOf(value));
    return content;
}

/// Plays operations that are read from bytes on a map of items, its views and iterators, and on
/// sets of its keys.
class MapPlay : private CollectionPlay {
public:
    using Collection = qx::collections::pcom::Collection;
    using HashMap = qx::collections::pcom::HashMap;
    using HashSet = qx::collections::pcom::HashSet;
    using MapEntry = qx::collections::pcom::MapEntry;

    MapPlay(int capacity, float load) : MapPlay(new HashMap(capacity, load), capacity, load) {}
    /// @param map  an empty map of this capacity and load
    MapPlay(qx::Reference<HashMap> map, int capacity, float load, Failures failures = {})
        : CollectionPlay(std::move(failures)), m_map(std::move(map)), m_model{capacity, load} {}

    void play(std::span<const uint8_t> bytes) {
        start(bytes);
        while (!isOver()) {
            step();
            require(m_map->getSize() == m_model.size, "size");
            require(m_map->getCapacity() == m_model.capacity(), "capacity");
            require(values(*m_map->createKeySet()) == m_model.keys(), "keys");
            require(values(*m_map->createValueCollection()) ==
                        m_model.parts(&ModelTable::Entry::value),
                    "values");
        }
    }

private:
    void step() {
        using Self = MapPlay;
        static constexpr void (Self::*steps[])() = {
            &Self::put,         &Self::put,         &Self::put,
            &Self::put,         &Self::search,      &Self::search,
            &Self::useKeys,     &Self::useEntries,  &Self::useValues,
            &Self::useOtherMap, &Self::copyOrClear, &Self::startWalk,
            &Self::move,        &Self::move,        &Self::removeThroughIterator,
            &Self::setLast,     &Self::useSet};
        (this->*steps[static_cast<std::size_t>(byte()) % std::size(steps)])();
    }
    /// Numbers that often share buckets; sometimes null.
    int key() { return byte() % 4 == 0 ? byte() % 8 * 101 - 1 : byte() % 24 - 1; }
    std::vector<int> numbers() {
        std::vector<int> numbers;
        for (int count = byte() % 6; count-- > 0;)
            numbers.push_back(byte() % 2 ? key() : value());
        return numbers;
    }

    /// Removes, retains or looks for others in the keys.
    void useKeys() {
        const auto keySet = m_map->createKeySet();
        Collection& keys = *keySet;
        const bool itself = byte() % 4 == 0;
        const std::vector<int> others = itself ? m_model.keys() : numbers();
        const auto list = listOf(others);
        const Arguments them{itself ? keys : static_cast<const Collection&>(*list), others};
        const Argument it = sought(key());
        const int what = byte() % 4;
        if (what < 3)
            return useMany(what, keys, m_keys, them) ? void() : readAgain();
        both("contains", keys, m_keys, [&](auto& its) { return its.contains(it); });
        both("remove", keys, m_keys, [&](auto& its) { return its.remove(it); });
    }

    enum class Part { Keys, Values, Entries };
    struct Walk {
        qx::Reference<qx::collections::pcom::Iterator> iterator;
        ModelMapIterator model;
        Part part;
    };

    Walk* anyWalk() {
        return m_walks.empty() ? nullptr
                               : &m_walks[static_cast<std::size_t>(byte()) % m_walks.size()];
    }
    void removeThroughIterator() {
        if (Walk* const walk = anyWalk())
            both("remove of an iterator", *walk->iterator, walk->model,
                 [](auto& its) { return its.remove(); });
    }

    /// Takes over to the model what a failure has left.
    void readAgain() {
        m_model.become(m_map->getCapacity(), contentOf(*m_map));
        m_walks.clear();
        m_last.reset();
    }

    void put() {
        const int k = key(), v = value();
        const bool ownsKey = byte() % 2; // one of the two is nobody's
        const Argument owned = sought(ownsKey ? k : v), other = fresh(ownsKey ? v : k);
        const Argument &newKey = ownsKey ? owned : other, &newValue = ownsKey ? other : owned;
        both("put", *m_map, m_model, [&](auto& its) { return its.put(newKey, newValue); });
    }
    void search() {
        const Argument k = sought(key()), v = sought(value());
        both("containsKey", *m_map, m_model, [&](auto& its) { return its.containsKey(k); });
        both("get", *m_map, m_model, [&](auto& its) { return its.get(k); });
        both("peek", *m_map, m_model, [&](auto& its) { return its.peek(k); });
        both("containsValue", *m_map, m_model, [&](auto& its) { return its.containsValue(v); });
        if (byte() % 2)
            both("remove", *m_map, m_model, [&](auto& its) { return its.remove(k); });
    }
    /// A set of the keys is a map without values.
    void useSet() {
        HashSet set(*m_map->createKeySet());
        const HashSet copy(set);
        require(std::ranges::is_permutation(values(set), m_model.keys()), "a set of the keys");
        const int number = byte() % 2 ? key() : byte();
        const bool isNew = !m_model.containsKey(number);
        const Argument it = sought(number), added = fresh(number);
        if (!expect("add", isNew, [&] { return set.add(added); }) || !isNew)
            return require(set.equals(copy) && set.getSize() == m_model.size, "an unchanged set");
        require(copy.compareTo(set) == -1 && set.compareTo(copy) == -1, "a larger set");
        require(set.contains(it) && set.remove(it) && !set.contains(it), "the new element");
        require(set.equals(copy) && !set.remove(it), "the same set");
        set.clear();
        require(set.isEmpty() && !copy.equals(set) == (m_model.size > 0), "no element");
    }
    void copyOrClear() {
        if (byte() % 8 == 0) {
            require(expect("clear", 0, [&] { m_map->clear(); }), "clear needs no memory");
            return m_model.clear();
        }
        HashMap copy(*m_map);
        ModelTable modelCopy(m_model.capacity(), m_model.load);
        for (const auto& entry : m_model.entries())
            modelCopy.put(entry->key, entry->value);
        require(contentOf(copy) == modelCopy.content(), "copy");
        expect("equals", true, [&] { return m_map->equals(copy); });
        expect("copies", true, [&] { return HashMap(*m_map, 0.5F).equals(copy); });
        const int room = m_model.size > 5 ? 2 * m_model.size : 11;
        expect("room of a copy", room, [&] { return HashMap(*m_map, 0.5F).getCapacity(); });
        const Argument it = sought(key());
        both("put in a copy", copy, modelCopy, [&](auto& its) { return its.put(it, it); });
        require(copy.getCapacity() == modelCopy.capacity(), "capacity of a copy");
    }
    void useEntries() {
        const auto entries = m_map->createEntrySet();
        HashMap other;
        const int k = key(), v = value();
        other.put(item(k), item(v));
        const auto entry = m_model.find(k);
        const Element element = other.createEntrySet()->createIterator()->next();
        expect("contains an entry", entry && entry->value == v,
               [&] { return entries->contains(element); });
        require(!entries->remove(element), "removes a foreign entry");
        require(!entries->retainAll(*entries), "retainAll of own entries");
        if (!m_last)
            return;
        const bool isThere = m_model.find(m_modelLast->key) == m_modelLast;
        if (expect("remove of an entry", isThere, [&] { return entries->remove(m_last); }) &&
            isThere)
            m_model.remove(m_modelLast->key);
    }
    void useValues() {
        const Argument v = sought(value());
        const auto collection = m_map->createValueCollection();
        const auto first = m_model.findValue(v);
        if (expect("remove of a value", !!first, [&] { return collection->remove(v); }) && first)
            m_model.remove(first->key);
    }
    void useOtherMap() {
        HashMap other(7, 2.0F);
        ModelTable model(7, 2.0F);
        for (const int k : numbers()) {
            const int v = value();
            other.put(item(k), item(v));
            model.put(k, v);
        }
        expect("equals", sorted(m_model) == sorted(model), [&] { return m_map->equals(other); });
        expect("compareTo", orderOf(m_model, model), [&] { return m_map->compareTo(other); });
        require(m_map->hashCode() == 0, "hashCode");
        const bool itself = byte() % 4 == 0;
        if (!expect("putAll", 0, [&] { m_map->putAll(itself ? *m_map : other); }))
            return readAgain();
        for (const auto& [k, v] : (itself ? m_model : model).content())
            m_model.put(k, v);
    }
    /// By the values in the order of the left map, then by size.
    static int orderOf(const ModelTable& left, ModelTable& right) {
        for (const auto& [k, v] : left.content()) {
            const int other = right.get(k);
            if (v == Null && !right.find(k))
                return 1;
            if (v != other)
                return v < other || other == Null ? -1 : 1; // either way where one is null
        }
        return left.size - right.size;
    }
    static ModelTable::Content sorted(const ModelTable& model) {
        auto content = model.content();
        std::ranges::sort(content);
        return content;
    }

    /// Begins one more walk; there are more than a map keeps in mind.
    void startWalk() {
        const auto part = static_cast<Part>(byte() % 3);
        if (m_walks.size() == 7)
            m_walks.erase(m_walks.begin());
        m_walks.push_back({part == Part::Entries ? m_map->createEntrySet()->createIterator()
                           : part == Part::Keys  ? m_map->createKeySet()->createIterator()
                                                 : m_map->createValueCollection()->createIterator(),
                           ModelMapIterator(m_model), part});
    }
    void move() {
        Walk* const walk = anyWalk();
        if (!walk)
            return;
        if (byte() % 2)
            require(walk->iterator->hasNext() == walk->model.hasNext(), "hasNext");
        Element element;
        const int answer = answerOf([&] { return element = walk->iterator->next(), 0; });
        if (answer == Failed && (walk->part == Part::Entries || m_walks.size() > 4))
            return; // for want of memory for an entry that is to be shown, or held by a fifth walk
        const auto expected = walk->model.next();
        require(answer == (expected ? 0 : int{Changed}), "next");
        if (expected && walk->part == Part::Entries) {
            m_last = element;
            m_modelLast = expected;
            require(isLast(), "next entry");
        } else if (expected) {
            require(valueOf(element) ==
                        (walk->part == Part::Keys ? expected->key : expected->value),
                    "next element");
        }
    }
    bool isLast() const {
        const auto& entry = dynamic_cast<const MapEntry&>(*m_last);
        return valueOf(entry.getKey()) == m_modelLast->key &&
               valueOf(entry.getValue()) == m_modelLast->value;
    }
    /// Changes an entry that may long have left the map.
    void setLast() {
        if (!m_last)
            return;
        require(isLast(), "entry");
        const Argument v = fresh(value());
        if (expect("setValue", m_modelLast->value,
                   [&] { return dynamic_cast<MapEntry&>(*m_last).setValue(v); }))
            m_modelLast->value = v;
    }

    const qx::Reference<HashMap> m_map;
    ModelTable m_model;
    ModelKeys m_keys{m_model};
    std::vector<Walk> m_walks;
    Element m_last;
    ModelTable::EntryPointer m_modelLast;
};

} // namespace qxtest
