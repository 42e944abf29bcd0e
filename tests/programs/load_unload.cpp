// Loads and unloads the library over and over: nothing may stay behind. Leaks are reported by the
// sanitizer that the program is built with; without one, by the growth of the heap.

#include <cstdint>
#include <cstdio>
#include <dlfcn.h>
#include <malloc.h>

#include <qx/collections/IComparator.h>
#include <qx/core/Reference.h>

namespace {

/// Has the library make what it keeps until it is unloaded.
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

bool loadUseAndUnload() {
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
        if (!loadUseAndUnload())
            return 1;
    }
    const std::size_t before = heapInUse();
    for (int round = 0; round < Rounds; ++round) {
        if (!loadUseAndUnload())
            return 1;
    }
    const std::size_t after = heapInUse();
    if (after > before + Rounds * SmallestBlock) {
        std::fprintf(stderr, "%zu bytes stay behind\n", after - before);
        return 1;
    }
    return 0;
}
