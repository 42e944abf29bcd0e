#include <algorithm>
#include <list>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef QX_BENCH_HAVE_BOOST
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#endif

#include <qx/collections/List.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/core/Object.h>
#include <qx/core/String.h>

// Lists of component objects beside the standard containers of intrusive pointers. Every element
// comes out as an owner of its own, here as there; there are a thousand elements. "Typed" goes
// through a facade of objects.

using qx::collections::pcom::ArrayList;
using qx::collections::pcom::LinkedList;
using qx::collections::pcom::List;

namespace {

constexpr int Size = 1000;

std::vector<qx::Reference<qx::Object>> objects() {
    std::vector<qx::Reference<qx::Object>> objects;
    for (int i = 0; i < Size; ++i)
        objects.emplace_back(new qx::Object());
    return objects;
}

template <class L>
qx::Reference<L> filled() {
    const auto list = qx::makeReference<L>();
    for (const auto& object : objects())
        list->add(object->GetUnknown());
    return list;
}

template <class T>
T* hidden(T* pointer) {
    benchmark::DoNotOptimize(pointer);
    return pointer;
}

void countElements(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * Size); }

template <class L>
void get(benchmark::State& state) {
    const auto list = filled<L>();
    const L* const source = hidden(list.get());
    for (auto _ : state) {
        for (int i = 0; i < Size; ++i)
            benchmark::DoNotOptimize(source->get(i));
    }
    countElements(state);
}
BENCHMARK(get<ArrayList>)->Name("ArrayGet/qx");

template <class L>
void getThroughInterface(benchmark::State& state) {
    const auto list = filled<L>();
    const List* const source = hidden(list.get());
    for (auto _ : state) {
        for (int i = 0; i < Size; ++i)
            benchmark::DoNotOptimize(source->get(i));
    }
    countElements(state);
}
BENCHMARK(getThroughInterface<ArrayList>)->Name("ArrayGet/qx::List");
BENCHMARK(getThroughInterface<LinkedList>)->Name("LinkedGet/qx::List");

template <class L>
void append(benchmark::State& state) {
    const auto elements = objects();
    for (auto _ : state) {
        L list;
        for (const auto& element : elements)
            list.add(element->GetUnknown());
        benchmark::DoNotOptimize(list.getSize());
    }
    countElements(state);
}
BENCHMARK(append<ArrayList>)->Name("ArrayAppend/qx");
BENCHMARK(append<LinkedList>)->Name("LinkedAppend/qx");

template <class L>
void iterate(benchmark::State& state) {
    const auto list = filled<L>();
    for (auto _ : state) {
        for (const auto& element : *list)
            benchmark::DoNotOptimize(element.get());
    }
    countElements(state);
}
BENCHMARK(iterate<ArrayList>)->Name("ArrayIterate/qx");
BENCHMARK(iterate<LinkedList>)->Name("LinkedIterate/qx");

template <class L>
void iterateTyped(benchmark::State& state) {
    const qx::collections::List<qx::Object> typed(filled<L>());
    for (auto _ : state) {
        for (const auto& element : typed)
            benchmark::DoNotOptimize(element.get());
    }
    countElements(state);
}
BENCHMARK(iterateTyped<ArrayList>)->Name("TypedArrayIterate/qx");
BENCHMARK(iterateTyped<LinkedList>)->Name("TypedLinkedIterate/qx");

void getTyped(benchmark::State& state) {
    const qx::collections::List<qx::Object> typed(filled<ArrayList>());
    const auto* const source = hidden(&typed);
    for (auto _ : state) {
        for (int i = 0; i < Size; ++i)
            benchmark::DoNotOptimize(source->get(i));
    }
    countElements(state);
}
BENCHMARK(getTyped)->Name("TypedArrayGet/qx");

template <class L>
void insertInFront(benchmark::State& state) {
    const auto elements = objects();
    for (auto _ : state) {
        L list;
        for (const auto& element : elements)
            list.add(0, element->GetUnknown());
        benchmark::DoNotOptimize(list.getSize());
    }
    countElements(state);
}
BENCHMARK(insertInFront<ArrayList>)->Name("ArrayInsertInFront/qx");

/// Two insertions into the middle of the list for each removal behind them.
void editLinked(benchmark::State& state) {
    const auto list = filled<LinkedList>();
    const qx::Reference<qx::Object> element(new qx::Object());
    for (auto _ : state) {
        const auto iterator = list->createListIterator(0);
        while (iterator->hasNext()) {
            iterator->next();
            iterator->add(element->GetUnknown());
            iterator->previous();
            iterator->remove();
        }
    }
    countElements(state);
}
BENCHMARK(editLinked)->Name("LinkedEdit/qx");

