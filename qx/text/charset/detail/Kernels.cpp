#include "qx/text/charset/detail/Kernels.h"

#include <qx/text/charset/detail/Avx2Kernels.h>
#include <qx/text/charset/detail/PlainKernels.h>
#include <qx/text/charset/detail/WideKernels.h>

namespace qx::text::charset::detail {

namespace {

// From the slowest to the fastest.
constexpr const KernelSet* AllSets[] = {
    &PlainKernels,
    &WideKernels,
#if defined(__x86_64__)
    &Avx2Kernels,
#endif
};

/// How many of AllSets this machine can run.
size_t countUsable() {
#if defined(__x86_64__)
    __builtin_cpu_init(); // may run before the constructors that do this
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("bmi") ||
        !__builtin_cpu_supports("bmi2") || !__builtin_cpu_supports("popcnt"))
        return std::size(AllSets) - 1;
#endif
    return std::size(AllSets);
}

} // namespace

std::span<const KernelSet* const> kernelSets() {
    static const size_t usable = countUsable();
    return {AllSets, usable};
}

const KernelSet& kernels() { return *kernelSets().back(); }

} // namespace qx::text::charset::detail
