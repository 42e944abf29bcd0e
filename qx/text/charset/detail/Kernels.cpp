#include "qx/text/charset/detail/Kernels.h"

#include <qx/text/charset/detail/Avx2Kernels.h>
#include <qx/text/charset/detail/NeonKernels.h>
#include <qx/text/charset/detail/PlainKernels.h>
#include <qx/text/charset/detail/Sse4Kernels.h>
#include <qx/text/charset/detail/WideKernels.h>

namespace qx::text::charset::detail {

namespace {

// From the slowest to the fastest; what can run one can run those in front of it.
constexpr const KernelSet* AllSets[] = {
    &PlainKernels,
    &WideKernels,
#if defined(__x86_64__)
    &Sse4Kernels,
    &Avx2Kernels,
#elif defined(__aarch64__)
    &NeonKernels,
#endif
};

/// How many of AllSets this machine can run.
size_t countUsable() {
#if defined(__x86_64__)
    __builtin_cpu_init(); // may run before the constructors that do this
    if (!__builtin_cpu_supports("sse4.2") || !__builtin_cpu_supports("popcnt"))
        return std::size(AllSets) - 2;
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("bmi") ||
        !__builtin_cpu_supports("bmi2"))
        return std::size(AllSets) - 1;
#endif
    return std::size(AllSets);
}

[[gnu::constructor]] void chooseFastest() { g_fastestKernels = AllSets[countUsable() - 1]; }

} // namespace

// Not initialised but set: objects of other files may convert before it is this file's turn.
constinit const KernelSet* g_fastestKernels = &PlainKernels;

std::span<const KernelSet* const> kernelSets() { return {AllSets, countUsable()}; }

} // namespace qx::text::charset::detail
