// Division of limb arrays is internal, yet tested by itself: the class above it reaches the rare
// corrections of quotients only by luck; that by a reciprocal is tested at lengths at which plain
// arithmetic follows it and with reciprocals of every length.

#include <algorithm>

#include <gtest/gtest.h>

#include <qx/math/detail/Divide.h>
#include <qx/math/detail/NewtonDivide.h>
#include <qx/math/detail/Thresholds.h>
#include <qx/math/detail/TwoLimbDivisor.h>

#include "tests/math/Naturals.h"

namespace {

using namespace qxtest;
using namespace qx::math::detail;

/// Divides and checks a = q * b + r and r < b, which no other pair fulfils.
void expectDivides(const Natural& a, const Natural& b) {
    Natural r;
    const Natural q = made(a.size() - b.size() + 1, [&](Limb* quotient) {
        r = made(b.size(), [&](Limb* rest) {
            divide(quotient, rest, a.data(), a.size(), b.data(), b.size());
        });
    });
    EXPECT_TRUE(isLess(r, b));
    EXPECT_EQ(multiplyAdd(q, b, r), normalized(a));
    EXPECT_EQ(remainder(a, b), normalized(r)); // without a quotient
}

/// Dividends of a's length that are one off a multiple of b, and a itself.
void expectDividesAround(const Natural& a, const Natural& b) {
    expectDivides(a, b);
    Natural multiple = difference(a, remainder(a, b));
    multiple.resize(a.size());
    expectDivides(multiple, b);
    if (normalized(multiple).empty())
        return;
    Natural below = difference(multiple, {1});
    below.resize(a.size());
    expectDivides(below, b);
}

TEST(Divide, EveryPairOfSmallLengthsAndEveryShift) {
    Naturals naturals(1);
    for (size_t bn = 1; bn <= 20; ++bn) {
        for (size_t an = bn; an <= bn + 20; ++an) {
            SCOPED_TRACE(testing::Message() << an << " limbs by " << bn);
            for (int i = 0; i < 20; ++i) {
                Natural b = naturals(bn);
                if (i % 2 == 0)
                    b.back() = (b.back() | Limb{1} << 63) >> naturals.below(64);
                expectDividesAround(naturals(an), b);
            }
        }
    }
}

/// Lengths on both sides of the threshold t and of its multiples, where the halves of division meet
/// schoolbook, and quotients shorter than, as long as and longer than the divisor.
TEST(Divide, LengthsAroundTheThresholds) {
    Naturals naturals(3);
    const size_t t = DivideHalvesThreshold;
    for (const size_t bn : {t - 1, t, t + 1, 2 * t - 1, 2 * t, 2 * t + 1, 4 * t + 3}) {
        for (const size_t qn : {size_t{1}, size_t{2}, t - 1, t, t + 1, bn - 1, bn, bn + 1, 2 * bn,
                                2 * bn + 1, 3 * bn + t}) {
            SCOPED_TRACE(testing::Message() << qn << " limbs of quotient, " << bn << " of divisor");
            for (int i = 0; i < 6; ++i)
                expectDividesAround(naturals(bn + qn), naturals(bn));
        }
    }
    // Where division by a reciprocal begins, for the quotient and for the divisor.
    const size_t n = NewtonDivideThreshold;
    const size_t repeated = NewtonRepeatedThreshold;
    for (const auto& [qn, bn] :
         {std::pair{n - 2, n}, std::pair{n, n}, std::pair{n, n - 1}, std::pair{n + 1, 2 * n},
          std::pair{n + 1, 2 * n + 5}, std::pair{2 * n + 1, n}, std::pair{3 * repeated, repeated},
          std::pair{5 * repeated + 1, repeated + 1}}) {
        SCOPED_TRACE(testing::Message() << qn << " limbs of quotient, " << bn << " of divisor");
        expectDivides(naturals(bn + qn), naturals(bn));
    }
}

/// All combinations of limbs at which a carry, a borrow or a comparison turns.
TEST(TwoLimbDivisor, DividesLimbsNearTheEnds) {
    constexpr Limb Top = Limb{1} << 63;
    const Limb limbs[] = {0, 1, 2, 0xFFFFFFFF, Top - 1, Top, Top + 1, Limb{0} - 2, Limb{0} - 1};
    for (const Limb high : {Top, Top + 1, Top + 0xFFFFFFFF, Limb{0} - 2, Limb{0} - 1}) {
        for (const Limb low : limbs) {
            const TwoLimbDivisor divisor(high, low);
            for (const Limb second : limbs) {
                for (const Limb first : {high - 1, high, limbs[0], limbs[1], limbs[4], limbs[5]}) {
                    for (const Limb next : limbs) {
                        const DoubleLimb remainder = DoubleLimb{first} << 64 | second;
                        if (remainder >= divisor.value())
                            continue;
                        DoubleLimb rest = remainder;
                        const Limb quotient = divisor.divide(rest, next);
                        ASSERT_LT(rest, divisor.value());
                        ASSERT_EQ(
                            multiplyAdd({quotient}, {low, high},
                                        {static_cast<Limb>(rest), static_cast<Limb>(rest >> 64)}),
                            normalized({next, second, first}));
                    }
                }
            }
        }
    }
}

/// The estimate of a quotient limb is too large, or would not fit, for divisors such as these only.
TEST(Divide, ShapesThatMisleadTheEstimate) {
    Naturals naturals(4);
    constexpr Limb Top = Limb{1} << 63;
    constexpr Limb Ones = ~Limb{0};
    for (const size_t bn : {2U, 3U, 4U, 64U, 150U}) {
        Natural b(bn);
        for (const Limb top : {Top, Top + 1, Ones - 1, Ones}) {
            for (const Limb middle : {Limb{0}, Limb{1}, Top, Ones}) {
                for (const Limb low : {Limb{0}, Ones}) {
                    std::fill(b.begin(), b.end(), low);
                    b[bn - 2] = middle;
                    b[bn - 1] = top;
                    SCOPED_TRACE(testing::Message() << bn << " limbs: " << std::hex << top << ' '
                                                    << middle << ' ' << low << "...");
                    for (const size_t qn : {size_t{1}, size_t{3}, bn}) {
                        // A multiple less one has the largest remainder and quotients of ones.
                        Natural ones(qn, Ones);
                        Natural a = multiplyAdd(b, ones, difference(b, {1}));
                        a.resize(bn + qn);
                        expectDividesAround(a, b);
                        expectDivides(Natural(bn + qn, Ones), b);
                        // Begins like the divisor.
                        a = naturals(bn + qn);
                        std::copy(b.end() - 2, b.end(), a.end() - 2);
                        expectDividesAround(a, b);
                    }
                }
            }
        }
    }
}

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
        for (const Natural& d : normalizedDivisors(naturals, n)) {
            expectReciprocal(d);
            // One of the leading limbs must not be too large for the whole divisor.
            for (const size_t m : {size_t{2}, n / 2, n - 1}) {
                if (m >= 2 && n % 2 == 0) {
                    EXPECT_FALSE(isLess(powerOfB(n + m), multiplyAdd(reciprocalOf(d, m), d, {})));
                }
            }
        }
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
