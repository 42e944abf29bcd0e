#include <algorithm>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include <qx/collections/Map.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/MapEntry.h>
#include <qx/core/String.h>

// Maps from strings to objects beside the standard table whose hash and equality are virtual calls,
// as a comparator's are. Keys and values are owned by counted references, and the same ones, here
// as there. Keys are looked for in another order than they were put in, by equal strings that are
// other objects. "Pairs" is the range-based for over key and value; "Typed" goes through a facade
// of strings and objects.

using qx::Reference;
using qx::String;
using qx::collections::pcom::HashMap;
using qx::collections::pcom::MapEntry;

namespace {

using TypedMap = qx::collections::Map<String, qx::Object>;
using Strings = std::vector<Reference<String>>;

struct Keys {
    Strings stored, sought, absent;
    std::vector<Reference<qx::Object>> values;
};

String textOf(int number, const char16_t* prefix) {
    String text(prefix);
    for (const char digit : std::to_string(number))
        text.append(static_cast<char16_t>(digit));
    return text;
}

Strings strings(int count, const char16_t* prefix) {
    Strings strings;
    for (int i = 0; i < count; ++i)
        strings.emplace_back(new String(textOf(i * 7919, prefix)));
    return strings;
}

const Keys& keysOf(benchmark::State& state) {
    static std::unordered_map<int64_t, Keys> sets;
    Keys& keys = sets[state.range(0)];
    if (keys.stored.empty()) {
        const int count = static_cast<int>(state.range(0));
        keys = {strings(count, u"server/item/"),
                strings(count, u"server/item/"),
                strings(count, u"server/none/"),
                {}};
        std::minstd_rand random(1);
        std::shuffle(keys.stored.begin(), keys.stored.end(), random);
        std::shuffle(keys.sought.begin(), keys.sought.end(), random);
        std::shuffle(keys.absent.begin(), keys.absent.end(), random);
        for (int i = 0; i < count; ++i)
            keys.values.emplace_back(new qx::Object());
    }
    return keys;
}

void countKeys(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

class VirtualOrder {
public:
    virtual ~VirtualOrder() = default;
    virtual std::size_t hash(const String& key) const { return key.hashCode(); }
    virtual bool equal(const String& left, const String& right) const { return left == right; }
};

struct PeerHash {
    const VirtualOrder* order;
    std::size_t operator()(const Reference<String>& key) const { return order->hash(*key); }
};
struct PeerEqual {
    const VirtualOrder* order;
    bool operator()(const Reference<String>& left, const Reference<String>& right) const {
        return order->equal(*left, *right);
    }
};
using PeerMap = std::unordered_map<Reference<String>, Reference<IQXUnknown>, PeerHash, PeerEqual>;

PeerMap emptyPeer() {
    static const VirtualOrder* order = new VirtualOrder;
    benchmark::DoNotOptimize(order);
    return PeerMap(101, PeerHash{order}, PeerEqual{order});
}

void fill(HashMap& map, const Keys& keys) {
    for (std::size_t i = 0; i < keys.stored.size(); ++i)
        map.put(keys.stored[i]->GetUnknown(), keys.values[i]->GetUnknown());
}
void fill(PeerMap& map, const Keys& keys) {
    for (std::size_t i = 0; i < keys.stored.size(); ++i)
        map.insert_or_assign(keys.stored[i], keys.values[i]->GetUnknown());
}

/// Fills a map and destroys it.
void insert(benchmark::State& state) {
    const Keys& keys = keysOf(state);
    for (auto _ : state) {
        HashMap map;
        fill(map, keys);
        benchmark::DoNotOptimize(map.getSize());
    }
    countKeys(state);
}
void peerInsert(benchmark::State& state) {
    const Keys& keys = keysOf(state);
    for (auto _ : state) {
        PeerMap map = emptyPeer();
        fill(map, keys);
        benchmark::DoNotOptimize(map.size());
    }
    countKeys(state);
}

void look(benchmark::State& state, Strings Keys::*sought) {
    const Keys& keys = keysOf(state);
    HashMap map;
    fill(map, keys);
    for (auto _ : state) {
        for (const auto& key : keys.*sought)
            benchmark::DoNotOptimize(map.get(key->GetUnknown()));
    }
    countKeys(state);
}
void peerLook(benchmark::State& state, Strings Keys::*sought) {
    const Keys& keys = keysOf(state);
    PeerMap map = emptyPeer();
    fill(map, keys);
    for (auto _ : state) {
        for (const auto& key : keys.*sought) {
            const auto found = map.find(key);
            benchmark::DoNotOptimize(found == map.end() ? Reference<IQXUnknown>() : found->second);
        }
    }
    countKeys(state);
}

void lookTyped(benchmark::State& state) {
    const Keys& keys = keysOf(state);
    const auto map = qx::makeReference<HashMap>();
    fill(*map, keys);
    const TypedMap typed(map);
    for (auto _ : state) {
        for (const auto& key : keys.sought)
            benchmark::DoNotOptimize(typed.get(key));
    }
    countKeys(state);
}

/// Takes each key and value.
void iterate(benchmark::State& state) {
    HashMap map;
    fill(map, keysOf(state));
    for (auto _ : state) {
        const auto entries = map.createEntrySet();
        for (const auto& element : *entries) {
            const MapEntry& entry = qx::collections::pcom::entryOf(element);
            benchmark::DoNotOptimize(entry.getKey());
            benchmark::DoNotOptimize(entry.getValue());
        }
    }
    countKeys(state);
}
void peerIterate(benchmark::State& state) {
    PeerMap map = emptyPeer();
    fill(map, keysOf(state));
    for (auto _ : state) {
        for (const auto& [key, value] : map) {
            benchmark::DoNotOptimize(Reference<String>(key));
            benchmark::DoNotOptimize(Reference<IQXUnknown>(value));
        }
    }
    countKeys(state);
}

/// A range-based for, in which each key and value is held.
template <class Map>
void walkPairs(benchmark::State& state, const Map& map) {
    for (auto _ : state) {
        for (const auto& [key, value] : map) {
            benchmark::DoNotOptimize(key.get());
            benchmark::DoNotOptimize(value.get());
        }
    }
    countKeys(state);
}
void iteratePairs(benchmark::State& state) {
    HashMap map;
    fill(map, keysOf(state));
    walkPairs(state, map);
}
void iterateTyped(benchmark::State& state) {
    const auto map = qx::makeReference<HashMap>();
    fill(*map, keysOf(state));
    walkPairs(state, TypedMap(map));
}

void iterateKeys(benchmark::State& state) {
    HashMap map;
    fill(map, keysOf(state));
    for (auto _ : state) {
        const auto keys = map.createKeySet();
        for (const auto& key : *keys)
            benchmark::DoNotOptimize(key.get());
    }
    countKeys(state);
}
void peerIterateKeys(benchmark::State& state) {
    PeerMap map = emptyPeer();
    fill(map, keysOf(state));
    for (auto _ : state) {
        for (const auto& [key, value] : map)
            benchmark::DoNotOptimize(Reference<String>(key));
    }
    countKeys(state);
}

constexpr int Tiny = 100, Small = 1000, Medium = 100'000, Large = 1'000'000;
#define QX_SIZES Arg(Small)->Arg(Medium)->Arg(Large)->Unit(benchmark::kMillisecond)

BENCHMARK(insert)->Name("HashMapInsert/qx")->Arg(Tiny)->QX_SIZES;
BENCHMARK(peerInsert)->Name("HashMapInsert/std")->Arg(Tiny)->QX_SIZES;
BENCHMARK_CAPTURE(look, hit, &Keys::sought)->Name("HashMapHit/qx")->Arg(Tiny)->QX_SIZES;
BENCHMARK_CAPTURE(peerLook, hit, &Keys::sought)->Name("HashMapHit/std")->Arg(Tiny)->QX_SIZES;
BENCHMARK_CAPTURE(look, miss, &Keys::absent)->Name("HashMapMiss/qx")->Arg(Tiny)->QX_SIZES;
BENCHMARK_CAPTURE(peerLook, miss, &Keys::absent)->Name("HashMapMiss/std")->Arg(Tiny)->QX_SIZES;
BENCHMARK(iterate)->Name("HashMapIterate/qx")->QX_SIZES;
BENCHMARK(peerIterate)->Name("HashMapIterate/std")->QX_SIZES;
BENCHMARK(iteratePairs)->Name("HashMapPairs/qx")->QX_SIZES;
BENCHMARK(peerIterate)->Name("HashMapPairs/std")->QX_SIZES;
BENCHMARK(iterateTyped)->Name("TypedMapPairs/qx")->QX_SIZES;
BENCHMARK(peerIterate)->Name("TypedMapPairs/std")->QX_SIZES;
BENCHMARK(lookTyped)->Name("TypedMapHit/qx")->QX_SIZES;
BENCHMARK_CAPTURE(peerLook, typed, &Keys::sought)->Name("TypedMapHit/std")->QX_SIZES;
BENCHMARK(iterateKeys)->Name("HashMapKeys/qx")->QX_SIZES;
BENCHMARK(peerIterateKeys)->Name("HashMapKeys/std")->QX_SIZES;

} // namespace

BENCHMARK_MAIN();
