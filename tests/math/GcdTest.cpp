// The greatest common divisor and the inverse of limb arrays are internal, yet tested by
// themselves: the class above them shows neither the lengths nor the untouched result.

#include <algorithm>

#include <gtest/gtest.h>

#include <qx/math/detail/EuclidSteps.h>
#include <qx/math/detail/Gcd.h>

#include "tests/math/Naturals.h"

namespace {

using namespace qxtest;

Natural gcd(const Natural& a, const Natural& b) {
    size_t n = 0;
    Natural r = made(std::min(a.size(), b.size()), [&](Limb* to) {
        n = qx::math::detail::gcd(to, a.data(), a.size(), b.data(), b.size());
    });
    r.resize(n);
    return r;
}

/// Checks the inverse of a modulo m > 1, of which there is none unless @p gcd, theirs, is 1.
void expectInverse(const Natural& a, const Natural& m, const Natural& gcd) {
    bool isFound = false;
    const Natural r = made(m.size(), [&](Limb* to) {
        std::fill_n(to, m.size(), 7);
        isFound = qx::math::detail::modInverse(to, a.data(), a.size(), m.data(), m.size());
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
    EXPECT_EQ(gcd(a, b), expected);
    EXPECT_EQ(gcd(b, a), expected);
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
    for (Limb a = 1; a < 80; ++a) {
        for (Limb b = 1; b < a; ++b)
            expectPlainGcd({a}, {b}, {3});
    }
}

TEST(Gcd, EqualOperandsMultiplesAndNeighbours) {
    Naturals naturals(3);
    for (const size_t n : {1U, 2U, 3U, 4U, 5U, 10U, 30U, 40U, 100U}) {
        for (size_t i = 0; i < 20; ++i) {
            const Natural a = naturals(n);
            expectGcd(a, a, a);
            expectGcd(a, multiplyAdd(a, naturals(i % 5 + 1), {}), a);
            expectGcd(a, {1}, {1});
            // Neighbours are coprime; their quotient is 1 and the rest of no use as a divisor.
            expectGcd(a, multiplyAdd(a, {1}, {1}), {1});
            // Inverses near the ends of the modulus.
            const Natural m = multiplyAdd(a, {2}, {1});
            expectInverse(difference(m, {1}), m, {1});
            expectInverse({2}, m, {1});
            expectInverse(a, m, {1});
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

} // namespace
