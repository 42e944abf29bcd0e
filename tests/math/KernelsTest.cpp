// Rows of limbs and their products are internal, yet tested by themselves: each set of kernels must
// agree with the plain model at every length, and each algorithm is to be met at lengths far below
// those from which on it is used. The classes above them choose neither.

#include <algorithm>
#include <span>

#include <gtest/gtest.h>

#include <qx/math/detail/Multiply.h>

#include "tests/math/Naturals.h"

namespace {

using namespace qxtest;
using namespace qx::math::detail;

constexpr Limb Ones = ~Limb{0};

/// What @p kernel makes of a row, and above it the limb that it returns.
template <class Kernel, class... Arguments>
Natural run(Natural row, Kernel&& kernel, Arguments... arguments) {
    const Limb above = kernel(row.data(), arguments...);
    row.push_back(above);
    return row;
}

/// The same of @p a, in place, which is how most callers use them, or into another array.
template <class Kernel, class... Arguments>
Natural runOn(const Natural& a, bool isInPlace, Kernel&& kernel, Arguments... arguments) {
    return run(isInPlace ? a : Natural(a.size(), 7),
               [&](Limb* r) { return kernel(r, isInPlace ? r : a.data(), arguments...); });
}

/// Holds that @p row, above which stands what was lacking, is the difference.
void expectDifference(Natural row, Natural minuend, const Natural& subtrahend) {
    minuend.push_back(row.back());
    row.pop_back();
    EXPECT_EQ(multiplyAdd(row, {1}, subtrahend), normalized(minuend));
}

TEST(Limbs, RowsAgreeWithThePlainModel) {
    withEverySet([](const LimbKernels& kernels) {
        Naturals naturals(1);
        for (size_t n = 0; n <= 40; ++n) {
            SCOPED_TRACE(n);
            for (int i = 0; i < 40; ++i) {
                const Natural a = naturals(n), b = naturals(n), factor = naturals(1);
                const Natural product = multiplyAdd(a, factor, {});
                for (const bool isInPlace : {true, false}) {
                    const Natural sum = runOn(a, isInPlace, kernels.add, b.data(), n);
                    EXPECT_EQ(normalized(sum), multiplyAdd(a, {1}, b));
                    expectDifference(runOn(a, isInPlace, kernels.subtract, b.data(), n), a, b);
                    const Natural made = runOn(a, isInPlace, kernels.multiplyLimb, n, factor[0]);
                    EXPECT_EQ(normalized(made), product);
                }
                const Natural sum = run(b, kernels.addProduct, a.data(), n, factor[0]);
                EXPECT_EQ(normalized(sum), multiplyAdd(a, factor, b));
                expectDifference(run(b, kernels.subtractProduct, a.data(), n, factor[0]), b,
                                 product);
            }
        }
    });
}

TEST(Limbs, RowsMultiplyAndSquareLikeThePlainModel) {
    withEverySet([](const LimbKernels& kernels) {
        Naturals naturals(2);
        for (size_t an = 1; an <= 40; ++an) {
            const Natural a = naturals(an);
            for (size_t bn = 1; bn <= an; ++bn) {
                const Natural b = naturals(bn);
                const Natural r = made(an + bn, [&](Limb* to) {
                    kernels.multiplyRows(to, a.data(), an, b.data(), bn);
                });
                EXPECT_EQ(normalized(r), multiplyAdd(a, b, {})) << an << " by " << bn;
            }
            const Natural r = made(2 * an, [&](Limb* to) { kernels.squareRows(to, a.data(), an); });
            EXPECT_EQ(normalized(r), multiplyAdd(a, a, {})) << "square of " << an;
        }
    });
}

TEST(Limbs, RowsCancelTheLowHalfForMontgomery) {
    withEverySet([](const LimbKernels& kernels) {
        Naturals naturals(3);
        for (size_t n = 1; n <= 40; ++n) {
            Natural m = naturals(n), t = naturals(2 * n);
            m[0] |= 1;
            Limb inverse = m[0];
            for (int i = 0; i < 5; ++i)
                inverse *= 2 - m[0] * inverse;
            Natural rows = t;
            kernels.montgomeryRows(rows.data(), m.data(), n, Limb{0} - inverse);

            // (low half + high half) * B^n is t plus a multiple of m.
            const Natural low(rows.begin(), rows.begin() + static_cast<ptrdiff_t>(n));
            Natural sum =
                multiplyAdd(low, {1}, {rows.begin() + static_cast<ptrdiff_t>(n), rows.end()});
            sum.insert(sum.begin(), n, 0);
            EXPECT_EQ(remainder(difference(sum, t), m), Natural{}) << n;
        }
    });
}

TEST(Limbs, SingleLimbsCarryAsFarAsNeeded) {
    for (const Natural& a : std::initializer_list<Natural>{
             {}, {Ones, Ones, 3}, {Ones, Ones}, {Ones, 8}, {0, 0, 3}, {0, 0}}) {
        for (const Limb b : {Limb{0}, Limb{1}, Limb{5}, Ones}) {
            for (const bool isInPlace : {true, false}) {
                const Natural sum = runOn(a, isInPlace, addLimb, a.size(), b);
                EXPECT_EQ(normalized(sum), multiplyAdd(a, {1}, {b}));
                expectDifference(runOn(a, isInPlace, subtractLimb, a.size(), b), a, {b});
            }
        }
    }
}

TEST(Limbs, ShiftsAreProductsWithPowersOfTwo) {
    Naturals naturals(4);
    for (size_t n = 0; n <= 12; ++n) {
        for (unsigned bits = 1; bits < 64; ++bits) {
            const Natural a = naturals(n);
            for (const bool isInPlace : {true, false}) {
                EXPECT_EQ(normalized(runOn(a, isInPlace, shiftLeft, n, bits)),
                          multiplyAdd(a, {Limb{1} << bits}, {}));
                // To the right by bits is to the left by the rest and down by a limb.
                Natural right = runOn(a, isInPlace, shiftRight, n, bits);
                std::rotate(right.begin(), right.end() - 1, right.end());
                EXPECT_EQ(normalized(right), multiplyAdd(a, {Limb{1} << (64 - bits)}, {}));
            }
            Natural row = a, apart = runOn(a, false, shiftRight, n, bits);
            row.insert(row.begin(), 0);
            shiftRight(row.data(), row.data() + 1, n, bits); // down within one array
            EXPECT_TRUE(std::equal(apart.begin(), apart.end() - 1, row.begin()));
        }
    }
}

TEST(Limbs, DivisionByALimbIsUndoneByMultiplication) {
    Naturals naturals(5);
    for (size_t n = 0; n <= 12; ++n) {
        for (int i = 0; i < 300; ++i) {
            const Natural a = naturals(n);
            const Limb divisor = std::max<Limb>(naturals(1)[0] >> naturals.below(64), 1);
            for (const bool isInPlace : {true, false}) {
                Natural q = runOn(a, isInPlace, divideLimb, n, divisor);
                const Limb remainder = q.back();
                q.pop_back();
                EXPECT_LT(remainder, divisor);
                EXPECT_EQ(multiplyAdd(q, {divisor}, {remainder}), normalized(a));
            }
        }
    }
}

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
