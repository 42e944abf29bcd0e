#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <random>
#include <vector>

#include <qx/math/detail/LimbKernels.h>
#include <qx/math/detail/ModPow.h>
#include <qx/math/detail/Multiply.h>

// Measures where each algorithm for long operands begins to pay, for every set of kernels that the
// machine can run: the figures of qx/math/detail/MultiplyThresholds.h. A threshold is where the
// better algorithm is ahead at this and the next lengths, the lower ones being set already.

namespace {

using namespace qx::math::detail;
using Clock = std::chrono::steady_clock;

constexpr size_t Never = size_t{1} << 40;

std::vector<Limb> operand(size_t n) {
    static std::mt19937_64 random(1);
    std::vector<Limb> limbs(n);
    std::generate(limbs.begin(), limbs.end(), std::ref(random));
    limbs[0] |= 1;
    return limbs;
}

/// Least of many short runs of both, by turns, which other processes disturb the least.
template <class First, class Second>
bool isFaster(First&& first, Second&& second) {
    const auto once = [](auto& operation, int calls) {
        const auto start = Clock::now();
        for (int i = 0; i < calls; ++i)
            operation();
        return Clock::now() - start;
    };
    int calls = 1;
    while (once(first, calls) < std::chrono::microseconds(20))
        calls *= 2;
    auto bestFirst = Clock::duration::max(), bestSecond = bestFirst;
    for (int run = 0; run < 300; ++run) {
        bestFirst = std::min(bestFirst, once(first, calls));
        bestSecond = std::min(bestSecond, once(second, calls));
    }
    return bestFirst < bestSecond;
}

class Tuner {
public:
    explicit Tuner(const LimbKernels& kernels) : m_without(kernels), m_with(kernels) {
        set(&MultiplyThresholds::montgomery, Never);
        for (auto threshold : {&MultiplyThresholds::karatsuba, &MultiplyThresholds::karatsubaSquare,
                               &MultiplyThresholds::toom3, &MultiplyThresholds::toom3Square,
                               &MultiplyThresholds::ntt, &MultiplyThresholds::nttSquare,
                               &MultiplyThresholds::nttUneven})
            set(threshold, Never);
    }

    /// The first length from which @p operation, on a[2n] and b[n], is faster with the algorithm.
    template <class Operation>
    size_t tune(size_t MultiplyThresholds::*threshold, size_t from, Operation operation) {
        size_t found = 0;
        int ahead = 0;
        for (size_t n = from; ahead < 4; n += std::max<size_t>(1, n / 24)) {
            m_with.thresholds.*threshold = n;
            const auto a = operand(2 * n), b = operand(n);
            const auto with = [&] { run(m_with, operation, a.data(), b.data(), n); };
            const auto without = [&] { run(m_without, operation, a.data(), b.data(), n); };
            if (!isFaster(with, without)) {
                ahead = 0;
            } else if (ahead++ == 0) {
                found = n;
            }
        }
        set(threshold, found);
        return found;
    }

private:
    void set(size_t MultiplyThresholds::*threshold, size_t n) {
        m_with.thresholds.*threshold = n;
        m_without.thresholds.*threshold = n;
    }

    template <class Operation>
    static void run(const LimbKernels& kernels, Operation operation, const Limb* a, const Limb* b,
                    size_t n) {
        selectLimbKernels(kernels);
        operation(a, b, n);
    }

    LimbKernels m_without;
    LimbKernels m_with;
};

void printThresholds(const LimbKernels& kernels) {
    std::vector<Limb> product(10'000);
    const auto multiplies = [&](const Limb* a, const Limb* b, size_t n) {
        multiply(product.data(), a, n, b, n);
    };
    const auto multipliesUneven = [&](const Limb* a, const Limb* b, size_t n) {
        multiply(product.data(), a, n + n / 2, b, n);
    };
    const auto squares = [&](const Limb* a, const Limb*, size_t n) {
        square(product.data(), a, n);
    };
    const auto raises = [&](const Limb* a, const Limb* m, size_t n) {
        static constexpr Limb Exponent = ~Limb{0} >> 44; // 20 bits
        modPow(product.data(), a, n, &Exponent, 1, m, n);
    };
    using T = MultiplyThresholds;
    Tuner tuner(kernels);
    std::printf("%s\n", kernels.name);
    const auto print = [&](const char* name, size_t found) {
        std::printf("  %-16s %zu\n", name, found);
        std::fflush(stdout);
    };
    print("karatsuba", tuner.tune(&T::karatsuba, 8, multiplies));
    print("karatsubaSquare", tuner.tune(&T::karatsubaSquare, 8, squares));
    print("toom3", tuner.tune(&T::toom3, 40, multiplies));
    print("toom3Square", tuner.tune(&T::toom3Square, 40, squares));
    print("ntt", tuner.tune(&T::ntt, 80, multiplies));
    print("nttSquare", tuner.tune(&T::nttSquare, 80, squares));
    print("nttUneven", tuner.tune(&T::nttUneven, 80, multipliesUneven));
    print("montgomery", tuner.tune(&T::montgomery, 60, raises));
}

} // namespace

int main() {
    for (const LimbKernels* kernels : limbKernelSets())
        printThresholds(*kernels);
}
