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

/// What the plays of maps and of sets share.
class TablePlay : protected CollectionPlay {
protected:
    using Collection = qx::collections::pcom::Collection;
    using HashMap = qx::collections::pcom::HashMap;
    using HashSet = qx::collections::pcom::HashSet;

    TablePlay(ModelTable model, Failures failures)
        : CollectionPlay(std::move(failures)), m_model(std::move(model)) {}

    /// Numbers that often share buckets; sometimes null.
    int key() { return byte() % 4 == 0 ? byte() % 8 * 101 - 1 : byte() % 24 - 1; }
    std::vector<int> numbers() {
        std::vector<int> numbers;
        for (int count = byte() % 6; count-- > 0;)
            numbers.push_back(byte() % 2 ? key() : value());
        return numbers;
    }

    /// Plays what changes several entries and may fail among them.
    template <class Operation, class ModelOperation>
    void many(const char* what, Operation&& operation, ModelOperation&& onModel) {
        if (both(what, operation, onModel))
            return;
        readAgain();
        m_walks.clear();
    }
    /// Takes over to the model what a failure has left.
    virtual void readAgain() = 0;

    /// Removes, retains or looks for others in keys, those of a map or a set.
    void useKeys(Collection& keys) {
        const bool itself = byte() % 4 == 0;
        const std::vector<int> before = m_model.keys(), others = itself ? before : numbers();
        const auto list = listOf(others);
        const Collection& other = itself ? keys : static_cast<const Collection&>(*list);
        const int sought = key();
        const auto element = item(sought);
        switch (byte() % 4) {
        case 0:
            return many(
                "removeAll", [&] { return keys.removeAll(other); },
                [&] { return removeWhere([&](int n) { return contains(others, n); }); });
        case 1:
            return many(
                "retainAll", [&] { return keys.retainAll(other); },
                [&] { return removeWhere([&](int n) { return !contains(others, n); }); });
        case 2:
            both(
                "containsAll", [&] { return keys.containsAll(other); },
                [&] {
                    return std::ranges::all_of(others,
                                               [&](int each) { return contains(before, each); });
                });
            return;
        default:
            both(
                "contains", [&] { return keys.contains(element); },
                [&] { return contains(before, sought); });
            both(
                "remove", [&] { return keys.remove(element); },
                [&] { return m_model.remove(sought); });
        }
    }
    template <class Test>
    bool removeWhere(Test&& test) {
        bool any = false;
        for (const int number : m_model.keys())
            any = (test(number) && m_model.remove(number)) || any;
        return any;
    }

    enum class Part { Keys, Values, Entries };
    struct Walk {
        qx::Reference<qx::collections::pcom::Iterator> iterator;
        ModelMapIterator model;
        Part part;
    };

    /// Begins one more walk; there are more than a map keeps in mind.
    void walk(Collection& collection, Part part) {
        if (m_walks.size() == 7)
            m_walks.erase(m_walks.begin());
        m_walks.push_back({collection.createIterator(), ModelMapIterator(m_model), part});
    }
    Walk* anyWalk() {
        return m_walks.empty() ? nullptr
                               : &m_walks[static_cast<std::size_t>(byte()) % m_walks.size()];
    }
    /// @param check  (element, entry of the model, part) is true when they belong together
    template <class Check>
    void moveIterator(Check&& check) {
        Walk* const walk = anyWalk();
        if (!walk)
            return;
        if (byte() % 2)
            require(walk->iterator->hasNext() == walk->model.hasNext(), "hasNext");
        const auto expected = walk->model.next();
        Element element;
        const int answer = answerOf([&] { return element = walk->iterator->next(), 0; });
        require(answer == (expected ? 0 : int{Changed}), "next");
        require(!expected || check(element, expected, walk->part), "next element");
    }
    void removeThroughIterator() {
        if (Walk* const walk = anyWalk())
            both(
                "remove of an iterator", [&] { return walk->iterator->remove(), 0; },
                [&] { return walk->model.remove(); });
    }

    ModelTable m_model;
    std::vector<Walk> m_walks;
};

/// Plays operations that are read from bytes on a map of items, its views and an iterator.
class MapPlay : private TablePlay {
public:
    using MapEntry = qx::collections::pcom::MapEntry;

