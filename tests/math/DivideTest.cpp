// Division of limb arrays is internal, yet tested by itself: the class above it reaches the rare
// corrections of quotients only by luck.

#include <algorithm>

#include <gtest/gtest.h>

#include <qx/math/detail/Divide.h>
#include <qx/math/detail/Thresholds.h>
#include <qx/math/detail/TwoLimbDivisor.h>

#include "tests/math/Naturals.h"

namespace {

using namespace qxtest;
using qx::math::detail::divide;

/// Divides and checks a = q * b + r and r < b, which no other pair fulfils.
void expectDivides(const Natural& a, const Natural& b) {
    constexpr Limb Guard = 0x5555555555555555;
    Natural q(a.size() - b.size() + 2, Guard);
    Natural r(b.size() + 1, Guard);
    divide(q.data(), r.data(), a.data(), a.size(), b.data(), b.size());
    EXPECT_EQ(q.back(), Guard);
    EXPECT_EQ(r.back(), Guard);
    q.pop_back();
    r.pop_back();
    EXPECT_TRUE(isLess(r, b));
    EXPECT_EQ(multiplyAdd(q, b, r), normalized(a));

    Natural remainder(b.size());
    divide(nullptr, remainder.data(), a.data(), a.size(), b.data(), b.size());
    EXPECT_EQ(remainder, r);
}

/// Dividends of a's length that are one off a multiple of b, and a itself.
void expectDividesAround(const Natural& a, const Natural& b) {
    expectDivides(a, b);
    Natural q(a.size() - b.size() + 1);
    Natural r(b.size());
    divide(q.data(), r.data(), a.data(), a.size(), b.data(), b.size());
    Natural multiple = difference(a, r);
    multiple.resize(a.size());
    expectDivides(multiple, b);
    if (normalized(multiple).empty())
        return;
    Natural below = difference(multiple, {1});
    below.resize(a.size());
    expectDivides(below, b);
}

TEST(Divide, EveryPairOfSmallLengths) {
    Naturals naturals(1);
    for (size_t bn = 1; bn <= 20; ++bn) {
        for (size_t an = bn; an <= bn + 20; ++an) {
            SCOPED_TRACE(testing::Message() << an << " limbs by " << bn);
            for (int i = 0; i < 20; ++i)
                expectDividesAround(naturals(an), naturals(bn));
        }
    }
}

TEST(Divide, EveryShift) {
    Naturals naturals(2);
    for (unsigned shift = 0; shift < 64; ++shift) {
        for (const size_t bn : {1U, 2U, 3U, 7U}) {
            SCOPED_TRACE(testing::Message() << "shift " << shift << ", " << bn << " limbs");
            Natural b = naturals(bn);
            b.back() = (b.back() | Limb{1} << 63) >> shift;
            expectDividesAround(naturals(2 * bn), b);
        }
    }
}

/// Lengths on both sides of the threshold t and of its multiples, where the halves of division meet
/// schoolbook, and quotients shorter than, as long as and longer than the divisor.
TEST(Divide, LengthsAroundTheThresholds) {
    Naturals naturals(3);
    const size_t t = qx::math::detail::DivideHalvesThreshold;
    for (const size_t bn : {t - 1, t, t + 1, 2 * t - 1, 2 * t, 2 * t + 1, 4 * t + 3}) {
        for (const size_t qn : {size_t{1}, size_t{2}, t - 1, t, t + 1, bn - 1, bn, bn + 1, 2 * bn,
                                2 * bn + 1, 3 * bn + t}) {
            SCOPED_TRACE(testing::Message() << qn << " limbs of quotient, " << bn << " of divisor");
            for (int i = 0; i < 6; ++i)
                expectDividesAround(naturals(bn + qn), naturals(bn));
        }
    }
}

/// Where division by a reciprocal begins, for the quotient and for the divisor.
TEST(Divide, LengthsAroundTheNewtonThreshold) {
    Naturals naturals(5);
    const size_t t = qx::math::detail::NewtonDivideThreshold;
    const size_t repeated = qx::math::detail::NewtonRepeatedThreshold;
    for (const auto& [qn, bn] :
         {std::pair{t - 2, t}, std::pair{t, t}, std::pair{t, t - 1}, std::pair{t + 1, 2 * t},
          std::pair{t + 1, 2 * t + 5}, std::pair{2 * t + 1, t}, std::pair{3 * repeated, repeated},
          std::pair{5 * repeated + 1, repeated + 1}}) {
        SCOPED_TRACE(testing::Message() << qn << " limbs of quotient, " << bn << " of divisor");
        expectDivides(naturals(bn + qn), naturals(bn));
    }
}

/// All combinations of limbs at which a carry, a borrow or a comparison turns.
TEST(TwoLimbDivisor, DividesLimbsNearTheEnds) {
    using qx::math::detail::DoubleLimb;
    constexpr Limb Top = Limb{1} << 63;
    const Limb limbs[] = {0, 1, 2, 0xFFFFFFFF, Top - 1, Top, Top + 1, Limb{0} - 2, Limb{0} - 1};
    for (const Limb high : {Top, Top + 1, Top + 0xFFFFFFFF, Limb{0} - 2, Limb{0} - 1}) {
        for (const Limb low : limbs) {
            const qx::math::detail::TwoLimbDivisor divisor(high, low);
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

} // namespace
