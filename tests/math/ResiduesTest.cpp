// Division of limb arrays and what is built on it, the greatest common divisor, the inverse and the
// modular power, are internal, yet tested by themselves. The class above them reaches the rare
// corrections of quotients only by luck, shows neither the lengths nor the untouched result, and
// with moduli short enough for a plain model does not reach the reduction by whole products.
// Division by a reciprocal is tested at lengths at which plain arithmetic follows it and with
// reciprocals of every length.

#include <algorithm>

#include <gtest/gtest.h>

#include <qx/math/detail/Gcd.h>
#include <qx/math/detail/ModPow.h>
#include <qx/math/detail/NewtonDivide.h>
#include <qx/math/detail/Thresholds.h>

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

Natural gcdOf(const Natural& a, const Natural& b) {
    size_t n = 0;
    Natural r = made(std::min(a.size(), b.size()),
                     [&](Limb* to) { n = gcd(to, a.data(), a.size(), b.data(), b.size()); });
    r.resize(n);
    return r;
}

/// Checks the inverse of a modulo m > 1, of which there is none unless @p gcd, theirs, is 1.
void expectInverse(const Natural& a, const Natural& m, const Natural& gcd) {
    bool isFound = false;
    const Natural r = made(m.size(), [&](Limb* to) {
        std::fill_n(to, m.size(), 7);
        isFound = modInverse(to, a.data(), a.size(), m.data(), m.size());
    });
    EXPECT_EQ(isFound, gcd == Natural{1});
    if (!isFound) {
        EXPECT_EQ(r, Natural(m.size(), 7)) << "left as it was";
        return;
    }
    EXPECT_TRUE(isLess(r, m));
    EXPECT_EQ(remainder(multiplyAdd(a, r, {}), m), Natural{1});
}

/// Checks both orders, and the inverse of one modulo the other.
void expectGcd(const Natural& a, const Natural& b, const Natural& expected) {
    SCOPED_TRACE(testing::Message() << a.size() << " and " << b.size() << " limbs");
    EXPECT_EQ(gcdOf(a, b), expected);
    EXPECT_EQ(gcdOf(b, a), expected);
    for (const auto& [number, m] : {std::pair(a, b), std::pair(b, a)}) {
        const Natural residue = remainder(number, m);
        if (m != Natural{1} && !residue.empty())
            expectInverse(residue, m, expected);
    }
}

/// Beside Euclid's algorithm, as they are and with a common factor.
void expectPlainGcd(const Natural& a, const Natural& b, const Natural& factor) {
    Natural divisor = a;
    for (Natural rest = b; !rest.empty();) {
        divisor = remainder(divisor, rest);
        std::swap(divisor, rest);
    }
    expectGcd(a, b, divisor);
    expectGcd(multiplyAdd(a, factor, {}), multiplyAdd(b, factor, {}),
              multiplyAdd(divisor, factor, {}));
}

TEST(Gcd, EveryPairOfLengths) {
    Naturals naturals(1);
    const auto expectSome = [&](size_t an, size_t bn, int count) {
        for (int i = 0; i < count; ++i)
            expectPlainGcd(naturals(an), naturals(bn), naturals(naturals.below(4) + 1));
    };
    for (size_t an = 1; an <= 8; ++an) {
        for (size_t bn = 1; bn <= an; ++bn)
            expectSome(an, bn, 40);
    }
    for (const size_t an : {20U, 63U, 64U, 65U, 100U, 200U}) {
        for (const size_t bn : {1U, 2U, 19U, 33U, 64U, 99U, 199U})
            expectSome(an, bn, 2);
    }
    for (Limb a = 1; a < 40; ++a)
        expectPlainGcd({a}, {naturals.below(a) + 1}, {3});
}

TEST(Gcd, EqualOperandsMultiplesAndNeighbours) {
    Naturals naturals(3);
    for (const size_t n : {1U, 2U, 3U, 4U, 5U, 10U, 30U, 40U, 100U}) {
        for (size_t i = 0; i < 20; ++i) {
            const Natural a = naturals(n), m = multiplyAdd(a, {2}, {1});
            expectGcd(a, a, a);
            expectGcd(a, multiplyAdd(a, naturals(i % 5 + 1), {}), a);
            // Neighbours are coprime; their quotient is 1 and the rest of no use as a divisor.
            expectGcd(a, multiplyAdd(a, {1}, {1}), {1});
            expectInverse(difference(m, {1}), m, {1}); // near the end of the modulus
        }
    }
}

