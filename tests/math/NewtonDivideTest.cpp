// Division by a reciprocal is internal, yet tested by itself, at lengths at which plain arithmetic
// follows it and with reciprocals of every length.

#include <algorithm>

#include <gtest/gtest.h>

#include <qx/math/detail/NewtonDivide.h>
#include <qx/math/detail/Thresholds.h>

#include "tests/math/Naturals.h"

namespace {

using namespace qxtest;
using namespace qx::math::detail;

Natural powerOfB(size_t exponent) {
    Natural power(exponent + 1);
    power.back() = 1;
    return power;
}

/// The reciprocal of the m leading limbs of b, with its top limb.
Natural reciprocalOf(const Natural& b, size_t m) {
    NormalizedDivisor divisor(b.data(), b.size());
    divisor.inverseLength = m;
    Natural x(m);
    Natural scratch(invertScratch(m));
    ProductScratch products;
    invertDivisor(x.data(), divisor, scratch.data(), products);
    x.push_back(1);
    return x;
}

std::vector<Natural> normalizedDivisors(Naturals& naturals, size_t n) {
    constexpr Limb Top = Limb{1} << 63;
    std::vector<Natural> divisors;
    for (int i = 0; i < 8; ++i) {
        divisors.push_back(naturals(n));
        divisors.back().back() |= Top;
    }
    divisors.push_back(Natural(n, ~Limb{0}));
    divisors.push_back(Natural(n));
    divisors.back().back() = Top;
    divisors.push_back(divisors.back());
    divisors.back().front() = 1;
    // The upper part is all ones, so that the reciprocal of the leading limbs has only its top
    // limb.
    divisors.push_back(Natural(n, ~Limb{0}));
    std::fill_n(divisors.back().begin(), n / 2, Limb{0});
    return divisors;
}

/// d and its reciprocal v: 2^(128n) - 2d < vd <= 2^(128n).
void expectReciprocal(const Natural& d) {
    const Natural one = powerOfB(2 * d.size());
    const Natural product = multiplyAdd(reciprocalOf(d, d.size()), d, {});
    ASSERT_FALSE(isLess(one, product));
    ASSERT_TRUE(isLess(difference(one, product), multiplyAdd(d, {2}, {})));
}

TEST(NewtonDivide, ReciprocalsAreBelowTheQuotientByLessThanTwo) {
    Naturals naturals(1);
    const size_t t = NewtonInvertThreshold;
    for (const size_t n : {size_t{2}, size_t{3}, size_t{50}, t - 1, t, t + 1, t + 2, 2 * t - 1,
                           2 * t, 2 * t + 1, 2 * t + 2}) {
        SCOPED_TRACE(testing::Message() << n << " limbs");
        for (const Natural& d : normalizedDivisors(naturals, n))
            expectReciprocal(d);
    }
}

/// What a step of the iteration has left to divide can have a limb more than the divisor: for one
/// in thirty of these.
TEST(NewtonDivide, ReciprocalsOfRunsOfOnesAndZeros) {
    Naturals naturals(4);
    const size_t n = 2 * NewtonInvertThreshold + 2;
    for (int i = 0; i < 150; ++i) {
        SCOPED_TRACE(i);
        Natural d(n, ~Limb{0});
        const size_t begin = naturals.below(n);
        const size_t end = naturals.below(n);
        std::fill(d.begin() + static_cast<ptrdiff_t>(std::min(begin, end)),
                  d.begin() + static_cast<ptrdiff_t>(std::max(begin, end)), Limb{0});
        d[naturals.below(n)] = naturals(1)[0];
        d.back() |= Limb{1} << 63;
        expectReciprocal(d);
    }
}

/// A reciprocal of the leading limbs must not be too large for the whole divisor.
TEST(NewtonDivide, ReciprocalsOfLeadingLimbsAreNotTooLarge) {
    Naturals naturals(2);
    const size_t t = NewtonInvertThreshold;
    for (const size_t n : {size_t{20}, 2 * t + 5}) {
        for (const size_t m : {size_t{2}, size_t{3}, n / 2, n - 1}) {
            SCOPED_TRACE(testing::Message() << m << " of " << n << " limbs");
            for (const Natural& d : normalizedDivisors(naturals, n))
                EXPECT_FALSE(isLess(powerOfB(n + m), multiplyAdd(reciprocalOf(d, m), d, {})));
        }
    }
}

TEST(NewtonDivide, QuotientsByReciprocalsOfEveryLength) {
    Naturals naturals(3);
    for (const size_t bn : {2U, 3U, 10U, 40U}) {
        for (const Natural& b : normalizedDivisors(naturals, bn)) {
            for (size_t m = 2; m <= bn; m += 1 + m / 5) {
                const Natural inverse = reciprocalOf(b, m);
                NormalizedDivisor divisor(b.data(), b.size());
                divisor.inverse = inverse.data();
                divisor.inverseLength = m;
                for (size_t qn = 0; qn <= 2 * m + 3; qn += 1 + qn / 3) {
                    SCOPED_TRACE(testing::Message() << qn << " limbs of quotient, " << bn
                                                    << " of divisor, " << m << " of reciprocal");
                    Natural a = naturals(bn + qn);
                    if (naturals.below(3) == 0)
                        std::copy(b.begin(), b.end(), a.end() - static_cast<ptrdiff_t>(bn));
                    const Natural dividend = a;
                    Natural q(qn + 1);
                    Natural scratch(divideByInverseScratch(bn, m));
                    ProductScratch products;
                    q.back() = divideByInverse(q.data(), a.data(), a.size(), divisor,
                                               scratch.data(), products);
                    a.resize(bn);
                    ASSERT_TRUE(isLess(a, b));
                    ASSERT_EQ(multiplyAdd(q, b, a), dividend);
                }
            }
        }
    }
}

} // namespace
