#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef QX_BENCH_HAVE_ABSL
#include <absl/container/flat_hash_map.h>
#endif
#ifdef QX_BENCH_HAVE_BOOST
#include <boost/unordered_map.hpp>
#endif
#ifdef QX_BENCH_HAVE_QT
#include <QHash>
#include <QString>
#endif

#include <qx/collections/IntegerHashMap.h>
#include <qx/collections/StringHashMap.h>

// Keyed maps of a million entries beside the hash maps of others, which hold references to the same
// kind of value. Maps grow from their default size. "Integer" keys are random, "Dense" keys are 0,
// 1, 2, ...; "String" keys are 12 to 17 units long. Keys are looked up in random order.

namespace {

using qx::Object;
using qx::Reference;
using qx::String;
using Value = Reference<Object>;

constexpr int Entries = 1'000'000;

Object* value() {
    static const Value object(new Object);
    return object;
}

/// Keys in the order of insertion, the same in random order, and others.
template <class Key>
struct Keys {
    std::vector<Key> inserted, sought, missing;
};

template <class Make>
auto makeKeys(Make&& make) {
    Keys<decltype(make(0))> keys;
    std::vector<int> numbers(Entries);
    std::iota(numbers.begin(), numbers.end(), 0);
    for (const int number : numbers)
        keys.inserted.push_back(make(number));
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
    for (const int number : numbers) {
        keys.sought.push_back(make(number));
        keys.missing.push_back(make(Entries + number));
    }
    return keys;
}

std::u16string textOf(int number) {
    const std::string digits = std::to_string(number);
    return u"identifier." + std::u16string(digits.begin(), digits.end());
}

struct Dense {
    using Key = int;
    static const Keys<int>& keys() {
        static const auto keys = makeKeys([](int number) { return number; });
        return keys;
    }
};

struct Integer {
    using Key = int;
    static const Keys<int>& keys() {
        static const auto keys = makeKeys(
            [random = randomNumbers()](int number) { return random[static_cast<size_t>(number)]; });
        return keys;
    }
    static std::vector<int> randomNumbers() {
        std::mt19937 random(7);
        std::unordered_set<int> seen;
        std::vector<int> numbers;
        while (numbers.size() < 2 * Entries) {
            if (const auto number = static_cast<int>(random()); seen.insert(number).second)
                numbers.push_back(number);
        }
        return numbers;
    }
};

template <class Text>
struct Texts {
    using Key = Text;
    static const Keys<Text>& keys() {
        static const auto keys = makeKeys([](int number) {
            if constexpr (std::is_same_v<Text, String>)
                return String(std::u16string_view(textOf(number)));
#ifdef QX_BENCH_HAVE_QT
            else if constexpr (std::is_same_v<Text, QString>)
                return QString::fromStdU16String(textOf(number));
#endif
            else
                return textOf(number);
        });
        return keys;
    }
};

size_t weightOf(int key) { return static_cast<size_t>(key); }
template <class Text>
size_t weightOf(const Text& key) {
    return static_cast<size_t>(key.size());
}

template <class Map>
struct Keyed {
    template <class Key>
    void put(const Key& key) {
        map.put(key, value());
    }
    template <class Key>
    Value get(const Key& key) const {
        return map.get(key);
    }
    /// The value, lent.
    Object* peek(int key) const { return map.peek(key); }
    Object* peek(const String& key) const { return map.peek(key.view()); }
    size_t walk() const {
        size_t sum = 0;
        map.forEach([&](auto key, const Object* object) {
            sum += weightOf(key) + reinterpret_cast<size_t>(object);
        });
        return sum;
    }
    Map map;
};

/// A map with the members of the standard ones.
template <class Key, class Map = std::unordered_map<Key, Value>>
struct Standard {
    void put(const Key& key) { map.insert_or_assign(key, value()); }
    Value get(const Key& key) const {
        const auto found = map.find(key);
        return found == map.end() ? Value() : found->second;
    }
    Object* peek(const Key& key) const {
        const auto found = map.find(key);
        return found == map.end() ? nullptr : found->second.get();
    }
    size_t walk() const {
        size_t sum = 0;
        for (const auto& [key, object] : map)
            sum += weightOf(key) + reinterpret_cast<size_t>(object.get());
        return sum;
    }
    Map map;
};

#ifdef QX_BENCH_HAVE_QT
template <class Key>
struct QtHash {
    void put(const Key& key) { map.insert(key, value()); }
    Value get(const Key& key) const { return map.value(key); }
    Object* peek(const Key& key) const {
        const auto found = map.find(key);
        return found == map.end() ? nullptr : found->get();
    }
    size_t walk() const {
        size_t sum = 0;
        for (auto entry = map.cbegin(); entry != map.cend(); ++entry)
            sum += weightOf(entry.key()) + reinterpret_cast<size_t>(entry.value().get());
        return sum;
    }
    QHash<Key, Value> map;
};
#endif

template <class Map, class Kind>
std::unique_ptr<Map> filled() {
    auto map = std::make_unique<Map>();
    for (const auto& key : Kind::keys().inserted)
        map->put(key);
    return map;
}

template <class Map, class Kind>
void insert(benchmark::State& state) {
    Kind::keys();
    for (auto _ : state) {
        auto map = filled<Map, Kind>();
        benchmark::DoNotOptimize(map);
        state.PauseTiming();
        map.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * Entries);
}

template <class Map, class Kind>
void look(benchmark::State& state, const std::vector<typename Kind::Key>& keys) {
    const auto map = filled<Map, Kind>();
    for (auto _ : state)
        for (const auto& key : keys)
            benchmark::DoNotOptimize(map->get(key));
    state.SetItemsProcessed(state.iterations() * Entries);
}

/// Looks at the values without an owner of each.
template <class Map, class Kind>
void peek(benchmark::State& state) {
    const auto map = filled<Map, Kind>();
    for (auto _ : state)
        for (const auto& key : Kind::keys().sought)
            benchmark::DoNotOptimize(map->peek(key));
    state.SetItemsProcessed(state.iterations() * Entries);
}

template <class Map, class Kind>
void walk(benchmark::State& state) {
    const auto map = filled<Map, Kind>();
    for (auto _ : state)
        benchmark::DoNotOptimize(map->walk());
    state.SetItemsProcessed(state.iterations() * Entries);
}

template <class Map, class Kind>
void addRows(const std::string& kind, const std::string& who) {
    const auto name = [&](const char* what) { return kind + what + "/" + who; };
    benchmark::RegisterBenchmark(name("Insert").c_str(), insert<Map, Kind>);
    benchmark::RegisterBenchmark(name("Hit").c_str(), [](benchmark::State& state) {
        look<Map, Kind>(state, Kind::keys().sought);
    });
    benchmark::RegisterBenchmark(name("Miss").c_str(), [](benchmark::State& state) {
        look<Map, Kind>(state, Kind::keys().missing);
    });
    benchmark::RegisterBenchmark(name("Peek").c_str(), peek<Map, Kind>);
    benchmark::RegisterBenchmark(name("Walk").c_str(), walk<Map, Kind>);
}

} // namespace

