#include <vector>

#include <benchmark/benchmark.h>

#ifdef QX_BENCH_HAVE_BOOST
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#endif

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>

// References beside the intrusive pointer of others, interface query beside the language's cast.
// The objects hide behind a pointer that the compiler cannot see through.

namespace {

template <class T>
T* hidden(T* pointer) {
    benchmark::DoNotOptimize(pointer);
    return pointer;
}

template <class Pointer>
void copyAndDrop(benchmark::State& state, const Pointer& owner) {
    const Pointer* source = hidden(&owner);
    for (auto _ : state) {
        Pointer copy(*source);
        benchmark::DoNotOptimize(copy);
    }
    state.SetItemsProcessed(state.iterations());
}

void copyReference(benchmark::State& state) { copyAndDrop(state, qx::makeReference<qx::Object>()); }
BENCHMARK(copyReference)->Name("ReferenceCopy/qx");

/// One object counted by several threads.
template <auto Make>
void copyShared(benchmark::State& state) {
    static const auto owner = Make();
    copyAndDrop(state, owner);
}
BENCHMARK(copyShared<&qx::makeReference<qx::Object>>)
    ->Name("ReferenceCopyShared/qx")
    ->Threads(2)
    ->UseRealTime();

struct IFirst : IQXUnknown {
    static constexpr qx::GUID Iid{1, 0, 0, {}};
    virtual int first() = 0;
};
struct ISecond : IQXUnknown {
    static constexpr qx::GUID Iid{2, 0, 0, {}};
    virtual int second() = 0;
};
struct IThird : IQXUnknown {
    static constexpr qx::GUID Iid{3, 0, 0, {}};
    virtual int third() = 0;
};

class Component : public qx::pcom::Implements<qx::Object, IFirst, ISecond, IThird> {
public:
    int first() override { return 1; }
    int second() override { return 2; }
    int third() override { return 3; }
};

void queryThird(benchmark::State& state) {
    const auto component = qx::makeReference<Component>();
    IQXUnknown* const unknown = hidden(component->GetUnknown());
    for (auto _ : state) {
        void* third = nullptr;
        unknown->QueryInterface(IThird::Iid, &third);
        benchmark::DoNotOptimize(third);
        // The cast takes no reference: neither does what is measured, in the end.
        static_cast<IThird*>(third)->Release();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(queryThird)->Name("QueryThirdInterfaceAndRelease/qx");

void queryThirdKept(benchmark::State& state) {
    const auto component = qx::makeReference<Component>();
    IQXUnknown* const unknown = hidden(component->GetUnknown());
    for (auto _ : state) {
        void* third = nullptr;
        unknown->QueryInterface(IThird::Iid, &third);
        benchmark::DoNotOptimize(third);
    }
    while (component->GetRefCount() > 1)
        component->InternalRelease();
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(queryThirdKept)->Name("QueryThirdInterface/qx")->Iterations(20'000'000);

void castThird(benchmark::State& state) {
    const auto component = qx::makeReference<Component>();
    IQXUnknown* const unknown = hidden(component->GetUnknown());
    for (auto _ : state)
        benchmark::DoNotOptimize(dynamic_cast<IThird*>(unknown));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(castThird)->Name("QueryThirdInterface/dynamic_cast");
BENCHMARK(castThird)->Name("QueryThirdInterfaceAndRelease/dynamic_cast");

template <class T>
void createAndDestroy(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(qx::makeReference<T>());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(createAndDestroy<qx::Object>)->Name("ObjectCreate/qx");
BENCHMARK(createAndDestroy<qx::ComObject>)->Name("ObjectCreateSmallest/qx");

#ifdef QX_BENCH_HAVE_BOOST

/// As large as the object of qx with the word in front of it that tells who owns it.
template <class Peer>
struct Counted : boost::intrusive_ref_counter<Counted<Peer>, boost::thread_safe_counter> {
    virtual ~Counted() = default;
    char content[sizeof(Peer)] = {};
};

template <class Peer = qx::Object>
boost::intrusive_ptr<Counted<Peer>> makeIntrusive() {
    return new Counted<Peer>;
}

void copyIntrusive(benchmark::State& state) { copyAndDrop(state, makeIntrusive()); }
BENCHMARK(copyIntrusive)->Name("ReferenceCopy/boost");
BENCHMARK(copyShared<&makeIntrusive<>>)
    ->Name("ReferenceCopyShared/boost")
    ->Threads(2)
    ->UseRealTime();

template <class Peer>
void createIntrusive(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(makeIntrusive<Peer>());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(createIntrusive<qx::Object>)->Name("ObjectCreate/boost");
BENCHMARK(createIntrusive<qx::ComObject>)->Name("ObjectCreateSmallest/boost");

#endif

} // namespace

BENCHMARK_MAIN();