    MapPlay(int capacity, float load) : MapPlay(new HashMap(capacity, load), capacity, load) {}
    /// @param map  an empty map of this capacity and load
    MapPlay(qx::Reference<HashMap> map, int capacity, float load, Failures failures = {})
        : TablePlay({capacity, load}, std::move(failures)), m_map(std::move(map)) {}

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
            &Self::useKeySet,   &Self::useEntries,  &Self::useValues,
            &Self::useOtherMap, &Self::copyOrClear, &Self::startWalk,
            &Self::move,        &Self::move,        &Self::removeThroughIterator,
            &Self::setLast};
        (this->*steps[static_cast<std::size_t>(byte()) % std::size(steps)])();
    }
    void readAgain() override {
        m_model.become(m_map->getCapacity(), contentOf(*m_map));
        m_last.reset();
    }

    void put() {
        const int k = key(), v = value();
        IQXUnknown *const newKey = fresh(k), *const newValue = fresh(v);
        both(
            "put", [&] { return valueOf(m_map->put(newKey, newValue)); },
            [&] { return m_model.put(k, v); });
    }
    void search() {
        const int k = key(), v = value();
        const Element soughtKey = item(k), soughtValue = item(v);
        both(
            "containsKey", [&] { return m_map->containsKey(soughtKey); },
            [&] { return m_model.find(k) != nullptr; });
        both(
            "get", [&] { return valueOf(m_map->get(soughtKey)); }, [&] { return m_model.get(k); });
        both(
            "peek", [&] { return valueOf(m_map->peek(soughtKey)); },
            [&] { return m_model.get(k); });
        both(
            "containsValue", [&] { return m_map->containsValue(soughtValue); },
            [&] { return contains(m_model.parts(&ModelTable::Entry::value), v); });
        if (byte() % 2)
            both(
                "remove", [&] { return valueOf(m_map->remove(soughtKey)); },
                [&] {
                    const int removed = m_model.get(k);
                    m_model.remove(k);
                    return removed;
                });
    }
    void useKeySet() { useKeys(*m_map->createKeySet()); }
    void copyOrClear() {
        if (byte() % 8 == 0) {
            require(answerOf([&] { return m_map->clear(), 0; }) == 0, "clear needs no memory");
            return m_model.clear();
        }
        const HashMap copy(*m_map);
        ModelTable modelCopy(m_model.capacity(), m_model.load);
        for (const auto& entry : m_model.entries())
            modelCopy.put(entry->key, entry->value);
        require(contentOf(copy) == modelCopy.content(), "copy");
        both(
            "equals", [&] { return m_map->equals(copy); }, [] { return true; });
        both(
            "copies", [&] { return HashMap(*m_map, 0.5F).equals(HashMap(*m_map)); },
            [] { return true; });
    }
    void useEntries() {
        const auto entries = m_map->createEntrySet();
        HashMap other;
        const int k = key(), v = value();
        other.put(item(k), item(v));
        const auto entry = m_model.find(k);
        const Element element = other.createEntrySet()->createIterator()->next();
        both(
            "contains an entry", [&] { return entries->contains(element); },
            [&] { return entry && entry->value == v; });
        require(!entries->remove(element), "removes a foreign entry");
        require(!entries->retainAll(*entries), "retainAll of own entries");
        if (m_last)
            both(
                "remove of an entry", [&] { return entries->remove(m_last); },
                [&] {
                    return m_model.find(m_modelLast->key) == m_modelLast &&
                           m_model.remove(m_modelLast->key);
                });
    }
    void useValues() {
        const int v = value();
        const auto element = item(v);
        const auto collection = m_map->createValueCollection();
        both(
            "remove of a value", [&] { return collection->remove(element); },
            [&] {
                const auto entries = m_model.entries();
                const auto first = std::ranges::find_if(
                    entries, [&](const auto& entry) { return entry->value == v; });
                return first != entries.end() && m_model.remove((*first)->key);
            });
    }
    void useOtherMap() {
        HashMap other(7, 2.0F);
        ModelTable model(7, 2.0F);
        for (const int k : numbers()) {
            const int v = value();
            other.put(item(k), item(v));
            model.put(k, v);
        }
        both(
            "equals", [&] { return m_map->equals(other); },
            [&] { return sorted(m_model) == sorted(model); });
        both(
            "compareTo", [&] { return m_map->compareTo(other); },
            [&] { return orderOf(m_model, model); });
        require(m_map->hashCode() == 0, "hashCode");
        const bool itself = byte() % 4 == 0;
        many(
            "putAll", [&] { return m_map->putAll(itself ? *m_map : other), 0; },
            [&] {
                for (const auto& [k, v] : (itself ? m_model : model).content())
                    m_model.put(k, v);
                return 0;
            });
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

    void startWalk() {
        const auto part = static_cast<Part>(byte() % 3);
        if (part == Part::Entries)
            walk(*m_map->createEntrySet(), part);
        else if (part == Part::Keys)
            walk(*m_map->createKeySet(), part);
        else
            walk(*m_map->createValueCollection(), part);
    }
    void move() {
        moveIterator([&](const Element& element, const auto& expected, Part part) {
            if (part != Part::Entries)
                return valueOf(element) == (part == Part::Keys ? expected->key : expected->value);
            m_last = element;
            m_modelLast = expected;
            return isLast();
        });
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
        const int v = value();
        both(
            "setValue",
            [&] { return valueOf(dynamic_cast<MapEntry&>(*m_last).setValue(fresh(v))); },
            [&] { return std::exchange(m_modelLast->value, v); });
    }

    qx::Reference<HashMap> m_map;
    Element m_last;
    ModelTable::EntryPointer m_modelLast;
};

