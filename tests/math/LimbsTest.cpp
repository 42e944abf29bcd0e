// Arithmetic on arrays of limbs is internal, yet tested by itself: each set of kernels must agree
// with the plain model at every length, and each algorithm is to be met at lengths far below those
// from which on it is used. The classes above them choose neither, reach the rare corrections of
// quotients only by luck, and do not show what lies behind a result.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <random>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qx/math/detail/DigitUnits.h>
#include <qx/math/detail/Divide.h>
#include <qx/math/detail/Gcd.h>
#include <qx/math/detail/LimbKernels.h>
#include <qx/math/detail/Limbs.h>
#include <qx/math/detail/ModPow.h>
#include <qx/math/detail/Multiply.h>
#include <qx/math/detail/NewtonDivide.h>
#include <qx/math/detail/Radix.h>
#include <qx/math/detail/RadixConstants.h>
#include <qx/math/detail/Thresholds.h>

namespace {

using namespace qx::math::detail;

__extension__ using Wide = unsigned __int128;

constexpr Limb Ones = ~Limb{0}, Top = Limb{1} << 63;

/// Least significant limb first; leading zeros are allowed.
using Natural = std::vector<Limb>;

Natural normalized(Natural a) {
    while (!a.empty() && a.back() == 0)
        a.pop_back();
    return a;
}

/// The @p n limbs or digits that @p compute writes to its argument, and none behind them.
template <class Made = Natural>
Made made(size_t n, auto&& compute) {
    constexpr auto Guard = static_cast<typename Made::value_type>(0x5555555555555555);
    Made r(n + 1, Guard);
    compute(r.data());
    EXPECT_EQ(r.back(), Guard);
    r.pop_back();
    return r;
}

/// a * b + c by single products.
Natural multiplyAdd(const Natural& a, const Natural& b, const Natural& c) {
    Natural r(std::max(a.size() + b.size(), c.size()) + 1);
    std::copy(c.begin(), c.end(), r.begin());
    for (size_t i = 0; i < a.size(); ++i) {
        Limb carry = 0;
        for (size_t j = 0; j < b.size() || carry != 0; ++j) {
            const Wide sum = Wide{a[i]} * (j < b.size() ? b[j] : 0) + r[i + j] + carry;
            r[i + j] = static_cast<Limb>(sum);
            carry = static_cast<Limb>(sum >> 64);
        }
    }
    return normalized(std::move(r));
}

/// a - b for a >= b.
Natural difference(Natural a, const Natural& b) {
    bool borrow = false;
    for (size_t i = 0; i < a.size(); ++i) {
        const Wide rest = Wide{a[i]} - (i < b.size() ? b[i] : 0) - borrow;
        a[i] = static_cast<Limb>(rest);
        borrow = rest >> 64 != 0;
    }
    return normalized(std::move(a));
}

bool isLess(Natural a, Natural b) {
    a.resize(std::max(a.size(), b.size()));
    b.resize(a.size());
    return std::lexicographical_compare(a.rbegin(), a.rend(), b.rbegin(), b.rend());
}

/// a modulo m by the division that the tests below hold against products.
Natural remainder(Natural a, const Natural& m) {
    a.resize(std::max(a.size(), m.size()));
    Natural r(m.size());
    divide(nullptr, r.data(), a.data(), a.size(), m.data(), m.size());
    return normalized(std::move(r));
}

/// Numbers of n limbs whose top limb is not zero. Half of them consist of long runs of equal bits
/// and of limbs near 0, 2^63 and 2^64, which is where carries and estimates go wrong.
struct Naturals {
    explicit Naturals(uint64_t seed) : random(seed) {}

    Natural operator()(size_t n) {
        Natural a(n);
        const uint64_t shape = random() % 6;
        Limb run = random() % 2 == 0 ? 0 : ~Limb{0};
        for (Limb& limb : a) {
            if (shape == 3 && random() % 3 == 0)
                run = ~run;
            limb = shape < 3 ? random() : shape == 4 ? special() : run;
        }
        if (shape == 5 && n > 0)
            a[random() % n] = special(); // alone among zeros or ones
        if (!a.empty() && a.back() == 0)
            a.back() = special() | 1;
        return a;
    }
    uint64_t below(uint64_t end) { return random() % end; }

