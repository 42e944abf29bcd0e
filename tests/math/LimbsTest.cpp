// The rows of limbs are internal, yet tested by themselves: each set of kernels must agree with the
// plain model at every length, which the classes above them do not choose.

#include <algorithm>

#include <gtest/gtest.h>

#include <qx/math/detail/LimbKernels.h>

#include "tests/math/Naturals.h"

namespace {

using namespace qxtest;
using namespace qx::math::detail;

struct RowResult {
    Natural row;
    Limb out;
    bool operator==(const RowResult&) const = default;
};

void PrintTo(const RowResult& result, std::ostream* out) {
    *out << testing::PrintToString(result.row) << " and " << result.out;
}

/// The models work on whole numbers: row and limb above it are digits of one sum.
RowResult split(Natural value, size_t n) {
    value.resize(n + 1);
    const Limb out = value.back();
    value.pop_back();
    return {std::move(value), out};
}

/// r - x modulo B^n, and what is lacking above.
RowResult lacking(const Natural& r, const Natural& x) {
    const size_t n = r.size();
    Natural raised(n + 2);
    std::copy(r.begin(), r.end(), raised.begin());
    raised[n + 1] = 1;
    RowResult result = split(difference(raised, x), n);
    result.out = Limb{0} - result.out;
    return result;
}

class LimbRowsOfSet : public testing::TestWithParam<const LimbKernels*> {};

INSTANTIATE_TEST_SUITE_P(All, LimbRowsOfSet, testing::ValuesIn(limbKernelSets()),
                         [](const auto& set) { return std::string(set.param->name); });

TEST_P(LimbRowsOfSet, AgreeWithThePlainModel) {
    const LimbKernels& kernels = *GetParam();
    Naturals naturals(1);
    for (size_t n = 0; n <= 40; ++n) {
        SCOPED_TRACE(n);
        for (int i = 0; i < 40; ++i) {
            const Natural a = naturals(n), b = naturals(n);
            const Natural factor = naturals(1);
            const auto row = [&](auto&& kernel, const Natural& start) {
                RowResult result = {start, 0};
                result.out = kernel(result.row.data());
                return result;
            };
            const size_t count = n;
            // In place, which is how most callers use them, and into another array.
            for (const Natural& start : {a, Natural(n, 7)}) {
                const bool isInPlace = start == a;
                const auto from = [&](Limb* r) { return isInPlace ? r : a.data(); };
                EXPECT_EQ(
                    row([&](Limb* r) { return kernels.add(r, from(r), b.data(), count); }, start),
                    split(multiplyAdd(a, {1}, b), n));
                EXPECT_EQ(
                    row([&](Limb* r) { return kernels.subtract(r, from(r), b.data(), count); },
                        start),
                    lacking(a, b));
                EXPECT_EQ(
                    row([&](Limb* r) { return kernels.multiplyLimb(r, from(r), count, factor[0]); },
                        start),
                    split(multiplyAdd(a, factor, {}), n));
            }
            EXPECT_EQ(
                row([&](Limb* r) { return kernels.addProduct(r, a.data(), count, factor[0]); }, b),
                split(multiplyAdd(a, factor, b), n));
            EXPECT_EQ(
                row([&](Limb* r) { return kernels.subtractProduct(r, a.data(), count, factor[0]); },
                    b),
                lacking(b, multiplyAdd(a, factor, {})));
        }
    }
}

TEST_P(LimbRowsOfSet, MultiplyAndSquareLikeThePlainModel) {
    const LimbKernels& kernels = *GetParam();
    Naturals naturals(2);
    for (size_t an = 1; an <= 40; ++an) {
        for (size_t bn = 1; bn <= an; ++bn) {
            const Natural a = naturals(an), b = naturals(bn);
            Natural r(an + bn);
            kernels.multiplyRows(r.data(), a.data(), an, b.data(), bn);
            EXPECT_EQ(normalized(r), multiplyAdd(a, b, {})) << an << " by " << bn;
        }
        const Natural a = naturals(an);
        Natural r(2 * an);
        kernels.squareRows(r.data(), a.data(), an);
        EXPECT_EQ(normalized(r), multiplyAdd(a, a, {})) << "square of " << an;
    }
}

TEST_P(LimbRowsOfSet, CancelTheLowHalfForMontgomery) {
    const LimbKernels& kernels = *GetParam();
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
        Natural shifted(n), low(rows.begin(), rows.begin() + static_cast<ptrdiff_t>(n));
        const Natural high(rows.begin() + static_cast<ptrdiff_t>(n), rows.end());
        const Natural sum = multiplyAdd(low, {1}, high);
        shifted.insert(shifted.end(), sum.begin(), sum.end());
        Natural multiple = difference(shifted, t);
        multiple.resize(std::max(multiple.size(), n));
        for (size_t bit = 64 * multiple.size(); bit-- > 0;) {
            Natural subtrahend((bit + 63) / 64);
            Natural power(bit / 64 + 1);
            power.back() = Limb{1} << bit % 64;
            subtrahend = multiplyAdd(m, power, {});
            if (!isLess(multiple, subtrahend))
                multiple = difference(multiple, subtrahend);
        }
        EXPECT_TRUE(normalized(multiple).empty()) << n;
    }
}