std::vector<std::u16string> texts() {
    std::vector<std::u16string> texts;
    for (int i = 0; i < Size; ++i)
        texts.push_back(u"parameter." + std::u16string(1, static_cast<char16_t>(0x100 + i)));
    return texts;
}

/// The last of the texts.
void find(benchmark::State& state) {
    qx::collections::List<qx::String> list;
    for (const auto& text : texts())
        list.add(text);
    const qx::String sought(texts().back());
    for (auto _ : state)
        benchmark::DoNotOptimize(list.indexOf(sought));
    countElements(state);
}
BENCHMARK(find)->Name("TextFind/qx");

void peerFind(benchmark::State& state) {
    const auto list = texts();
    const std::u16string sought = list.back();
    for (auto _ : state)
        benchmark::DoNotOptimize(std::find(list.begin(), list.end(), sought));
    countElements(state);
}
BENCHMARK(peerFind)->Name("TextFind/std");

#ifdef QX_BENCH_HAVE_BOOST

struct Counted : boost::intrusive_ref_counter<Counted, boost::thread_safe_counter> {
    virtual ~Counted() = default;
    char content[32] = {}; // as large as an Object
};
using Pointer = boost::intrusive_ptr<Counted>;

std::vector<Pointer> peerObjects() {
    std::vector<Pointer> objects;
    for (int i = 0; i < Size; ++i)
        objects.emplace_back(new Counted);
    return objects;
}

void peerGet(benchmark::State& state) {
    const std::vector<Pointer> list = peerObjects();
    const auto* const source = hidden(&list);
    for (auto _ : state) {
        for (int i = 0; i < Size; ++i)
            benchmark::DoNotOptimize(Pointer((*source)[static_cast<std::size_t>(i)]));
    }
    countElements(state);
}
BENCHMARK(peerGet)->Name("ArrayGet/boost");
BENCHMARK(peerGet)->Name("TypedArrayGet/boost");

template <class L>
void peerAppend(benchmark::State& state) {
    const auto elements = peerObjects();
    for (auto _ : state) {
        L list;
        for (const auto& element : elements)
            list.push_back(element);
        benchmark::DoNotOptimize(list.size());
    }
    countElements(state);
}
BENCHMARK(peerAppend<std::vector<Pointer>>)->Name("ArrayAppend/boost");
BENCHMARK(peerAppend<std::list<Pointer>>)->Name("LinkedAppend/boost");

template <class L>
void peerIterate(benchmark::State& state) {
    const auto elements = peerObjects();
    const L list(elements.begin(), elements.end());
    for (auto _ : state) {
        for (const Pointer& element : list)
            benchmark::DoNotOptimize(Pointer(element));
    }
    countElements(state);
}
BENCHMARK(peerIterate<std::vector<Pointer>>)->Name("ArrayIterate/boost");
BENCHMARK(peerIterate<std::list<Pointer>>)->Name("LinkedIterate/boost");
BENCHMARK(peerIterate<std::vector<Pointer>>)->Name("TypedArrayIterate/boost");
BENCHMARK(peerIterate<std::list<Pointer>>)->Name("TypedLinkedIterate/boost");

void peerInsertInFront(benchmark::State& state) {
    const auto elements = peerObjects();
    for (auto _ : state) {
        std::vector<Pointer> list;
        for (const auto& element : elements)
            list.insert(list.begin(), element);
        benchmark::DoNotOptimize(list.size());
    }
    countElements(state);
}
BENCHMARK(peerInsertInFront)->Name("ArrayInsertInFront/boost");

void peerEdit(benchmark::State& state) {
    const auto elements = peerObjects();
    std::list<Pointer> list(elements.begin(), elements.end());
    const Pointer element(new Counted);
    for (auto _ : state) {
        for (auto place = list.begin(); place != list.end(); ++place) {
            benchmark::DoNotOptimize(Pointer(*place));
            const auto inserted = list.insert(std::next(place), element);
            benchmark::DoNotOptimize(Pointer(*inserted));
            place = std::prev(list.erase(inserted));
        }
    }
    countElements(state);
}
BENCHMARK(peerEdit)->Name("LinkedEdit/boost");

#endif

} // namespace

BENCHMARK_MAIN();
