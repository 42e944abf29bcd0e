// Multiplication of limb arrays is internal, yet tested by itself: each algorithm is to be met at
// lengths far below those from which on it is used, with every set of kernels.

#include <algorithm>

#include <gtest/gtest.h>

#include <qx/math/detail/LimbKernels.h>
#include <qx/math/detail/Multiply.h>

#include "tests/math/Naturals.h"
#include "tests/math/SelectedKernels.h"
#include "tests/support/FailingAllocator.h"

namespace {

using namespace qxtest;
using namespace qx::math::detail;

constexpr Limb Guard = 0x5555555555555555;

/// The schoolbook's product, which the tests of the rows hold against a plainer one.
Natural longProduct(const Natural& a, const Natural& b) {
    Natural r(a.size() + b.size());
    limbKernelSets().front()->multiplyRows(r.data(), a.data(), a.size(), b.data(), b.size());
    return r;
}

Natural product(const Natural& a, const Natural& b) {
    Natural r(a.size() + b.size() + 1, Guard);
    multiply(r.data(), a.data(), a.size(), b.data(), b.size());
    EXPECT_EQ(r.back(), Guard);
    r.pop_back();
    return r;
}

Natural squareOf(const Natural& a) {
    Natural r(2 * a.size() + 1, Guard);
    square(r.data(), a.data(), a.size());
    EXPECT_EQ(r.back(), Guard);
    r.pop_back();
    return r;
}

void expectMultiplies(const Natural& a, const Natural& b) {
    SCOPED_TRACE(testing::Message() << a.size() << " by " << b.size() << " limbs");
    const Natural expected = longProduct(a, b);
    EXPECT_TRUE(product(a, b) == expected);
    EXPECT_TRUE(product(b, a) == expected);
}

void expectSquares(const Natural& a) {
    SCOPED_TRACE(testing::Message() << "square of " << a.size() << " limbs");
    const Natural expected = longProduct(a, a);
    EXPECT_TRUE(squareOf(a) == expected);
    EXPECT_TRUE(product(a, a) == expected); // the same array twice
    const Natural copy = a;
    EXPECT_TRUE(product(a, copy) == expected); // the same number twice
}

constexpr size_t Never = size_t{1} << 60;

struct Algorithms {
    const char* name;
    MultiplyThresholds thresholds;
};

/// Karatsuba, its square, Toom-3, its square, NTT, its square, NTT of uneven lengths.
const Algorithms Mixes[] = {
    {"Karatsuba", {2, 2, Never, Never, Never, Never, Never, Never}},
    {"Toom3", {5, 5, 5, 5, Never, Never, Never, Never}},
    {"Ntt", {2, 2, 2, 2, 2, 2, 2, Never}},
    {"KaratsubaOverRows", {7, 9, Never, Never, Never, Never, Never, Never}},
    {"Toom3OverKaratsuba", {3, 4, 11, 13, Never, Never, Never, Never}},
    {"KaratsubaInsteadOfNtt", {2, 2, Never, Never, Never, Never, 5, Never}},
    {"All", {3, 4, 9, 11, 30, 34, 20, Never}},
};

using Mix = std::tuple<const LimbKernels*, const Algorithms*>;

class MultiplyBy : public testing::TestWithParam<Mix> {
protected:
    MultiplyBy() : m_selected(*std::get<0>(GetParam()), std::get<1>(GetParam())->thresholds) {}

private:
    SelectedKernels m_selected;
};

std::vector<const Algorithms*> mixes() {
    std::vector<const Algorithms*> result;
    for (const Algorithms& mix : Mixes)
        result.push_back(&mix);
    return result;
}

INSTANTIATE_TEST_SUITE_P(All, MultiplyBy,
                         testing::Combine(testing::ValuesIn(limbKernelSets()),
                                          testing::ValuesIn(mixes())),
                         [](const auto& mix) {
                             return std::string(std::get<0>(mix.param)->name) + "_" +
                                    std::get<1>(mix.param)->name;
                         });

TEST_P(MultiplyBy, EveryPairOfSmallLengths) {
    Naturals naturals(1);
    for (size_t an = 1; an <= 70; ++an) {
        for (size_t bn = 1; bn <= an; ++bn)
            expectMultiplies(naturals(an), naturals(bn));
        for (int i = 0; i < 4; ++i)
            expectSquares(naturals(an));
    }
}

TEST_P(MultiplyBy, LopsidedLengths) {
    Naturals naturals(2);
    for (const size_t bn : std::initializer_list<size_t>{1, 2, 3, 8, 33}) {
        for (size_t an : {bn * 8, bn * 8 + 1, bn * 17 - 1, bn * 24, size_t{700}})
            expectMultiplies(naturals(an), naturals(bn));
    }
}

TEST_P(MultiplyBy, ShapesWithLongCarries) {
    for (const size_t n : std::initializer_list<size_t>{5, 16, 31, 48, 64, 99}) {
        const Natural ones(n, ~Limb{0});
        expectSquares(ones);
        expectMultiplies(ones, Natural(n / 2 + 1, ~Limb{0}));
        for (size_t i = 0; i < n; ++i) {
            Natural bit(n), hole = ones;
            bit[i] = Limb{1} << (i * 11 % 64);
            hole[i] = 0;
            expectSquares(bit);
            expectMultiplies(bit, ones);
            expectMultiplies(hole, ones);
            expectMultiplies(hole, bit);
        }
        Natural ends(n);
        ends.front() = ends.back() = ~Limb{0}; // zeros between
        expectSquares(ends);
        expectMultiplies(ends, ones);
        expectMultiplies(ends, Natural(n)); // by zero
    }
}

TEST_P(MultiplyBy, OneOperandWithinTheOther) {
    Naturals naturals(3);
    const Natural a = naturals(90);
    for (const size_t bn : std::initializer_list<size_t>{1, 7, 30, 45}) {
        for (size_t at : {size_t{0}, bn, a.size() - bn}) {
            const Natural b(a.begin() + static_cast<ptrdiff_t>(at),
                            a.begin() + static_cast<ptrdiff_t>(at + bn));
            Natural r(a.size() + bn);
            multiply(r.data(), a.data(), a.size(), a.data() + at, bn);
            EXPECT_TRUE(r == longProduct(a, b)) << bn << " limbs at " << at;
        }
    }
}

class MultiplyWith : public testing::TestWithParam<const LimbKernels*> {
protected:
    MultiplyWith() : m_selected(*GetParam(), GetParam()->thresholds) {}

private:
    SelectedKernels m_selected;
};

INSTANTIATE_TEST_SUITE_P(All, MultiplyWith, testing::ValuesIn(limbKernelSets()),
                         [](const auto& set) { return std::string(set.param->name); });

TEST_P(MultiplyWith, LengthsAroundItsThresholds) {
    Naturals naturals(4);
    const MultiplyThresholds& t = GetParam()->thresholds;
    for (size_t threshold : {t.karatsuba, t.karatsubaSquare, t.toom3, t.toom3Square, t.ntt,
                             t.nttSquare, t.nttUneven}) {
        for (size_t n = threshold - 2; n <= threshold + 2; ++n) {
            expectSquares(naturals(n));
            expectMultiplies(naturals(n), naturals(n));
            expectMultiplies(naturals(n + 1), naturals(n));
            expectMultiplies(naturals(2 * n + 1), naturals(n));
            expectMultiplies(naturals(9 * n - 1), naturals(n));
        }
    }
}

/// What a plan can hold, to the last coefficient.
void expectTransformMultiplies(const LimbKernels& kernels, const NttPlan& plan, const Natural& a,
                               const Natural& b) {
    SCOPED_TRACE(testing::Message() << a.size() << " by " << b.size() << " limbs, " << plan.main
                                    << " + " << plan.tail << " by " << plan.bits << " bits");
    Natural scratch(nttScratch(plan) + 1, Guard);
    Natural r(a.size() + b.size() + 1, Guard);
    kernels.nttMultiply(r.data(), a.data(), a.size(), b.data(), b.size(), plan, scratch.data());
    EXPECT_EQ(r.back(), Guard);
    EXPECT_EQ(scratch.back(), Guard);
    r.pop_back();
    EXPECT_TRUE(r == longProduct(a, b));
}

TEST_P(MultiplyWith, TransformsOfEveryShape) {
    Naturals naturals(5);
    for (size_t main = 16; main <= 4096; main *= 2) {
        for (size_t tail : {size_t{0}, main / 8, main / 4, main / 2}) {
            if (tail != 0 && tail < 16)
                continue;
            for (unsigned bits : {64U, 60U}) {
                const NttPlan plan = {main, tail, bits};
                // One coefficient less than those of both.
                const size_t limbs = (plan.length() + 1) * bits / 64 - (bits == 60 ? 1 : 0);
                const size_t longest = limbs - 1;
                for (size_t bn : {size_t{1}, limbs / 7, limbs / 3, limbs / 2}) {
                    bn = std::max<size_t>(bn, 1);
                    expectTransformMultiplies(*GetParam(), plan, naturals(limbs - bn),
                                              naturals(bn));
                    expectTransformMultiplies(*GetParam(), plan, Natural(limbs - bn, ~Limb{0}),
                                              Natural(bn, ~Limb{0}));
                }
                const Natural only = {3};
                expectTransformMultiplies(*GetParam(), plan, naturals(longest), only);
                expectTransformMultiplies(*GetParam(), plan, only, only);
            }
        }
    }
}

TEST_P(MultiplyWith, TheLargestCoefficientsOfLongOperands) {
    // The most limbs whose coefficients have 64 bits, then 60: (B^n - 1)^2 = B^2n - 2 B^n + 1, in
    // which the middle coefficient is as large as it gets.
    for (size_t n : {size_t{1} << 18, (size_t{1} << 18) + 1}) {
        Natural expected(2 * n);
        expected[0] = 1;
        expected[n] = ~Limb{0} - 1;
        std::fill(expected.begin() + static_cast<ptrdiff_t>(n) + 1, expected.end(), ~Limb{0});
        EXPECT_TRUE(squareOf(Natural(n, ~Limb{0})) == expected) << n;
    }
}

TEST_P(MultiplyWith, LongOperandsModuloAPrime) {
    Naturals naturals(6);
    constexpr Limb Prime = (Limb{1} << 61) - 1;
    const auto remainder = [](const Natural& a) {
        Natural q(a.size());
        return divideLimb(q.data(), a.data(), a.size(), Prime);
    };
    for (const size_t an : std::initializer_list<size_t>{20000, 100000}) {
        for (size_t bn : {an, an - 1, an / 3, an / 30}) {
            const Natural a = naturals(an), b = naturals(bn);
            const Natural expected = multiplyAdd({remainder(a)}, {remainder(b)}, {});
            EXPECT_EQ(remainder(product(a, b)), remainder(expected)) << an << " by " << bn;
        }
    }
}

TEST(Multiply, LeavesTheResultAloneWhenThereIsNoMemory) {
    Naturals naturals(7);
    for (const size_t n : std::initializer_list<size_t>{400, 1500}) {
        const Natural a = naturals(n), b = naturals(n);
        const Natural untouched(2 * n, Guard);
        Natural r = untouched;
        const auto failing = [&](auto&& operation) {
            return failEachAllocation([&] {
                std::fill(r.begin(), r.end(), Guard);
                try {
                    operation();
                } catch (const std::bad_alloc&) {
                    EXPECT_TRUE(r == untouched);
                }
            });
        };
        // One block of scratch, however deep the recursion.
        EXPECT_EQ(failing([&] { multiply(r.data(), a.data(), n, b.data(), n); }), 1);
        EXPECT_EQ(failing([&] { multiply(r.data(), a.data(), n, b.data(), n / 2); }), 1);
        EXPECT_EQ(failing([&] { square(r.data(), a.data(), n); }), 1);
    }
    const Natural a = naturals(50);
    Natural r(100);
    EXPECT_EQ(failEachAllocation([&] { multiply(r.data(), a.data(), 50, a.data(), 50); }), 0);
}

} // namespace