    Limb special() {
        static constexpr Limb Bases[] = {0, 0, Limb{1} << 63, ~Limb{0}, Limb{1} << 32};
        const Limb base = Bases[random() % std::size(Bases)];
        return base + random() % 3 - 1;
    }

    std::mt19937_64 random;
};

/// While it is alive the library computes with one set of kernels and these thresholds.
class SelectedKernels {
public:
    SelectedKernels(const LimbKernels& kernels, const MultiplyThresholds& thresholds)
        : m_trace(__FILE__, __LINE__, kernels.name), m_kernels(kernels) {
        m_kernels.thresholds = thresholds;
        selectLimbKernels(m_kernels);
    }
    ~SelectedKernels() { selectLimbKernels(*limbKernelSets().back()); }

private:
    testing::ScopedTrace m_trace;
    LimbKernels m_kernels;
};

/// Calls @p check while the library computes with each set of kernels.
void withEverySet(auto&& check) {
    for (const LimbKernels* const kernels : limbKernelSets()) {
        const SelectedKernels selected(*kernels, kernels->thresholds);
        check(*kernels);
    }
}

// Rows of limbs and their products

/// What @p kernel makes of a row, and above it the limb that it returns.
Natural run(Natural row, auto&& kernel, auto... arguments) {
    const Limb above = kernel(row.data(), arguments...);
    row.push_back(above);
    return row;
}

/// The same of @p a, in place, which is how most callers use them, or into another array.
Natural runOn(const Natural& a, bool isInPlace, auto&& kernel, auto... arguments) {
    return run(isInPlace ? a : Natural(a.size(), 7),
               [&](Limb* r) { return kernel(r, isInPlace ? r : a.data(), arguments...); });
}

/// Holds that @p row, above which stands what was lacking, is the difference.
void expectDifference(Natural row, Natural minuend, const Natural& subtrahend) {
    minuend.push_back(row.back());
    row.pop_back();
    EXPECT_EQ(multiplyAdd(row, {1}, subtrahend), normalized(minuend));
}

TEST(Limbs, RowsAgreeWithThePlainModel) {
    withEverySet([](const LimbKernels& kernels) {
        Naturals naturals(1);
        for (size_t n = 0; n <= 40; ++n) {
            SCOPED_TRACE(n);
            for (int i = 0; i < 40; ++i) {
                // Carries and borrows that run through all limbs and out of them.
                const Natural a = i == 0 ? Natural(n) : i == 1 ? Natural(n, Ones) : naturals(n);
                const Natural b = naturals(n), factor = naturals(1);
                const Natural product = multiplyAdd(a, factor, {});
                for (const bool isInPlace : {true, false}) {
                    const Natural sum = runOn(a, isInPlace, kernels.add, b.data(), n);
                    EXPECT_EQ(normalized(sum), multiplyAdd(a, {1}, b));
                    expectDifference(runOn(a, isInPlace, kernels.subtract, b.data(), n), a, b);
                    const Natural made = runOn(a, isInPlace, kernels.multiplyLimb, n, factor[0]);
                    EXPECT_EQ(normalized(made), product);
                    const Natural more = runOn(a, isInPlace, addLimb, n, factor[0]);
                    EXPECT_EQ(normalized(more), multiplyAdd(a, {1}, factor));
                    expectDifference(runOn(a, isInPlace, subtractLimb, n, factor[0]), a, factor);
                }
                const Natural sum = run(b, kernels.addProduct, a.data(), n, factor[0]);
                EXPECT_EQ(normalized(sum), multiplyAdd(a, factor, b));
                expectDifference(run(b, kernels.subtractProduct, a.data(), n, factor[0]), b,
                                 product);
            }
        }
    });
}

TEST(Limbs, RowsMultiplyAndReduceLikeThePlainModel) {
    withEverySet([](const LimbKernels& kernels) {
        Naturals naturals(2);
        for (size_t n = 1; n <= 40; ++n) {
            SCOPED_TRACE(n);
            const Natural a = naturals(n);
            for (size_t bn = 1; bn <= n; ++bn) {
                const Natural b = naturals(bn);
                const Natural r = made(
                    n + bn, [&](Limb* to) { kernels.multiplyRows(to, a.data(), n, b.data(), bn); });
                EXPECT_EQ(normalized(r), multiplyAdd(a, b, {})) << " by " << bn;
            }
            const Natural r = made(2 * n, [&](Limb* to) { kernels.squareRows(to, a.data(), n); });
            EXPECT_EQ(normalized(r), multiplyAdd(a, a, {}));

            // By Montgomery: (low half + high half) * B^n is t plus a multiple of m.
            Natural m = naturals(n), t = naturals(2 * n);
            m[0] |= 1;
            Limb inverse = m[0];
            for (int i = 0; i < 5; ++i)
                inverse *= 2 - m[0] * inverse;
            Natural rows = t;
            kernels.montgomeryRows(rows.data(), m.data(), n, Limb{0} - inverse);
            const auto middle = rows.begin() + static_cast<ptrdiff_t>(n);
            Natural sum = multiplyAdd({rows.begin(), middle}, {1}, {middle, rows.end()});
            sum.insert(sum.begin(), n, 0);
            EXPECT_EQ(remainder(difference(sum, t), m), Natural{});
        }
    });
}

TEST(Limbs, ShiftsAndDivisionByALimbAreUndoneByMultiplication) {
    Naturals naturals(4);
    for (size_t n = 0; n <= 12; ++n) {
        for (unsigned bits = 1; bits < 64; ++bits) {
            const Natural a = naturals(n);
            for (const bool isInPlace : {true, false}) {
                EXPECT_EQ(normalized(runOn(a, isInPlace, shiftLeft, n, bits)),
                          multiplyAdd(a, {Limb{1} << bits}, {}));
                // To the right by bits is to the left by the rest and down by a limb.
                Natural right = runOn(a, isInPlace, shiftRight, n, bits);
                std::rotate(right.begin(), right.end() - 1, right.end());
                EXPECT_EQ(normalized(right), multiplyAdd(a, {Limb{1} << (64 - bits)}, {}));
            }
            Natural row = a, apart = runOn(a, false, shiftRight, n, bits);
            row.insert(row.begin(), 0);
            shiftRight(row.data(), row.data() + 1, n, bits); // down within one array
            EXPECT_TRUE(std::equal(apart.begin(), apart.end() - 1, row.begin()));
        }
        for (int i = 0; i < 600; ++i) {
            const Natural a = naturals(n);
            const Limb divisor = std::max<Limb>(naturals(1)[0] >> naturals.below(64), 1);
            Natural q = runOn(a, i % 2 == 0, divideLimb, n, divisor);
            const Limb remainder = q.back();
            q.pop_back();
            EXPECT_LT(remainder, divisor);
            EXPECT_EQ(multiplyAdd(q, {divisor}, {remainder}), normalized(a));
        }
    }
}

constexpr size_t Never = size_t{1} << 60;

/// Karatsuba, its square, Toom-3, its square, NTT, its square, NTT of uneven lengths.
const MultiplyThresholds Mixes[] = {
    {2, 2, Never, Never, Never, Never, Never, Never},
    {5, 5, 5, 5, Never, Never, Never, Never},
    {2, 2, 2, 2, 2, 2, 2, Never},
    {7, 9, Never, Never, Never, Never, Never, Never}, // over rows
    {3, 4, 11, 13, Never, Never, Never, Never},       // Toom-3 over Karatsuba
    {2, 2, Never, Never, Never, Never, 5, Never},     // instead of a transform
    {3, 4, 9, 11, 30, 34, 20, Never},
};

using Limbs = std::span<const Limb>;

/// The schoolbook's product, which the tests of the rows hold against a plainer one.
Natural longProduct(Limbs a, Limbs b) {
    Natural r(a.size() + b.size());
    limbKernelSets().front()->multiplyRows(r.data(), a.data(), a.size(), b.data(), b.size());
    return r;
}

Natural product(Limbs a, Limbs b) {
    return made(a.size() + b.size(),
                [&](Limb* r) { multiply(r, a.data(), a.size(), b.data(), b.size()); });
}

Natural squareOf(Limbs a) {
    return made(2 * a.size(), [&](Limb* r) { square(r, a.data(), a.size()); });
}

/// Calls @p check while each set of kernels computes by each mix of algorithms.
void withEveryMix(auto&& check) {
    withEverySet([&](const LimbKernels& kernels) {
        for (const MultiplyThresholds& mix : Mixes) {
            SCOPED_TRACE(&mix - Mixes);
            const SelectedKernels selected(kernels, mix);
            check();
        }
    });
}

void expectMultiplies(const Natural& a, const Natural& b) {
    const Natural expected = longProduct(a, b);
    EXPECT_TRUE(product(a, b) == expected) << a.size() << " by " << b.size() << " limbs";
    EXPECT_TRUE(product(b, a) == expected) << b.size() << " by " << a.size() << " limbs";
}

void expectSquares(const Natural& a) {
    SCOPED_TRACE(testing::Message() << "square of " << a.size() << " limbs");
    const Natural expected = longProduct(a, a);
    EXPECT_TRUE(squareOf(a) == expected);
    EXPECT_TRUE(product(a, a) == expected); // the same array twice
    const Natural copy = a;
    EXPECT_TRUE(product(a, copy) == expected); // the same number twice
    const Limbs part = Limbs(a).first((a.size() + 1) / 2);
    EXPECT_TRUE(product(a, part) == longProduct(a, part)); // one within the other
}

TEST(Multiply, EveryPairOfSmallLengthsAndLopsidedOnes) {
    withEveryMix([] {
        Naturals naturals(1);
        for (size_t an = 1; an <= 70; ++an) {
            for (size_t bn = 1; bn <= an; ++bn)
                expectMultiplies(naturals(an), naturals(bn));
            for (int i = 0; i < 6; ++i)
                expectSquares(naturals(an));
            expectMultiplies(naturals(an), Natural(an)); // by zero
        }
        for (const size_t bn : {1U, 2U, 3U, 8U, 33U}) {
            for (size_t an : {bn * 8, bn * 8 + 1, bn * 17 - 1, bn * 24, size_t{700}})
                expectMultiplies(naturals(an), naturals(bn));
        }
    });
}

/// What a plan can hold, to the last coefficient.
void expectTransformMultiplies(const LimbKernels& kernels, const NttPlan& plan, const Natural& a,
                               const Natural& b) {
    Natural r;
    made(nttScratch(plan), [&](Limb* scratch) {
        r = made(a.size() + b.size(), [&](Limb* to) {
            kernels.nttMultiply(to, a.data(), a.size(), b.data(), b.size(), plan, scratch);
        });
    });
    EXPECT_TRUE(r == longProduct(a, b)) << a.size() << " by " << b.size() << " limbs, " << plan.main
                                        << " + " << plan.tail << " by " << plan.bits << " bits";
}

TEST(Multiply, TransformsOfEveryShape) {
    withEverySet([](const LimbKernels& kernels) {
        Naturals naturals(5);
        for (size_t main = 16; main <= 4096; main *= 2) {
            for (size_t tail : {size_t{0}, main / 8, main / 4, main / 2}) {
                if (tail != 0 && tail < 16)
                    continue;
                for (unsigned bits : {64U, 60U}) {
                    const NttPlan plan = {main, tail, bits};
                    // One coefficient less than those of both.
                    const size_t limbs = (plan.length() + 1) * bits / 64 - (bits == 60 ? 1 : 0);
                    for (const size_t part : {limbs, size_t{7}, size_t{3}, size_t{2}}) {
                        const size_t bn = std::max<size_t>(limbs / part, 1);
                        const size_t an = limbs - bn;
                        expectTransformMultiplies(kernels, plan, naturals(an), naturals(bn));
                        expectTransformMultiplies(kernels, plan, Natural(an, Ones),
                                                  Natural(bn, Ones));
                    }
                    expectTransformMultiplies(kernels, plan, {3}, {3});
                }
            }
        }
    });
}

TEST(Multiply, LongOperandsModuloAPrime) {
    const auto modulo = [](const Natural& a) {
        constexpr Limb Prime = (Limb{1} << 61) - 1;
        Natural q(a.size());
        return divideLimb(q.data(), a.data(), a.size(), Prime);
    };
    const auto expectRemainder = [&](const Natural& a, const Natural& b) {
        const Natural expected = multiplyAdd({modulo(a)}, {modulo(b)}, {});
        EXPECT_EQ(modulo(&a == &b ? squareOf(a) : product(a, b)), modulo(expected))
            << a.size() << " by " << b.size();
    };
    withEverySet([&](const LimbKernels& kernels) {
        Naturals naturals(6);
        const MultiplyThresholds& t = kernels.thresholds;
        for (const size_t an : {t.karatsuba, t.karatsubaSquare, t.toom3, t.toom3Square, t.ntt + 1,
                                t.nttSquare, t.nttUneven, size_t{20000}, size_t{100000}}) {
            expectSquares(naturals(std::min(an, t.nttUneven)));
            for (const size_t bn : {an, an - 1, an / 3, an / 30 + 1})
                expectRemainder(naturals(an), naturals(bn));
        }
        // The most limbs whose coefficients have 64 bits, then 60; the middle one of the result is
        // as large as it gets.
        for (const size_t n : {size_t{1} << 18, (size_t{1} << 18) + 1}) {
            const Natural ones(n, Ones);
            expectRemainder(ones, ones);
        }
    });
}

// Division and what is built on it: the greatest common divisor, the inverse and the modular power

/// Divides and checks a = q * b + r and r < b, which no other pair fulfils.
void expectDivides(const Natural& a, const Natural& b) {
    SCOPED_TRACE(testing::Message() << a.size() << " limbs by " << testing::PrintToString(b));
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
    const Natural multiple = difference(a, remainder(a, b));
    for (Natural each : {a, multiple, difference(multiple.empty() ? a : multiple, {1})}) {
        each.resize(a.size());
        expectDivides(each, b);
    }
}

TEST(Divide, EveryPairOfSmallLengthsAndEveryShift) {
    Naturals naturals(1);
    for (size_t bn = 1; bn <= 20; ++bn) {
        for (size_t an = bn; an <= bn + 20; ++an) {
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
          std::pair{5 * repeated + 1, repeated + 1}})
        expectDivides(naturals(bn + qn), naturals(bn));
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
    std::vector<Natural> divisors{Natural(n, Ones), Natural(n, Ones), Natural(n), Natural(n)};
    // The reciprocal of the leading limbs has only its top limb.
    std::fill_n(divisors[0].begin(), n / 2, Limb{0});
    divisors[2].front() = 1;
    for (int i = 0; i < 8; ++i)
        divisors.push_back(naturals(n));
    for (Natural& divisor : divisors)
        divisor.back() |= Top;
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
    // What a step of the iteration has left to divide can have a limb more than the divisor: for
    // one in thirty of these runs of ones and zeros.
    for (int i = 0; i < 150; ++i) {
        SCOPED_TRACE(i);
        Natural d(2 * t + 2, Ones);
        const auto [begin, end] = std::minmax({naturals.below(d.size()), naturals.below(d.size())});
        std::fill(&d[begin], &d[end], Limb{0});
        d[naturals.below(d.size())] = naturals(1)[0];
        d.back() |= Top;
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
                    SCOPED_TRACE(testing::Message() << qn << ' ' << bn << ' ' << m << " limbs");
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

/// Checks both orders, and the inverse of one modulo the other, beside Euclid's algorithm.
void expectGcd(const Natural& a, const Natural& b) {
    SCOPED_TRACE(testing::Message() << a.size() << " and " << b.size() << " limbs");
    Natural expected = a;
    for (Natural rest = b; !rest.empty(); std::swap(expected, rest))
        expected = remainder(expected, rest);
    EXPECT_EQ(gcdOf(a, b), expected);
    EXPECT_EQ(gcdOf(b, a), expected);
    for (const auto& [number, m] : {std::pair(a, b), std::pair(b, a)}) {
        const Natural residue = remainder(number, m);
        if (m != Natural{1} && !residue.empty())
            expectInverse(residue, m, expected);
    }
}

/// As they are and with a common factor.
void expectGcds(const Natural& a, const Natural& b, const Natural& factor) {
    expectGcd(a, b);
    expectGcd(multiplyAdd(a, factor, {}), multiplyAdd(b, factor, {}));
}

TEST(Gcd, EveryPairOfLengths) {
    constexpr size_t Lengths[] = {1, 2, 3, 4, 5, 6, 7, 8, 19, 33, 63, 64, 65, 99, 100, 199, 200};
    Naturals naturals(1);
    for (const size_t an : Lengths) {
        for (const size_t bn : Lengths) {
            for (int count = an > 8 ? 1 : bn <= an ? 40 : 0; count-- > 0;)
                expectGcds(naturals(an), naturals(bn), naturals(naturals.below(4) + 1));
        }
        // The same, and neighbours, whose quotient is 1 and the rest of no use as a divisor.
        const Natural a = naturals(an);
        expectGcd(a, a);
        expectGcd(a, multiplyAdd(a, {1}, {1}));
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
    EXPECT_EQ(gcdOf(a, b), Natural{1});
    expectGcds(a, b, factor);
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

/// Checks the power with every set of kernels, reduced by products and by rows.
void expectPower(const Natural& base, const Natural& exponent, const Natural& m) {
    const Natural expected = plainPower(base, exponent, m);
    for (const size_t montgomery : {size_t{2}, Never}) {
        withEverySet([&](const LimbKernels& kernels) {
            MultiplyThresholds thresholds = kernels.thresholds;
            thresholds.montgomery = montgomery;
            const SelectedKernels selected(kernels, thresholds);
            const Natural r = made(m.size(), [&](Limb* to) {
                modPow(to, base.data(), base.size(), exponent.data(), exponent.size(), m.data(),
                       m.size());
            });
            EXPECT_EQ(normalized(r), expected)
                << testing::PrintToString(base) << " to " << testing::PrintToString(exponent)
                << " modulo " << testing::PrintToString(m) << ", products from " << montgomery;
        });
    }
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
                    expectPower(base, exponent, m);
                    base.resize(bn + 2); // leading zeros change nothing
                    exponent.resize(en + 2);
                    expectPower(base, exponent, m);
                    for (const Natural& small : {Natural{1}, Natural{7}, Natural{0, 1}})
                        expectPower(base, exponent, small);
                }
            }
        }
    }
    // Exponents that take a wider window each; the last modulus by products that need room.
    for (const size_t n : {4U, 5U, 6U, 12U, 33U, 70U, 300U}) {
        Natural m = naturals(n);
        m[0] |= 1;
        expectPower(naturals(n), naturals(n < 100 ? n : 1), m);
    }
}

// Digits in a radix

using Digits = std::vector<uint8_t>;

Natural parsed(const Digits& digits, int radix) {
    size_t n = 0;
    Natural a = made(limbsForDigits(digits.size(), radix),
                     [&](Limb* to) { n = fromDigits(to, digits.data(), digits.size(), radix); });
    EXPECT_LE(n, a.size());
    a.resize(n);
    EXPECT_TRUE(a.empty() || a.back() != 0);
    return a;
}

Digits printed(const Natural& a, int radix) {
    size_t count = 0;
    Digits digits = made<Digits>(digitsForLimbs(a.size(), radix), [&](uint8_t* to) {
        count = toDigits(to, a.data(), a.size(), radix);
    });
    EXPECT_LE(count, digits.size());
    digits.resize(count);
    return digits;
}

/// Digit by digit.
Natural plainlyParsed(const Digits& digits, int radix) {
    Natural a;
    for (const uint8_t digit : digits)
        a = multiplyAdd(a, {static_cast<Limb>(radix)}, {digit});
    return a;
}

/// Random digits, or a power, or the number before one, which is where estimates of digits go
/// wrong; or one of these with some digits changed.
Digits randomDigits(Naturals& naturals, size_t count, int radix) {
    const uint64_t shape = naturals.below(6);
    Digits digits(count, shape % 2 == 0 ? uint8_t{0} : static_cast<uint8_t>(radix - 1));
    for (uint8_t& digit : digits) {
        if (shape < 2 || (shape < 4 && naturals.below(30) == 0))
            digit = static_cast<uint8_t>(naturals.below(static_cast<uint64_t>(radix)));
    }
    if (!digits.empty() && digits[0] == 0)
        digits[0] = 1;
    return digits;
}

/// Also with leading zeros, in front of the digits up to twice as many of them.
void expectComesBack(Digits digits, int radix) {
    SCOPED_TRACE(testing::Message() << digits.size() << " digits in radix " << radix);
    Natural a = parsed(digits, radix);
    EXPECT_EQ(printed(a, radix), digits);
    digits.insert(digits.begin(), digits.size() / 2 * (digits.size() % 5), 0);
    EXPECT_EQ(parsed(digits, radix), a);
}

TEST(Radix, EveryShortLengthInEveryRadix) {
    Naturals naturals(1);
    for (int radix = 2; radix <= 36; ++radix) {
        for (size_t count = 0; count <= 140; ++count) {
            SCOPED_TRACE(testing::Message() << count << " digits in radix " << radix);
            Digits digits = randomDigits(naturals, count, radix);
            Natural a = plainlyParsed(digits, radix);
            EXPECT_EQ(parsed(digits, radix), a);
            digits.insert(digits.begin(), 5000, 0);
            EXPECT_EQ(parsed(digits, radix), a);
            a.resize(a.size() + 2);
            EXPECT_EQ(printed(a, radix), Digits(digits.begin() + 5000, digits.end()));
        }
    }
}

/// On both sides of all lengths at which numbers are cut in two, and again.
TEST(Radix, LengthsAroundTheThresholds) {
    Naturals naturals(2);
    for (int radix = 2; radix <= 36; ++radix) {
        const size_t chunkDigits = RadixTable[static_cast<size_t>(radix)].digitsPerChunk;
        for (size_t chunks = 1; chunks <= 2 * ReadPlainChunks + 1; ++chunks) {
            for (const size_t more : {0U, 1U, 2U})
                expectComesBack(randomDigits(naturals, chunks * chunkDigits - 1 + more, radix),
                                radix);
        }
        const Digits digits = randomDigits(naturals, 3 * ReadPlainChunks / 2 * chunkDigits, radix);
        EXPECT_EQ(parsed(digits, radix), plainlyParsed(digits, radix));
    }
}

TEST(Radix, LongNumbersComeBack) {
    Naturals naturals(4);
    for (const int radix : {3, 10, 24, 36}) {
        // Enough for reciprocals of the powers that cut a number more than once.
        const auto count = static_cast<size_t>(64 * 2600 / std::log2(radix));
        for (int i = 0; i < 8; ++i)
            expectComesBack(randomDigits(naturals, count, radix), radix);
        // The halves of the digits may add up to a limb more than the higher one has.
        for (size_t limbs = 1; limbs <= 128; ++limbs) {
            const Natural ones(limbs, ~Limb{0});
            for (const Natural& a :
                 {ones, multiplyAdd(ones, {1}, {1}), multiplyAdd(ones, {1}, {2})})
                EXPECT_EQ(parsed(printed(a, radix), radix), a);
        }
    }
}

/// At every level the upper part is a chunk shorter than the lower, until it is too short to be cut
/// where the others are.
TEST(Radix, ManyLevelsOfUnequalHalves) {
    constexpr size_t Levels = 12;
    constexpr size_t Chunks = (WriteLeafChunks / 2 << Levels) + 1;
    size_t n = Chunks / 2;
    while (chunksForLimbs(n, RadixTable[10]) < Chunks)
        ++n;
    ASSERT_EQ(chunksForLimbs(n, RadixTable[10]), Chunks) << "no length in limbs takes these chunks";
    const Natural a = Naturals(5)(n);
    EXPECT_EQ(parsed(printed(a, 10), 10), a);
}

TEST(DigitUnits, EveryUnitInEveryRadix) {
    constexpr char16_t Large[] = u"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ",
                       Small[] = u"0123456789abcdefghijklmnopqrstuvwxyz";
    std::u16string units(0x10000, u'\0');
    std::iota(units.begin(), units.end(), u'\0');
    for (int radix = 2; radix <= 36; ++radix) {
        Digits expected(units.size(), NoDigit), digits(units.size());
        for (int digit = 0; digit < radix; ++digit)
            expected[Large[digit]] = expected[Small[digit]] = static_cast<uint8_t>(digit);
        EXPECT_FALSE(digitsFromUnits(digits.data(), units.data(), units.size(), radix));
        EXPECT_EQ(digits, expected) << "radix " << radix;
    }
    Digits digits(36);
    EXPECT_TRUE(digitsFromUnits(digits.data(), Small, 36, 36));
    unitsFromDigits(units.data(), digits.data(), 36);
    EXPECT_EQ(units.substr(0, 36), Large);
}

} // namespace
