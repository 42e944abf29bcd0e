// The greatest common divisor of limb arrays is internal, yet tested by itself: the class above it
// shows neither the lengths nor the untouched result.

#include <algorithm>

#include <gtest/gtest.h>

#include <qx/math/detail/Divide.h>
#include <qx/math/detail/EuclidSteps.h>
#include <qx/math/detail/Gcd.h>

#include "tests/math/Naturals.h"

namespace {

using namespace qxtest;
using qx::math::detail::divide;

Natural gcd(const Natural& a, const Natural& b) {
    constexpr Limb Guard = 0x5555555555555555;
    Natural r(std::min(a.size(), b.size()) + 1, Guard);
    const size_t n = qx::math::detail::gcd(r.data(), a.data(), a.size(), b.data(), b.size());
    EXPECT_EQ(r.back(), Guard);
    r.resize(n);
    EXPECT_EQ(r, normalized(r));
    return r;
}

Natural remainder(const Natural& a, const Natural& b) {
    if (a.size() < b.size())
        return a;
    Natural r(b.size());
    divide(nullptr, r.data(), a.data(), a.size(), b.data(), b.size());
    return normalized(r);
}

/// By Euclid's algorithm.
Natural plainGcd(Natural a, Natural b) {
    while (!b.empty()) {
        a = remainder(a, b);
        std::swap(a, b);
    }
    return a;
}

/// Checks both orders.
void expectGcd(const Natural& a, const Natural& b, const Natural& expected) {
    EXPECT_EQ(gcd(a, b), expected);
    EXPECT_EQ(gcd(b, a), expected);
}

TEST(Gcd, EveryPairOfSmallLengthsWithACommonFactor) {
    Naturals naturals(1);
    for (size_t an = 1; an <= 8; ++an) {
        for (size_t bn = 1; bn <= an; ++bn) {
            SCOPED_TRACE(testing::Message() << an << " and " << bn << " limbs");
            for (int i = 0; i < 40; ++i) {
                const Natural factor = naturals(naturals.below(4) + 1);
                const Natural a = multiplyAdd(naturals(an), factor, {});
                const Natural b = multiplyAdd(naturals(bn), factor, {});
                expectGcd(a, b, plainGcd(a, b));
            }
        }
    }
}

TEST(Gcd, LongOperands) {
    Naturals naturals(2);
    for (const size_t an : {20U, 63U, 64U, 65U, 200U}) {
        for (const size_t bn : {1U, 2U, 19U, 64U, 199U}) {
            SCOPED_TRACE(testing::Message() << an << " and " << bn << " limbs");
            const Natural factor = naturals(bn / 3 + 1);
            const Natural a = multiplyAdd(naturals(an), factor, {});
            const Natural b = multiplyAdd(naturals(bn), factor, {});
            expectGcd(a, b, plainGcd(a, b));
        }
    }
}

/// Every quotient is 1, which takes the most steps.
TEST(Gcd, ConsecutiveFibonacciNumbers) {
    Natural a{1};
    Natural b{1};
    const Natural factor{0, 0xFFFFFFFFFFFFFFFF, 3};
    for (int i = 0; i < 3000; ++i) {
        expectGcd(a, b, {1});
        if (i % 100 == 0)
            expectGcd(multiplyAdd(a, factor, {}), multiplyAdd(b, factor, {}), factor);
        a = multiplyAdd(a, {1}, b);
        std::swap(a, b);
    }
}

TEST(Gcd, EqualOperandsAndMultiples) {
    Naturals naturals(3);
    for (const size_t n : {1U, 2U, 3U, 4U, 5U, 30U, 100U}) {
        SCOPED_TRACE(n);
        for (size_t i = 0; i < 20; ++i) {
            const Natural a = naturals(n);
            expectGcd(a, a, a);
            expectGcd(a, multiplyAdd(a, naturals(i % 5 + 1), {}), a);
            expectGcd(a, {1}, {1});
            // Neighbours are coprime; their quotient is 1 and the rest of no use as a divisor.
            expectGcd(a, multiplyAdd(a, {1}, {1}), {1});
        }
    }
}

/// Operands whose quotients are the given ones, the last first.
std::pair<Natural, Natural> operandsOf(const std::vector<Natural>& quotients) {
    Natural a{1};
    Natural b;
    for (const Natural& quotient : quotients) {
        b = multiplyAdd(quotient, a, b);
        std::swap(a, b);
    }
    return {a, b};
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
        const auto [a, b] = operandsOf(quotients);
        expectGcd(a, b, {1});
        const Natural factor = naturals(2);
        expectGcd(multiplyAdd(a, factor, {}), multiplyAdd(b, factor, {}), factor);
    }
}

