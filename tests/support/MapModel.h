#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "tests/support/Items.h"
#include "tests/support/Play.h"

namespace qxtest {

struct ModelEntry {
    int key, value;
};
using ModelEntryPointer = std::shared_ptr<ModelEntry>;

/// A chained hash table of numbers in vectors that counts its changes: the plain model of the maps
/// and, with the keys alone, of the sets.
struct ModelMap {
    using Chain = std::vector<ModelEntryPointer>; // the key put last comes last

    std::vector<Chain> buckets;
    float load;
    unsigned int changes = 0;
    int size = 0;

    ModelMap(std::size_t length, float loadFactor) : buckets(length), load(loadFactor) {}

    Chain& chainOf(int key) {
        const auto hash = key == Null ? 0 : static_cast<uint32_t>(key); // as items and null do
        return buckets[hash % buckets.size()];
    }
    ModelEntryPointer find(int key) {
        for (const auto& entry : chainOf(key)) {
            if (entry->key == key)
                return entry;
        }
        return nullptr;
    }
    int get(int key) {
        const auto entry = find(key);
        return entry ? entry->value : Null;
    }
    /// The entries in the order of a walk.
    std::vector<ModelEntryPointer> entries() const {
        std::vector<ModelEntryPointer> entries;
        for (auto bucket = buckets.rbegin(); bucket != buckets.rend(); ++bucket)
            entries.insert(entries.end(), bucket->rbegin(), bucket->rend());
        return entries;
    }
    std::vector<int> parts(int ModelEntry::*part) const {
        std::vector<int> parts;
        for (const auto& entry : entries())
            parts.push_back((*entry).*part);
        return parts;
    }

    /// Returns the previous value.
    int put(int key, int value) {
        if (const auto entry = find(key))
            return std::exchange(entry->value, value);
        ++changes;
        if (size >= static_cast<int>(static_cast<float>(buckets.size()) * load)) {
            const auto moved = entries();
            buckets = std::vector<Chain>(2 * buckets.size() + 1);
            for (const auto& entry : moved)
                chainOf(entry->key).push_back(entry);
        }
        chainOf(key).push_back(std::make_shared<ModelEntry>(ModelEntry{key, value}));
        ++size;
        return Null;
    }
    bool remove(int key) {
        const auto entry = find(key);
        if (entry) {
            std::erase(chainOf(key), entry);
            ++changes;
            --size;
        }
        return entry != nullptr;
    }
    void clear() {
        buckets = std::vector<Chain>(buckets.size());
        size = 0;
    }
};

/// An iterator of a model map.
struct ModelMapIterator {
    ModelMap* map;
    unsigned int seen;
    std::size_t bucket;
    ModelEntryPointer pending, lastReturned;

    explicit ModelMapIterator(ModelMap& source)
        : map(&source), seen(source.changes), bucket(source.buckets.size()) {}

    bool hasNext() {
        while (!pending && bucket > 0) {
            if (const auto& chain = map->buckets[--bucket]; !chain.empty())
                pending = chain.back();
        }
        return pending != nullptr;
    }
    Outcome next() {
        if (seen != map->changes || !hasNext())
            return Outcome::Changed;
        lastReturned = std::exchange(pending, nullptr);
        const auto& chain = map->chainOf(lastReturned->key);
        for (std::size_t i = 1; i < chain.size(); ++i) {
            if (chain[i] == lastReturned)
                pending = chain[i - 1];
        }
        return Outcome::Done;
    }
    Outcome remove() {
        if (seen != map->changes)
            return Outcome::Changed;
        if (!lastReturned)
            return Outcome::NoElement;
        if (map->find(lastReturned->key) != lastReturned) // cleared
            return Outcome::Changed;
        map->remove(std::exchange(lastReturned, nullptr)->key);
        ++seen;
        return Outcome::Done;
    }
};

} // namespace qxtest
