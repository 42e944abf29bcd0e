// Loads and unloads the library over and over: nothing may stay behind. Leaks are reported by the
// sanitizer that the program is built with; without one, by the growth of the heap.

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <malloc.h>
#include <string>
#include <sys/wait.h>

#include <qx/collections/IComparator.h>
#include <qx/core/Reference.h>
#include <qx/platform/module.h>
#include <qx/platform/process.h>
#include <qx/platform/registry.h>

#include "tests/testmodules/plain.h"

namespace {

const char* s_registry; // a folder
// Modules, one of which is not linked to the library.
const char* s_plainModule;
const char* s_aloneModule;

// Each of these has the library make something that it keeps until it is unloaded.

bool useComparator(void* library) {
    using GetComparator = qx::Reference<IQXComparator> (*)();
    const auto getComparator = reinterpret_cast<GetComparator>(
        dlsym(library, "_ZN2qx11collections20GetDefaultComparatorEv"));
    if (!getComparator)
        return false;
    const auto comparator = getComparator();
    int order = 1;
    return comparator->Compare(nullptr, nullptr, &order) == 0 && order == 0 &&
           getComparator() == comparator;
}

/// Leaves a child that may end before or after the library is unloaded.
bool leaveChild(void* library) {
    const auto create =
        reinterpret_cast<decltype(&QXProcessCreate)>(dlsym(library, "QXProcessCreate"));
    const auto detach =
        reinterpret_cast<decltype(&QXProcessDetach)>(dlsym(library, "QXProcessDetach"));
    QXHandle streams[3], process = 0;
    constexpr uint32_t Flags =
        QX_PROCESS_INHERIT_INPUT | QX_PROCESS_INHERIT_OUTPUT | QX_PROCESS_INHERIT_ERROR;
    return create && detach &&
           create(nullptr, u"sleep 0.001", nullptr, nullptr, Flags, streams, &process) == 0 &&
           detach(process) == 0;
}

using Counter = const PlainCounterTable**;

/// The library's functions for components, with the registry of this test.
struct Components {
    explicit Components(void* library) {
        const auto find = [library]<class Function>(Function*& function, const char* name) {
            function = reinterpret_cast<Function*>(dlsym(library, name));
        };
        decltype(&QXRegistrySetFolder) setFolder;
        find(setFolder, "QXRegistrySetFolder");
        find(setValue, "QXRegistrySetValue");
        find(create, "QXComCreateObjectByProgID");
        find(freeModules, "QXComFreeUnusedModules");
        setFolder(s_registry);
    }

    /// Names the module that offers counters.
    bool setModule(const char* path) const {
        std::u16string text(path, path + std::strlen(path) + 1);
        return setValue(QX_HKEY_CLASSES_64, PLAIN_COUNTER_NAME u"\\CLSID", u"", QX_REG_STRING,
                        PLAIN_COUNTER_CLASS, sizeof PLAIN_COUNTER_CLASS) == 0 &&
               setValue(QX_HKEY_CLASSES_64, u"CLSID\\" PLAIN_COUNTER_CLASS u"\\InprocServer32", u"",
                        QX_REG_STRING, text.data(),
                        static_cast<int32_t>(text.size() * sizeof(char16_t))) == 0;
    }
    Counter createCounter() const {
        void* counter = nullptr;
        create(PLAIN_COUNTER_NAME, nullptr, &PlainCounterId, &counter);
        return static_cast<Counter>(counter);
    }
    /// Modules that stay loaded.
    int32_t freeAll() const {
        int32_t kept = -1;
        return freeModules(0, &kept) == 0 ? kept : -1;
    }

    decltype(&QXRegistrySetValue) setValue;
    decltype(&QXComCreateObjectByProgID) create;
    decltype(&QXComFreeUnusedModules) freeModules;
};

bool useComponent(void* library) {
    const Components components(library);
    const Counter counter = components.createCounter();
    int32_t sum = 0;
    return counter && (*counter)->Add(counter, 5, &sum) == 0 && sum == 5 &&
           components.freeAll() == 1 && (*counter)->unknown.Release(counter) == 0 &&
           components.freeAll() == 0;
}

void* load() {
    void* const library = dlopen(QX_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!library)
        std::fprintf(stderr, "%s\n", dlerror());
    return library;
}

/// Whether the library is still loaded. A sanitizer's run-time may have its own reasons.
bool isLoaded() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return false;
#else
    void* const library = dlopen(QX_LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD);
    if (library)
        dlclose(library);
    return library != nullptr;
#endif
}

/// A module needs the library until it is unloaded itself, also one that was not linked to it.
bool outlivesItsLastUser() {
    void* library = load();
    if (!library || !Components(library).setModule(s_aloneModule))
        return false;
    const Counter counter = Components(library).createCounter();
    if (!counter || dlclose(library) != 0)
        return false;
    int32_t sum = 0;
    const bool works = (*counter)->Add(counter, 7, &sum) == 0 && sum == 7;
    (*counter)->unknown.Release(counter);
    library = dlopen(QX_LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD);
    if (!works || !library || Components(library).freeAll() != 0)
        return false;
    dlclose(library);
    return !isLoaded();
}

/// The library has started up.
bool useEncodings(void* library) {
    using Enumerate = int32_t (*)(uint32_t * count, void* infos);
    const auto enumerate = reinterpret_cast<Enumerate>(dlsym(library, "QXEnumerateEncInfo"));
    uint32_t count = 0;
    return enumerate && enumerate(&count, nullptr) < 0 && count == 28;
}

bool failed(const char* what) {
    std::fprintf(stderr, "failed: %s\n", what);
    return false;
}

bool loadUseAndUnload(bool withChild) {
    void* const library = load();
    if (!library)
        return false;
    const struct {
        const char* what;
        bool (*use)(void* library);
    } uses[] = {{"start-up", &useEncodings},
                {"comparator", &useComparator},
                {"child", withChild ? &leaveChild : &useEncodings},
                {"component", &useComponent}};
    for (const auto& [what, use] : uses) {
        if (!use(library))
            return failed(what);
    }
    if (dlclose(library) != 0)
        return failed(dlerror());
    return !isLoaded() || failed("the library stays loaded");
}

std::size_t heapInUse() { return mallinfo2().uordblks; }

} // namespace

int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    s_registry = argv[1];
    s_plainModule = argv[2];
    s_aloneModule = argv[3];
    constexpr int WarmUp = 20; // rounds that fill caches of the system's own loader and locale code
    constexpr int Rounds = 300;
    constexpr std::size_t SmallestBlock = 32; // one a round is a leak, less is the heap's own noise
    void* const library = load();
    if (!library || !Components(library).setModule(s_plainModule) || dlclose(library) != 0)
        return 1;
    for (int round = 0; round < WarmUp; ++round) {
        if (!loadUseAndUnload(true))
            return 1;
    }
    while (wait(nullptr) > 0) {
    }
    const std::size_t before = heapInUse();
    for (int round = 0; round < Rounds; ++round) {
        if (!loadUseAndUnload(false))
            return 1;
    }
    const bool isClean = heapInUse() <= before + Rounds * SmallestBlock;
    return (isClean || failed("blocks stay behind")) &&
                   (outlivesItsLastUser() || failed("the library does not stay for a module"))
               ? 0
               : 1;
}