/// The quotients are those of every pair of numbers that begins with the given bits if the
/// remainders come out in order for the extremes.
TEST(EuclidSteps, HoldWhateverTheBitsBelow) {
    using qx::math::detail::DoubleLimb;
    Naturals naturals(7);
    constexpr Limb Ones = ~Limb{0};
    int useful = 0;
    for (int i = 0; i < 20000; ++i) {
        Natural a = naturals(2);
        Natural b = naturals(2);
        a[1] |= Limb{1} << 63;
        b[1] >>= naturals.below(4) == 0 ? naturals.below(40) : 0;
        if (isLess(a, b))
            std::swap(a, b);
        const auto steps = qx::math::detail::euclidSteps(DoubleLimb{a[1]} << 64 | a[0],
                                                         DoubleLimb{b[1]} << 64 | b[0]);
        if (!steps)
            continue;
        ++useful;
        for (const Limb belowA : {Limb{0}, Ones}) {
            for (const Limb belowB : {Limb{0}, Ones}) {
                Natural x{belowA, a[0], a[1]};
                Natural y{belowB, b[0], b[1]};
                const Natural divisor = y;
                applySteps(steps, x.data(), y.data(), x.size());
                ASSERT_TRUE(isLess(y, x)) << i;
                ASSERT_FALSE(isLess(divisor, x)) << i;
            }
        }
    }
    EXPECT_GT(useful, 10000);
}

constexpr Limb Untouched = 0x5555555555555555;

/// The inverse of a modulo m, or empty when there is none.
Natural inverse(const Natural& a, const Natural& m) {
    Natural r(m.size() + 1, Untouched);
    if (!qx::math::detail::modInverse(r.data(), a.data(), a.size(), m.data(), m.size())) {
        EXPECT_EQ(r, Natural(m.size() + 1, Untouched));
        return {};
    }
    EXPECT_EQ(r.back(), Untouched);
    r.pop_back();
    EXPECT_TRUE(isLess(r, m));
    return normalized(r);
}

void expectInverse(const Natural& a, const Natural& m) {
    const Natural r = inverse(a, m);
    if (plainGcd(m, a) == Natural{1})
        EXPECT_EQ(remainder(multiplyAdd(a, r, {}), m), Natural{1});
    else
        EXPECT_EQ(r, Natural{});
}

TEST(ModInverse, EveryPairOfSmallNumbers) {
    for (Limb m = 2; m < 80; ++m) {
        for (Limb a = 1; a < m; ++a) {
            SCOPED_TRACE(testing::Message() << a << " modulo " << m);
            expectInverse({a}, {m});
        }
    }
}

TEST(ModInverse, EveryPairOfLengths) {
    Naturals naturals(4);
    for (const size_t mn : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 16U, 33U, 100U}) {
        for (size_t an = 1; an <= mn; an += 1 + an / 4) {
            SCOPED_TRACE(testing::Message() << an << " limbs modulo " << mn);
            for (int i = 0; i < 30; ++i) {
                const Natural m = naturals(mn);
                const Natural a = remainder(naturals(an), m);
                if (m != Natural{1} && !a.empty())
                    expectInverse(a, m);
            }
        }
    }
}

TEST(ModInverse, OperandsOfChosenQuotients) {
    Naturals naturals(8);
    for (int i = 0; i < 500; ++i) {
        std::vector<Natural> quotients(naturals.below(100) + 2);
        for (Natural& quotient : quotients)
            quotient = naturals.below(20) == 0 ? naturals(2) : Natural{naturals.below(4) + 1};
        quotients.front() = {2};
        const auto [m, a] = operandsOf(quotients);
        expectInverse(a, m);
    }
}

/// The neighbours of the modulus and of its half have inverses near its ends.
TEST(ModInverse, NeighboursOfTheModulus) {
    Naturals naturals(5);
    for (const size_t n : {1U, 2U, 3U, 10U, 40U}) {
        for (int i = 0; i < 20; ++i) {
            const Natural half = naturals(n);
            const Natural m = multiplyAdd(half, {2}, {1});
            EXPECT_EQ(inverse(difference(m, {1}), m), difference(m, {1}));
            EXPECT_EQ(inverse({2}, m), multiplyAdd(half, {1}, {1}));
            EXPECT_EQ(inverse(half, m), difference(m, {2}));
            EXPECT_EQ(inverse({1}, m), Natural{1});
        }
    }
}

} // namespace
