// The rows of limbs are internal, yet tested by themselves: each set of kernels must agree with the
// plain model at every length, which the classes above them do not choose.

#include <algorithm>

#include <gtest/gtest.h>

#include <qx/math/detail/LimbKernels.h>

#include "tests/math/Naturals.h"
#include "tests/math/SelectedKernels.h"

namespace {

using namespace qxtest;
using namespace qx::math::detail;

/// What @p kernel makes of a row, and above it the limb that it returns.
template <class Kernel>
Natural run(Natural row, Kernel&& kernel) {
    const Limb above = kernel(row.data());
    row.push_back(above);
    return row;
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
                const Natural a = naturals(n), b = naturals(n);
                const Limb factor = naturals(1)[0];
                const Natural product = multiplyAdd(a, {factor}, {});
                // In place, which is how most callers use them, and into another array.
                for (const Natural& start : {a, Natural(n, 7)}) {
                    const auto from = [&](Limb* r) { return start == a ? r : a.data(); };
                    const auto made = [&](auto&& kernel) { return run(start, kernel); };
                    EXPECT_EQ(normalized(made(
                                  [&](Limb* r) { return kernels.add(r, from(r), b.data(), n); })),
                              multiplyAdd(a, {1}, b));
                    expectDifference(
                        made([&](Limb* r) { return kernels.subtract(r, from(r), b.data(), n); }), a,
                        b);
                    EXPECT_EQ(normalized(made([&](Limb* r) {
                                  return kernels.multiplyLimb(r, from(r), n, factor);
                              })),
                              product);
                }
                EXPECT_EQ(
                    normalized(run(
                        b, [&](Limb* r) { return kernels.addProduct(r, a.data(), n, factor); })),
                    multiplyAdd(a, {factor}, b));
                expectDifference(
                    run(b,
                        [&](Limb* r) { return kernels.subtractProduct(r, a.data(), n, factor); }),
                    b, product);
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
    constexpr Limb Ones = ~Limb{0};
    for (const Natural& a : {Natural{}, Natural{Ones, Ones, 3}, Natural{Ones, Ones},
                             Natural{Ones, 8}, Natural{0, 0, 3}, Natural{0, 0}}) {
        for (const Limb b : {Limb{0}, Limb{1}, Limb{5}, Ones}) {
            const size_t n = a.size();
            for (const Natural& start : {a, Natural(n, 7)}) {
                const auto from = [&](Limb* r) { return start == a ? r : a.data(); };
                EXPECT_EQ(
                    normalized(run(start, [&](Limb* r) { return addLimb(r, from(r), n, b); })),
                    multiplyAdd(a, {1}, {b}));
                expectDifference(
                    run(start, [&](Limb* r) { return subtractLimb(r, from(r), n, b); }), a, {b});
            }
        }
    }
}

TEST(Limbs, ShiftsAreProductsWithPowersOfTwo) {
    Naturals naturals(4);
    for (size_t n = 0; n <= 12; ++n) {
        for (unsigned bits = 1; bits < 64; ++bits) {
            const Natural a = naturals(n);
            EXPECT_EQ(normalized(run(a, [&](Limb* r) { return shiftLeft(r, r, n, bits); })),
                      multiplyAdd(a, {Limb{1} << bits}, {}));
            // To the right by bits is to the left by the rest and down by a limb, also in one
            // array.
            Natural wide = multiplyAdd(a, {Limb{1} << (64 - bits)}, {});
            wide.resize(n + 1);
            Natural right = run(a, [&](Limb* r) { return shiftRight(r, r, n, bits); });
            std::rotate(right.begin(), right.end() - 1, right.end());
            EXPECT_EQ(right, wide);
            Natural moved = a;
            moved.insert(moved.begin(), 0);
            shiftRight(moved.data(), moved.data() + 1, n, bits);
            EXPECT_TRUE(std::equal(wide.begin() + 1, wide.end(), moved.begin()));
        }
    }
}

TEST(Limbs, DivisionByALimbIsUndoneByMultiplication) {
    Naturals naturals(5);
    for (size_t n = 0; n <= 12; ++n) {
        for (int i = 0; i < 300; ++i) {
            const Natural a = naturals(n);
            Limb divisor = naturals(1)[0];
            divisor = std::max<Limb>(divisor >> naturals.below(64), 1);
            Natural q(n, 7);
            const Limb remainder = divideLimb(q.data(), a.data(), n, divisor);
            EXPECT_LT(remainder, divisor);
            EXPECT_EQ(multiplyAdd(q, {divisor}, {remainder}), normalized(a));
            Natural inPlace = a;
            EXPECT_EQ(divideLimb(inPlace.data(), inPlace.data(), n, divisor), remainder);
            EXPECT_EQ(inPlace, q);
        }
    }
}

} // namespace