/// Checks operands whose quotients in Euclid's algorithm are the given ones, the last first.
void expectGcdOf(const std::vector<Natural>& quotients, const Natural& factor) {
    Natural a{1};
    Natural b;
    for (const Natural& quotient : quotients) {
        b = multiplyAdd(quotient, a, b);
        std::swap(a, b);
    }
    expectGcd(a, b, {1});
    expectGcd(multiplyAdd(a, factor, {}), multiplyAdd(b, factor, {}), factor);
}

/// Quotients of every length up to three limbs between runs of short ones, so that a run of steps
/// on the leading bits ends at every place.
TEST(Gcd, OperandsOfChosenQuotients) {
    Naturals naturals(6);
    for (int i = 0; i < 2000; ++i) {
        std::vector<Natural> quotients(naturals.below(120) + 1);
        const uint64_t rarity = naturals.below(60) + 1;
        for (Natural& quotient : quotients) {
            quotient = {naturals.below(3) + 1};
            if (naturals.below(rarity) == 0) {
                quotient = naturals(naturals.below(3) + 1);
                quotient.back() >>= naturals.below(64);
                quotient.back() |= 1;
            }
        }
        expectGcdOf(quotients, naturals(2));
    }
    // Quotients of 1 take the most steps.
    for (size_t steps = 1; steps < 3000; steps += 1 + steps / 100)
        expectGcdOf(std::vector<Natural>(steps, {1}), {0, ~Limb{0}, 3});
}

/// Checks the power with every set of kernels, reduced by products and by rows.
void expectPower(const Natural& base, const Natural& exponent, const Natural& m,
                 const Natural& expected) {
    for (const LimbKernels* const kernels : limbKernelSets()) {
        for (const size_t montgomery : {size_t{2}, size_t{1} << 60}) {
            MultiplyThresholds thresholds = kernels->thresholds;
            thresholds.montgomery = montgomery;
            const SelectedKernels selected(*kernels, thresholds);
            const Natural r = made(m.size(), [&](Limb* to) {
                modPow(to, base.data(), base.size(), exponent.data(), exponent.size(), m.data(),
                       m.size());
            });
            EXPECT_EQ(normalized(r), expected)
                << testing::PrintToString(base) << " to " << testing::PrintToString(exponent)
                << " modulo " << testing::PrintToString(m) << ", products from " << montgomery;
        }
    }
}

/// Bit by bit, reduced at every step.
Natural plainPower(const Natural& base, const Natural& exponent, const Natural& m) {
    Natural r = remainder({1}, m);
    for (size_t i = exponent.size(); i-- > 0;) {
        for (unsigned bit = 64; bit-- > 0;) {
            r = remainder(multiplyAdd(r, r, {}), m);
            if ((exponent[i] >> bit & 1) != 0)
                r = remainder(multiplyAdd(r, base, {}), m);
        }
    }
    return r;
}

void expectPlainPower(const Natural& base, const Natural& exponent, const Natural& m) {
    expectPower(base, exponent, m, plainPower(base, exponent, m));
}

Natural powerOfTwo(size_t bit) {
    Natural power(bit / 64 + 1);
    power.back() = Limb{1} << bit % 64;
    return power;
}

TEST(ModPow, AgreesWithThePlainModel) {
    Naturals naturals(1);
    for (size_t mn = 1; mn <= 9; ++mn) {
        for (size_t en = 0; en <= 2; ++en) {
            for (size_t bn : {size_t{0}, size_t{1}, mn, mn + 1, 2 * mn + 1}) {
                Natural m = naturals(mn);
                for (const Limb odd : {Limb{1}, Limb{0}}) {
                    m[0] = (m[0] & ~Limb{1}) | odd;
                    if (m.back() == 0)
                        m.back() = 2;
                    Natural base = naturals(bn), exponent = naturals(en);
                    expectPlainPower(base, exponent, m);
                    base.resize(bn + 2); // leading zeros change nothing
                    exponent.resize(en + 2);
                    expectPlainPower(base, exponent, m);
                    for (const Natural& small : {Natural{1}, Natural{7}, Natural{0, 1}})
                        expectPlainPower(base, exponent, small);
                }
            }
        }
    }
    for (const size_t n : {33U, 70U})
        expectPlainPower(naturals(n), naturals(n), naturals(n));
}

TEST(ModPow, ExponentsAroundTheWindows) {
    Naturals naturals(2);
    const Natural m = {~Limb{0} - 58, 5}, base = naturals(2);
    for (Limb exponent = 0; exponent < 300; ++exponent)
        expectPlainPower(base, {exponent}, m);
    // One bit, all bits, and runs of zeros longer than a window.
    for (const size_t bit : {63U, 64U, 200U, 1000U}) {
        const Natural single = powerOfTwo(bit);
        for (const Natural& exponent :
             {single, difference(single, {1}), multiplyAdd(single, {1}, {1})})
            expectPlainPower(base, exponent, m);
    }
}

} // namespace
