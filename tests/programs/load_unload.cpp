// Loads and unloads the library over and over: nothing may stay behind. Leaks are reported by the
// sanitizer that the program is built with; without one, by the growth of the heap.

#include <cstdint>
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

#include "tests/support/Require.h"
#include "tests/testmodules/plain.h"

namespace {

using qxtest::require; // which nothing catches: the program aborts

const char* s_registry; // a folder

/// The function of the name in the loaded library.
template <class Function>
Function* find(void* library, const char* name) {
    void* const found = dlsym(library, name);
    require(found != nullptr, name);
    return reinterpret_cast<Function*>(found);
}
#define FIND(function) find<decltype(function)>(library, #function)

/// Names the module that offers plain things.
void setModule(void* library, const char* path) {
    const std::u16string text(path, path + std::strlen(path) + 1);
    const auto set = FIND(QXRegistrySetValue);
    FIND(QXRegistrySetFolder)(s_registry);
    require(set(QX_HKEY_CLASSES_64, PLAIN_NAME u"\\CLSID", u"", QX_REG_STRING, PLAIN_CLASS,
                sizeof PLAIN_CLASS) == 0 &&
                set(QX_HKEY_CLASSES_64, u"CLSID\\" PLAIN_CLASS u"\\InprocServer32", u"",
                    QX_REG_STRING, text.data(),
                    static_cast<int32_t>(text.size() * sizeof(char16_t))) == 0,
            "registry");
}

using Thing = const QXUnknownTable**;

Thing createThing(void* library) {
    void* thing = nullptr;
    FIND(QXRegistrySetFolder)(s_registry);
    FIND(QXComCreateObjectByProgID)(PLAIN_NAME, nullptr, &PlainUnknownId, &thing);
    require(thing != nullptr, "component");
    return static_cast<Thing>(thing);
}

void useAndRelease(Thing thing) {
    require((*thing)->AddRef(thing) == 2 && (*thing)->Release(thing) == 1, "component works");
    require((*thing)->Release(thing) == 0, "component ends");
}

/// How many modules stay loaded.
int32_t freeModules(void* library) {
    int32_t kept = -1;
    return FIND(QXComFreeUnusedModules)(0, &kept) == 0 ? kept : -1;
}

/// Leaves a child that may end before or after the library is unloaded.
void leaveChild(void* library) {
    QXHandle streams[3], process = 0;
    constexpr uint32_t Flags =
        QX_PROCESS_INHERIT_INPUT | QX_PROCESS_INHERIT_OUTPUT | QX_PROCESS_INHERIT_ERROR;
    require(FIND(QXProcessCreate)(nullptr, u"sleep 0.001", nullptr, nullptr, Flags, streams,
                                  &process) == 0 &&
                FIND(QXProcessDetach)(process) == 0,
            "child");
}

/// Has the library make things that it keeps until it is unloaded.
void use(void* library) {
    uint32_t count = 0;
    find<int32_t(uint32_t*, void*)>(library, "QXEnumerateEncInfo")(&count, nullptr);
    require(count == 28, "start-up");
    const auto getComparator = find<qx::Reference<IQXComparator>()>(
        library, "_ZN2qx11collections20GetDefaultComparatorEv");
    const auto comparator = getComparator();
    int order = 1;
    require(comparator->Compare(nullptr, nullptr, &order) == 0 && order == 0 &&
                getComparator() == comparator,
            "comparator");
    const Thing thing = createThing(library);
    require(freeModules(library) == 1, "module in use");
    useAndRelease(thing);
    require(freeModules(library) == 0, "module out of use");
}

void* load(int flags = 0) { return dlopen(QX_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL | flags); }

void unload(void* library) {
    require(dlclose(library) == 0, "unload");
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // have reasons of their own
    require(load(RTLD_NOLOAD) == nullptr, "the library stays loaded");
#endif
}

} // namespace

/// Arguments: a folder for the registry, a module, and one that is not linked to the library.
int main(int argc, char** argv) {
    require(argc == 4, "arguments");
    s_registry = argv[1];
    constexpr int WarmUp = 20; // rounds that fill caches of the system's own loader and locale code
    constexpr int Rounds = 300;
    constexpr std::size_t SmallestBlock = 32; // one a round is a leak, less is the heap's own noise
    std::size_t before = 0;
    for (int round = 0; round < WarmUp + Rounds; ++round) {
        void* const library = load();
        require(library != nullptr, dlerror());
        if (round == 0)
            setModule(library, argv[2]);
        use(library);
        if (round < WarmUp)
            leaveChild(library);
        unload(library);
        while (round + 1 == WarmUp && wait(nullptr) > 0) {
        }
        if (round + 1 == WarmUp)
            before = mallinfo2().uordblks;
    }
    require(mallinfo2().uordblks <= before + Rounds * SmallestBlock, "blocks stay behind");

    // A module needs the library until it is unloaded itself, also one that was not linked to it.
    void* library = load();
    setModule(library, argv[3]);
    const Thing thing = createThing(library);
    require(dlclose(library) == 0, "unload under a module");
    useAndRelease(thing);
    library = load(RTLD_NOLOAD);
    require(library != nullptr, "the library stays for a module");
    require(freeModules(library) == 0, "the last module");
    unload(library);
    return 0;
}
