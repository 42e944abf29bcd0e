// Creating components of a module that is loaded, beside the bare call of the class's factory: what
// stands between is the look at the registry's file and at what is known of it.

#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/pcom/IClassFactory.h>
#include <qx/platform/component.h>
#include <qx/platform/module.h>

#include "BenchRegistry.h"
#include "tests/support/SafeModule.h"

using qx::Reference;

namespace {

constexpr char16_t Name[] = u"Bench.Thing";
constexpr char Identity = 0;

void require(bool condition) {
    if (!condition)
        std::abort();
}

qx::String modulePath() { return qx::String(qxtest::safeModule(QX_BENCH_MODULE).c_str()); }

/// The module registered in a registry of its own, and loaded.
class BenchModule {
public:
    BenchModule() {
        require(QXComRegisterModule(modulePath().getData()) >= 0);
        require(QXComClassIDFromProgID(Name, &m_classId) >= 0);
        QXModuleSetInitialized(&Identity, 1);
        Reference<IQXUnknown> first;
        require(QXComCreateObjectByProgID(Name, nullptr, &IQXUnknown::Iid, first.putVoid()) >= 0);
    }
    ~BenchModule() { QXModuleSetInitialized(&Identity, 0); }
    BenchModule(const BenchModule&) = delete;
    BenchModule& operator=(const BenchModule&) = delete;

    const qx::GUID& classId() const { return m_classId; }

    Reference<IQXClassFactory> factory() const {
        QXHandle library;
        void* entry = nullptr;
        require(QXModuleLibOpen(&Identity, modulePath().getData(), &library) >= 0);
        require(QXLibGetSymbol(library, u"DllGetClassObject", &entry) >= 0);
        Reference<IQXClassFactory> factory;
        require(reinterpret_cast<decltype(&DllGetClassObject)>(entry)(
                    &m_classId, &IQXClassFactory::Iid, factory.putVoid()) >= 0);
        require(QXModuleLibClose(&Identity, library) >= 0); // it is loaded for its objects as well
        return factory;
    }

private:
    BenchRegistry m_registry;
    qx::GUID m_classId;
};

/// Measures what @p create makes, and its release.
template <class Create>
void measure(benchmark::State& state, Create create) {
    for (auto _ : state) {
        Reference<IQXUnknown> object;
        require(create(object.putVoid()) >= 0);
        benchmark::DoNotOptimize(object);
    }
    state.SetItemsProcessed(state.iterations());
}

void ByName(benchmark::State& state) {
    const BenchModule module;
    measure(state, [](void** object) {
        return QXComCreateObjectByProgID(Name, nullptr, &IQXUnknown::Iid, object);
    });
}
BENCHMARK(ByName)->Name("CreateByName/qx");

void ByClass(benchmark::State& state) {
    const BenchModule module;
    measure(state, [&](void** object) {
        return QXModuleComCreateObject(&Identity, &module.classId(), nullptr, &IQXUnknown::Iid,
                                       object);
    });
}
BENCHMARK(ByClass)->Name("CreateByClass/qx");

void ByFactory(benchmark::State& state) {
    const BenchModule module;
    const Reference<IQXClassFactory> factory = module.factory();
    measure(state, [&](void** object) {
        return factory->CreateInstance(nullptr, IQXUnknown::Iid, object);
    });
}
BENCHMARK(ByFactory)->Name("CreateByName/factory");
BENCHMARK(ByFactory)->Name("CreateByClass/factory");

/// From the module's file to its first object and back.
void LoadAndUnload(benchmark::State& state) {
    const BenchModule module;
    measure(state, [](void** object) {
        int32_t kept = 0;
        require(QXComFreeUnusedModules(0, &kept) >= 0 && kept == 0);
        return QXComCreateObjectByProgID(Name, nullptr, &IQXUnknown::Iid, object);
    });
}
BENCHMARK(LoadAndUnload)->Name("LoadCreateUnload/qx")->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