TEST(Limbs, SingleLimbsCarryAsFarAsNeeded) {
    const struct {
        Natural a;
        Limb b;
        Natural sum;
        Limb carry;
    } cases[] = {
        {{}, 5, {}, 5}, // nothing takes the limb up
        {{~Limb{0}, ~Limb{0}, 3}, 1, {0, 0, 4}, 0},
        {{~Limb{0}, ~Limb{0}}, 1, {0, 0}, 1},
        {{~Limb{0}, 8}, ~Limb{0}, {~Limb{0} - 1, 9}, 0},
        {{1, 2, 3}, 0, {1, 2, 3}, 0},
    };
    for (const auto& c : cases) {
        const size_t n = c.a.size();
        Natural r(n, 7);
        EXPECT_EQ(addLimb(r.data(), c.a.data(), n, c.b), c.carry);
        EXPECT_EQ(r, c.sum);
        EXPECT_EQ(subtractLimb(r.data(), r.data(), n, c.b), c.carry);
        EXPECT_EQ(r, c.a);
        EXPECT_EQ(addLimb(r.data(), r.data(), n, c.b), c.carry);
        EXPECT_EQ(r, c.sum);
        Natural back(n, 7);
        EXPECT_EQ(subtractLimb(back.data(), r.data(), n, c.b), c.carry);
        EXPECT_EQ(back, c.a);
    }
}

TEST(Limbs, ShiftsAreProductsWithPowersOfTwo) {
    Naturals naturals(4);
    for (size_t n = 0; n <= 12; ++n) {
        for (unsigned bits = 1; bits < 64; ++bits) {
            const Natural a = naturals(n);
            RowResult left = {a, 0};
            left.out = shiftLeft(left.row.data(), left.row.data(), n, bits);
            EXPECT_EQ(left, split(multiplyAdd(a, {Limb{1} << bits}, {}), n));

            // To the right by bits is to the left by the rest and down by a limb.
            Natural wide = multiplyAdd(a, {Limb{1} << (64 - bits)}, {});
            wide.resize(n + 1);
            RowResult right = {a, 0};
            right.out = shiftRight(right.row.data(), right.row.data(), n, bits);
            EXPECT_EQ(right.row, Natural(wide.begin() + 1, wide.end()));
            EXPECT_EQ(right.out, wide[0]);

            // Up and down within one array.
            // Down within one array.
            Natural moved = a;
            moved.insert(moved.begin(), 0);
            shiftRight(moved.data(), moved.data() + 1, n, bits);
            moved.pop_back();
            EXPECT_EQ(moved, right.row);
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
