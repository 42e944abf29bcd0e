// Multiplication of limb arrays is internal, yet tested by itself: each algorithm is to be met at
// lengths far below those from which on it is used, with every set of kernels.

#include <algorithm>
#include <span>

#include <gtest/gtest.h>

#include <qx/math/detail/LimbKernels.h>
#include <qx/math/detail/Multiply.h>

#include "tests/math/Naturals.h"
#include "tests/math/SelectedKernels.h"

namespace {

using namespace qxtest;
using namespace qx::math::detail;

constexpr Limb Ones = ~Limb{0};
constexpr size_t Never = size_t{1} << 60;

/// Karatsuba, its square, Toom-3, its square, NTT, its square, NTT of uneven lengths.
const MultiplyThresholds Mixes[] = {
    {2, 2, Never, Never, Never, Never, Never, Never},
    {5, 5, 5, 5, Never, Never, Never, Never},
    {2, 2, 2, 2, 2, 2, 2, Never},
    {7, 9, Never, Never, Never, Never, Never, Never}, // over rows
    {3, 4, 11, 13, Never, Never, Never, Never},       // Toom-3 over Karatsuba
    {2, 2, Never, Never, Never, Never, 5, Never},     // instead of a transform
    {3, 4, 9, 11, 30, 34, 20, Never},
};

using Limbs = std::span<const Limb>;

/// The schoolbook's product, which the tests of the rows hold against a plainer one.
Natural longProduct(Limbs a, Limbs b) {
    Natural r(a.size() + b.size());
    limbKernelSets().front()->multiplyRows(r.data(), a.data(), a.size(), b.data(), b.size());
    return r;
}

Natural product(Limbs a, Limbs b) {
    return made(a.size() + b.size(),
                [&](Limb* r) { multiply(r, a.data(), a.size(), b.data(), b.size()); });
}

Natural squareOf(Limbs a) {
    return made(2 * a.size(), [&](Limb* r) { square(r, a.data(), a.size()); });
}

/// Calls @p check while each set of kernels computes by each mix of algorithms.
template <class Check>
void withEveryMix(Check&& check) {
    for (const LimbKernels* const kernels : limbKernelSets()) {
        for (const MultiplyThresholds& mix : Mixes) {
            SCOPED_TRACE(&mix - Mixes);
            const SelectedKernels selected(*kernels, mix);
            check();
        }
    }
}

void expectMultiplies(const Natural& a, const Natural& b) {
    const Natural expected = longProduct(a, b);
    EXPECT_TRUE(product(a, b) == expected) << a.size() << " by " << b.size() << " limbs";
    EXPECT_TRUE(product(b, a) == expected) << b.size() << " by " << a.size() << " limbs";
}

void expectSquares(const Natural& a) {
    SCOPED_TRACE(testing::Message() << "square of " << a.size() << " limbs");
    const Natural expected = longProduct(a, a);
    EXPECT_TRUE(squareOf(a) == expected);
    EXPECT_TRUE(product(a, a) == expected); // the same array twice
    const Natural copy = a;
    EXPECT_TRUE(product(a, copy) == expected); // the same number twice
    const Limbs part = Limbs(a).first((a.size() + 1) / 2);
    EXPECT_TRUE(product(a, part) == longProduct(a, part)); // one within the other
}

TEST(Multiply, EveryPairOfSmallLengthsAndLopsidedOnes) {
    withEveryMix([] {
        Naturals naturals(1);
        for (size_t an = 1; an <= 70; ++an) {
            for (size_t bn = 1; bn <= an; ++bn)
                expectMultiplies(naturals(an), naturals(bn));
            for (int i = 0; i < 6; ++i)
                expectSquares(naturals(an));
            expectMultiplies(naturals(an), Natural(an)); // by zero
        }
        for (const size_t bn : {1U, 2U, 3U, 8U, 33U}) {
            for (size_t an : {bn * 8, bn * 8 + 1, bn * 17 - 1, bn * 24, size_t{700}})
                expectMultiplies(naturals(an), naturals(bn));
        }
    });
}

TEST(Multiply, LengthsAroundTheThresholdsOfEachSet) {
    withEverySet([](const LimbKernels& kernels) {
        Naturals naturals(4);
        const MultiplyThresholds& t = kernels.thresholds;
        for (size_t threshold : {t.karatsuba, t.karatsubaSquare, t.toom3, t.toom3Square, t.ntt,
                                 t.nttSquare, t.nttUneven}) {
            for (size_t n = threshold - 2; n <= threshold + 2; ++n) {
                expectSquares(naturals(n));
                for (const size_t an : {n, n + 1, 2 * n + 1, 9 * n - 1})
                    expectMultiplies(naturals(an), naturals(n));
            }
        }
    });
}

/// What a plan can hold, to the last coefficient.
void expectTransformMultiplies(const LimbKernels& kernels, const NttPlan& plan, const Natural& a,
                               const Natural& b) {
    Natural r;
    made(nttScratch(plan), [&](Limb* scratch) {
        r = made(a.size() + b.size(), [&](Limb* to) {
            kernels.nttMultiply(to, a.data(), a.size(), b.data(), b.size(), plan, scratch);
        });
    });
    EXPECT_TRUE(r == longProduct(a, b)) << a.size() << " by " << b.size() << " limbs, " << plan.main
                                        << " + " << plan.tail << " by " << plan.bits << " bits";
}

TEST(Multiply, TransformsOfEveryShape) {
    withEverySet([](const LimbKernels& kernels) {
        Naturals naturals(5);
        for (size_t main = 16; main <= 4096; main *= 2) {
            for (size_t tail : {size_t{0}, main / 8, main / 4, main / 2}) {
                if (tail != 0 && tail < 16)
                    continue;
                for (unsigned bits : {64U, 60U}) {
                    const NttPlan plan = {main, tail, bits};
                    // One coefficient less than those of both.
                    const size_t limbs = (plan.length() + 1) * bits / 64 - (bits == 60 ? 1 : 0);
                    for (const size_t part : {limbs, size_t{7}, size_t{3}, size_t{2}}) {
                        const size_t bn = std::max<size_t>(limbs / part, 1);
                        const size_t an = limbs - bn;
                        expectTransformMultiplies(kernels, plan, naturals(an), naturals(bn));
                        expectTransformMultiplies(kernels, plan, Natural(an, Ones),
                                                  Natural(bn, Ones));
                    }
                    expectTransformMultiplies(kernels, plan, {3}, {3});
                }
            }
        }
    });
}

TEST(Multiply, LongOperandsModuloAPrime) {
    const auto remainder = [](const Natural& a) {
        constexpr Limb Prime = (Limb{1} << 61) - 1;
        Natural q(a.size());
        return divideLimb(q.data(), a.data(), a.size(), Prime);
    };
    const auto expectRemainder = [&](const Natural& a, const Natural& b) {
        const Natural expected = multiplyAdd({remainder(a)}, {remainder(b)}, {});
        EXPECT_EQ(remainder(&a == &b ? squareOf(a) : product(a, b)), remainder(expected))
            << a.size() << " by " << b.size();
    };
    withEverySet([&](const LimbKernels&) {
        Naturals naturals(6);
        for (const size_t an : {size_t{20000}, size_t{100000}}) {
            for (const size_t bn : {an, an - 1, an / 3, an / 30})
                expectRemainder(naturals(an), naturals(bn));
        }
        // The most limbs whose coefficients have 64 bits, then 60; the middle one of the result is
        // as large as it gets.
        for (const size_t n : {size_t{1} << 18, (size_t{1} << 18) + 1}) {
            const Natural ones(n, Ones);
            expectRemainder(ones, ones);
        }
    });
}

} // namespace
