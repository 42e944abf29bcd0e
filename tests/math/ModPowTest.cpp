// The modular power of limb arrays is internal, yet tested by itself: moduli short enough for a
// plain model do not reach the reduction by whole products through the class above it.

#include <gtest/gtest.h>

#include <qx/math/detail/Divide.h>
#include <qx/math/detail/LimbKernels.h>
#include <qx/math/detail/ModPow.h>

#include "tests/math/Naturals.h"
#include "tests/math/SelectedKernels.h"

namespace {

using namespace qxtest;
using namespace qx::math::detail;

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
                }
            }
        }
    }
    for (const size_t n : {33U, 70U})
        expectPlainPower(naturals(n), naturals(n), naturals(n));
    for (const Natural& m : {Natural{1}, Natural{7}, Natural{0, 1}}) {
        for (const Natural& base : {Natural{}, Natural{3}, Natural{0, 0, 1}}) {
            for (const Natural& exponent : {Natural{}, Natural{64}, Natural{0, 0, 1}})
                expectPlainPower(base, exponent, m);
        }
    }
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
