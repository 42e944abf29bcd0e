#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/CollectionPlay.h"

namespace qxtest {

/// What is special about the maps of elements and, with the keys alone, the sets: the order in
/// which they are walked, and the hash of null.
struct ElementRules {
    using Key = int;
    static constexpr bool NewestFirst = true;
    static uint32_t hash(int key) { return static_cast<uint32_t>(std::max(key, 0)); }
};

struct IntegerRules {
    using Key = int;
    static constexpr bool NewestFirst = false;
    static uint32_t hash(int key) { return static_cast<uint32_t>(key); }
};

struct StringRules {
    using Key = std::u16string;
    static constexpr bool NewestFirst = false;
    static uint32_t hash(std::u16string_view key) {
        const std::size_t step = key.size() < 64 ? 1 : key.size() / 32;
        uint32_t hash = 0;
        for (std::size_t i = 0; i < key.size(); i += step)
            hash = hash * 37 + key[i];
        return hash;
    }
};

/// A chained hash table in vectors that counts its changes: the plain model of all maps, slow, but
/// by the rules that tell the order of its entries. Values are the numbers of items.
template <class Rules>
struct ModelMap {
    using Key = typename Rules::Key;
    struct Entry {
        Key key;
        int value;
    };
    using EntryPointer = std::shared_ptr<Entry>;
    using Chain = std::vector<EntryPointer>; // the key put last comes last
    using Content = std::vector<std::pair<Key, int>>;

    std::vector<Chain> buckets;
    float load;
    unsigned int changes = 0;
    int size = 0;

    ModelMap(int length, float loadFactor)
        : buckets(static_cast<std::size_t>(length)), load(loadFactor) {}

    int capacity() const { return static_cast<int>(buckets.size()); }
    Chain& chainOf(const Key& key) { return buckets[Rules::hash(key) % buckets.size()]; }
    /// The first of some entries of which a part is that.
    static EntryPointer firstOf(const Chain& chain, auto part, const auto& sought) {
        const auto found = std::ranges::find_if(
            chain, [&](const auto& entry) { return (*entry).*part == sought; });
        return found == chain.end() ? nullptr : *found;
    }
    EntryPointer find(const Key& key) { return firstOf(chainOf(key), &Entry::key, key); }
    bool containsKey(const Key& key) { return find(key) != nullptr; }
    /// The first entry with that value in the order of a walk.
    EntryPointer findValue(int value) const { return firstOf(entries(), &Entry::value, value); }
    bool containsValue(int value) const { return findValue(value) != nullptr; }
    int get(const Key& key) {
        const auto entry = find(key);
        return entry ? entry->value : Null;
    }
    int peek(const Key& key) { return get(key); }

    /// The entries in the order of a walk.
    Chain entries() const { return chained(Rules::NewestFirst); }
    Content content() const {
        Content content;
        for (const auto& entry : entries())
            content.emplace_back(entry->key, entry->value);
        return content;
    }
    template <class Part>
    std::vector<Part> parts(Part Entry::*part) const {
        std::vector<Part> parts;
        for (const auto& entry : entries())
            parts.push_back((*entry).*part);
        return parts;
    }
    std::vector<Key> keys() const { return parts(&Entry::key); }

    /// Returns the previous value.
    int put(const Key& key, int value) {
        if (const auto entry = find(key))
            return std::exchange(entry->value, value);
        ++changes;
        if (size >= static_cast<int>(std::min(static_cast<float>(buckets.size()) * load, 2e9f))) {
            const Chain moved = chained(true);
            buckets = std::vector<Chain>(2 * buckets.size() + 1);
            for (const auto& entry : moved)
                chainOf(entry->key).push_back(entry);
        }
        chainOf(key).push_back(std::make_shared<Entry>(Entry{key, value}));
        ++size;
        return Null;
    }
    /// Returns the value.
    int remove(const Key& key) {
        const auto entry = find(key);
        if (!entry)
            return Null;
        std::erase(chainOf(key), entry);
        ++changes;
        --size;
        return entry->value;
    }
    void clear() {
        buckets = std::vector<Chain>(buckets.size());
        size = 0;
    }
    /// Has the content of another from now on.
    void become(int capacity, const Content& content) {
        buckets = std::vector<Chain>(static_cast<std::size_t>(capacity));
        for (const auto& [key, value] : content) {
            Chain& chain = chainOf(key);
            chain.insert(Rules::NewestFirst ? chain.begin() : chain.end(),
                         std::make_shared<Entry>(Entry{key, value}));
        }
        size = static_cast<int>(content.size());
        ++changes;
    }

private:
    Chain chained(bool lastBucketFirst) const {
        Chain all;
        for (std::size_t i = 0; i < buckets.size(); ++i) {
            Chain chain = buckets[lastBucketFirst ? buckets.size() - 1 - i : i];
            if (Rules::NewestFirst)
                std::ranges::reverse(chain);
            all.insert(all.end(), chain.begin(), chain.end());
        }
        return all;
    }
};

using ModelTable = ModelMap<ElementRules>;

/// The keys of a model map, as a set of numbers.
struct ModelKeys {
    ModelTable& map;

    bool contains(int key) const { return map.containsKey(key); }
    bool containsAll(const Arguments& others) const {
        return std::ranges::all_of(others.numbers, [&](int key) { return contains(key); });
    }
    bool remove(int key) const { return contains(key) && (map.remove(key), true); }
    bool removeAll(const Arguments& others) const { return removeThose(others, true); }
    bool retainAll(const Arguments& others) const { return removeThose(others, false); }

private:
    bool removeThose(const Arguments& others, bool contained) const {
        const int before = map.size;
        for (const int key : map.keys()) {
            if (others.contain(key) == contained)
                map.remove(key);
        }
        return map.size < before;
    }
};

/// An iterator of a model map.
struct ModelMapIterator {
    ModelTable* map;
    unsigned int seen;
    std::size_t bucket;
    ModelTable::EntryPointer pending, lastReturned;

    explicit ModelMapIterator(ModelTable& source)
        : map(&source), seen(source.changes), bucket(source.buckets.size()) {}

    bool hasNext() {
        while (!pending && bucket > 0) {
            if (const auto& chain = map->buckets[--bucket]; !chain.empty())
                pending = chain.back();
        }
        return pending != nullptr;
    }
    /// The next entry, null where the map has changed.
    ModelTable::EntryPointer next() {
        if (seen != map->changes || !hasNext())
            return nullptr;
        lastReturned = std::exchange(pending, nullptr);
        const auto& chain = map->chainOf(lastReturned->key);
        for (std::size_t i = 1; i < chain.size(); ++i) {
            if (chain[i] == lastReturned)
                pending = chain[i - 1];
        }
        return lastReturned;
    }
    void remove() {
        if (seen == map->changes && !lastReturned)
            throw NoElement;
        if (seen != map->changes || map->find(lastReturned->key) != lastReturned) // cleared
            throw Changed;
        map->remove(std::exchange(lastReturned, nullptr)->key);
        ++seen;
    }
};

} // namespace qxtest
