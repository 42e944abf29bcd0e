// The modular power of limb arrays is internal, yet tested by itself: moduli short enough for a
// plain model do not reach the reduction by whole products through the class above it.

#include <gtest/gtest.h>

#include <qx/math/detail/Divide.h>
#include <qx/math/detail/LimbKernels.h>
#include <qx/math/detail/ModPow.h>

#include "tests/math/Naturals.h"
#include "tests/math/SelectedKernels.h"
#include "tests/support/FailingAllocator.h"

namespace {

using namespace qxtest;
using namespace qx::math::detail;

Natural power(const Natural& base, const Natural& exponent, const Natural& m) {
    constexpr Limb Guard = 0x5555555555555555;
    Natural r(m.size() + 1, Guard);
    modPow(r.data(), base.data(), base.size(), exponent.data(), exponent.size(), m.data(),
           m.size());
    EXPECT_EQ(r.back(), Guard);
    r.pop_back();
    return normalized(r);
}

Natural remainder(Natural a, const Natural& m) {
    a.resize(std::max(a.size(), m.size()));
    Natural r(m.size());
    divide(nullptr, r.data(), a.data(), a.size(), m.data(), m.size());
    return normalized(r);
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

/// 2^bits - 1, a prime for the bits used here.
Natural mersenne(size_t bits) {
    Natural m(bits / 64 + 1);
    m.back() = Limb{1} << bits % 64;
    return difference(m, {1});
}

class ModPowWith : public testing::TestWithParam<std::tuple<const LimbKernels*, size_t>> {
protected:
    ModPowWith() : m_selected(*std::get<0>(GetParam()), thresholds()) {}

private:
    static MultiplyThresholds thresholds() {
        MultiplyThresholds result = std::get<0>(GetParam())->thresholds;
        result.montgomery = std::get<1>(GetParam());
        return result;
    }
    SelectedKernels m_selected;
};

INSTANTIATE_TEST_SUITE_P(All, ModPowWith,
                         testing::Combine(testing::ValuesIn(limbKernelSets()),
                                          testing::Values(size_t{2}, size_t{1} << 60)),
                         [](const auto& set) {
                             return std::string(std::get<0>(set.param)->name) +
                                    (std::get<1>(set.param) == 2 ? "_byProducts" : "_byRows");
                         });

TEST_P(ModPowWith, AgreesWithThePlainModel) {
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
                    const Natural expected = plainPower(base, exponent, m);
                    EXPECT_EQ(power(base, exponent, m), expected) << mn << " " << en << " " << bn;
                    base.resize(bn + 2); // leading zeros change nothing
                    exponent.resize(en + 2);
                    EXPECT_EQ(power(base, exponent, m), expected);
                }
            }
        }
    }
}

TEST_P(ModPowWith, SmallExponentsAroundTheWindows) {
    Naturals naturals(2);
    const Natural m = {~Limb{0} - 58, 5}, base = naturals(2);
    Natural expected = {1};
    for (Limb exponent = 0; exponent < 300; ++exponent) {
        EXPECT_EQ(power(base, {exponent}, m), expected) << exponent;
        expected = remainder(multiplyAdd(expected, base, {}), m);
    }
    // One bit, all bits, and runs of zeros longer than a window.
    for (const size_t bit : std::initializer_list<size_t>{63, 64, 200, 1000}) {
        Natural single(bit / 64 + 1);
        single.back() = Limb{1} << bit % 64;
        EXPECT_EQ(power(base, single, m), plainPower(base, single, m)) << bit;
        const Natural all = mersenne(bit);
        EXPECT_EQ(power(base, all, m), plainPower(base, all, m)) << bit;
        const Natural ends = multiplyAdd(single, {1}, {1});
        EXPECT_EQ(power(base, ends, m), plainPower(base, ends, m)) << bit;
    }
}

TEST_P(ModPowWith, FermatsTheorem) {
    Naturals naturals(3);
    for (const size_t bits : std::initializer_list<size_t>{61, 127, 521, 1279, 4423}) {
        const Natural prime = mersenne(bits);
        const Natural base = naturals(prime.size());
        EXPECT_EQ(power(base, difference(prime, {1}), prime), Natural{1}) << bits;
        EXPECT_EQ(power(base, prime, prime), remainder(base, prime)) << bits;
        EXPECT_EQ(power(prime, {2}, prime), Natural{}) << bits;
    }
}

TEST(ModPow, EdgeValues) {
    const Natural zero, one = {1}, seven = {7}, large = {0, 0, 1};
    EXPECT_EQ(power(zero, zero, seven), one);
    EXPECT_EQ(power(zero, large, seven), zero);
    EXPECT_EQ(power(large, zero, seven), one);
    EXPECT_EQ(power(large, large, one), zero);
    EXPECT_EQ(power(zero, zero, one), zero);
    EXPECT_EQ(power({2}, {64}, {0, 1}), zero); // 2^64 mod 2^64
    EXPECT_EQ(power({3}, {64}, {0, 1}), Natural{0x7932278C797EBD01});
}

TEST(ModPow, EachAllocationMayFail) {
    Naturals naturals(4);
    for (const Limb odd : {Limb{1}, Limb{0}}) {
        Natural base = naturals(320), m = naturals(300);
        m[0] = (m[0] & ~Limb{1}) | odd;
        const Natural exponent = {29};
        const Natural expected = power(base, exponent, m);
        Natural r(m.size());
        const int64_t allocations = failEachAllocation([&] {
            try {
                modPow(r.data(), base.data(), base.size(), exponent.data(), 1, m.data(), m.size());
                EXPECT_EQ(normalized(r), expected);
            } catch (const std::bad_alloc&) {
            }
        });
        EXPECT_GT(allocations, 0);
    }
}

} // namespace