int main(int argc, char** argv) {
    using namespace qx::collections;
    addRows<Keyed<IntegerHashMap>, Integer>("Integer", "qx");
    addRows<Standard<int>, Integer>("Integer", "std");
    addRows<Keyed<IntegerHashMap>, Dense>("Dense", "qx");
    addRows<Standard<int>, Dense>("Dense", "std");
    addRows<Keyed<StringHashMap>, Texts<String>>("String", "qx");
    addRows<Standard<std::u16string>, Texts<std::u16string>>("String", "std");
#ifdef QX_BENCH_HAVE_ABSL
    addRows<Standard<int, absl::flat_hash_map<int, Value>>, Integer>("Integer", "absl");
    addRows<Standard<int, absl::flat_hash_map<int, Value>>, Dense>("Dense", "absl");
    addRows<Standard<std::u16string, absl::flat_hash_map<std::u16string, Value>>,
            Texts<std::u16string>>("String", "absl");
#endif
#ifdef QX_BENCH_HAVE_BOOST
    addRows<Standard<int, boost::unordered_map<int, Value>>, Integer>("Integer", "boost");
    addRows<Standard<int, boost::unordered_map<int, Value>>, Dense>("Dense", "boost");
    addRows<Standard<std::u16string, boost::unordered_map<std::u16string, Value>>,
            Texts<std::u16string>>("String", "boost");
#endif
#ifdef QX_BENCH_HAVE_QT
    addRows<QtHash<int>, Integer>("Integer", "qt");
    addRows<QtHash<int>, Dense>("Dense", "qt");
    addRows<QtHash<QString>, Texts<QString>>("String", "qt");
#endif
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
