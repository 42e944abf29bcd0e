// Loads and unloads the library over and over: nothing may stay behind. Leaks are reported by the
// sanitizer that the program is built with; without one, by the growth of the heap.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <dlfcn.h>
#include <malloc.h>
#include <sys/wait.h>

#include <qx/collections/IComparator.h>
#include <qx/collections/pcom/HashSet.h>
#include <qx/core/Reference.h>
#include <qx/platform/process.h>

namespace {

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

bool useSet(void* library) {
    // By the names of the functions: the class itself is not linked here.
    using qx::collections::pcom::HashSet;
    const auto construct = reinterpret_cast<void (*)(void* set)>(
        dlsym(library, "_ZN2qx11collections4pcom7HashSetC1Ev"));
    const auto destruct = reinterpret_cast<void (*)(void* set)>(
        dlsym(library, "_ZN2qx11collections4pcom7HashSetD1Ev"));
    const auto add = reinterpret_cast<bool (*)(void* set, IQXUnknown* element)>(
        dlsym(library, "_ZN2qx11collections4pcom7HashSet3addEP10IQXUnknown"));
    if (!construct || !destruct || !add)
        return false;
    alignas(HashSet) std::byte set[sizeof(HashSet)];
    construct(set);
    const bool added = add(set, nullptr) && !add(set, nullptr);
    destruct(set);
    return added;
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

bool loadUseAndUnload(bool withChild) {
    void* const library = dlopen(QX_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        std::fprintf(stderr, "%s\n", dlerror());
        return false;
    }
    using Enumerate = int32_t (*)(uint32_t * count, void* infos);
    const auto enumerate = reinterpret_cast<Enumerate>(dlsym(library, "QXEnumerateEncInfo"));
    uint32_t count = 0;
    if (!enumerate || enumerate(&count, nullptr) >= 0 || count != 28) {
        std::fprintf(stderr, "the library did not start up\n");
        return false;
    }
    if (!useComparator(library)) {
        std::fprintf(stderr, "no comparator\n");
        return false;
    }
    if (withChild && !leaveChild(library)) {
        std::fprintf(stderr, "no child\n");
        return false;
    }
    if (!useSet(library)) {
        std::fprintf(stderr, "no set\n");
        return false;
    }
    if (dlclose(library) != 0) {
        std::fprintf(stderr, "%s\n", dlerror());
        return false;
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    if (dlopen(QX_LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD)) {
        std::fprintf(stderr, "the library stays loaded\n");
        return false;
    }
#endif
    return true;
}

std::size_t heapInUse() { return mallinfo2().uordblks; }

} // namespace

int main() {
    constexpr int WarmUp = 20; // rounds that fill caches of the system's own loader and locale code
    constexpr int Rounds = 300;
    constexpr std::size_t SmallestBlock = 32; // one a round is a leak, less is the heap's own noise
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
    const std::size_t after = heapInUse();
    if (after > before + Rounds * SmallestBlock) {
        std::fprintf(stderr, "%zu bytes stay behind\n", after - before);
        return 1;
    }
    return 0;
}
