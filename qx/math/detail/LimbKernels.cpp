#include "qx/math/detail/LimbKernels.h"

#include <atomic>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace qx::math::detail {

namespace {

// From the slowest to the fastest.
constexpr const LimbKernels* AllSets[] = {
    &PlainLimbKernels,
#if defined(__x86_64__)
    &AdxLimbKernels,
#elif defined(__aarch64__)
    &NeonLimbKernels,
#endif
};

#if defined(__x86_64__)
/// Not every compiler's __builtin_cpu_supports knows ADX.
bool hasAdx() {
    unsigned eax, ebx, ecx, edx;
    return __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 && (ebx & bit_ADX) != 0;
}
#endif

/// How many of AllSets this machine can run.
size_t countUsable() {
#if defined(__x86_64__)
    __builtin_cpu_init(); // may run before the constructors that do this
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma") ||
        !__builtin_cpu_supports("bmi2") || !hasAdx())
        return std::size(AllSets) - 1;
#endif
    return std::size(AllSets);
}

constinit std::atomic<const LimbKernels*> s_current = nullptr;

} // namespace

const LimbKernels& limbKernels() noexcept {
    // The sets are constants, so that the pointer alone has to be seen whole.
    const LimbKernels* current = s_current.load(std::memory_order_relaxed);
    if (current == nullptr) [[unlikely]] {
        current = limbKernelSets().back();
        s_current.store(current, std::memory_order_relaxed);
    }
    return *current;
}

std::span<const LimbKernels* const> limbKernelSets() noexcept {
    static const size_t usable = countUsable();
    return {AllSets, usable};
}

void selectLimbKernels(const LimbKernels& kernels) noexcept {
    s_current.store(&kernels, std::memory_order_relaxed);
}

} // namespace qx::math::detail