/// The same for a set.
class SetPlay : private TablePlay {
public:
    explicit SetPlay(qx::Reference<HashSet> set = new HashSet(), Failures failures = {})
        : TablePlay({101, 0.75F}, std::move(failures)), m_set(std::move(set)) {}

    void play(std::span<const uint8_t> bytes) {
        start(bytes);
        while (!isOver()) {
            step();
            require(m_set->getSize() == m_model.size, "size");
            require(values(*m_set) == m_model.keys(), "elements");
        }
    }

private:
    void step() {
        using Self = SetPlay;
        static constexpr void (Self::*steps[])() = {
            &Self::add,         &Self::add,         &Self::addAll,
            &Self::useElements, &Self::useElements, &Self::compareOrClear,
            &Self::startWalk,   &Self::move,        &Self::removeThroughIterator};
        (this->*steps[static_cast<std::size_t>(byte()) % std::size(steps)])();
    }
    void readAgain() override {
        ModelTable::Content content;
        for (const int number : values(*m_set))
            content.emplace_back(number, 0);
        int capacity = m_model.capacity();
        while (m_set->getSize() > static_cast<int>(static_cast<float>(capacity) * m_model.load))
            capacity = 2 * capacity + 1;
        m_model.become(capacity, content);
    }
    bool addToModel(int number) {
        const bool isNew = !m_model.find(number);
        m_model.put(number, 0);
        return isNew;
    }
    void add() {
        const int number = byte() % 2 ? key() : byte();
        IQXUnknown* const element = fresh(number);
        both(
            "add", [&] { return m_set->add(element); }, [&] { return addToModel(number); });
    }
    void addAll() {
        const bool itself = byte() % 4 == 0;
        const std::vector<int> added = itself ? m_model.keys() : numbers();
        const auto list = listOf(added);
        many(
            "addAll",
            [&] { return m_set->addAll(itself ? static_cast<const Collection&>(*m_set) : *list); },
            [&] {
                bool any = false;
                for (const int number : added)
                    any = addToModel(number) || any;
                return any;
            });
    }
    void useElements() { useKeys(*m_set); }
    void startWalk() { walk(*m_set, Part::Keys); }
    void move() {
        moveIterator([](const Element& element, const auto& expected, Part) {
            return valueOf(element) == expected->key;
        });
    }
    void compareOrClear() {
        if (byte() % 16 == 0) {
            m_set->clear();
            return m_model.clear();
        }
        HashSet other(*m_set);
        require(m_set->equals(other), "a copy");
        const int number = key();
        if (other.add(item(number)))
            require(m_set->compareTo(other) == -1 && !other.equals(*m_set), "a larger set");
        else if (other.remove(item(number)))
            require(m_set->compareTo(other) == -1 && other.compareTo(*m_set) == -1,
                    "a smaller set");
    }

    qx::Reference<HashSet> m_set;
};

} // namespace qxtest
