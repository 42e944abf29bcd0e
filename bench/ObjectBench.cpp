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

void createAndDestroy(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(qx::makeReference<qx::Object>());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(createAndDestroy)->Name("ObjectCreate/qx");

#ifdef QX_BENCH_HAVE_BOOST

struct Counted : boost::intrusive_ref_counter<Counted, boost::thread_safe_counter> {
    virtual ~Counted() = default;
    char content[32] = {}; // as large as an Object
};

void copyIntrusive(benchmark::State& state) {
    copyAndDrop(state, boost::intrusive_ptr<Counted>(new Counted));
}
BENCHMARK(copyIntrusive)->Name("ReferenceCopy/boost");

void createIntrusive(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(boost::intrusive_ptr<Counted>(new Counted));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(createIntrusive)->Name("ObjectCreate/boost");

#endif

} // namespace

BENCHMARK_MAIN();
