// Conversion of limb arrays is internal, yet tested by itself in every radix and over the lengths
// at which it changes its method.

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>

#include <gtest/gtest.h>

#include <qx/math/detail/DigitUnits.h>
#include <qx/math/detail/Radix.h>
#include <qx/math/detail/RadixConstants.h>
#include <qx/math/detail/Thresholds.h>

#include "tests/math/Naturals.h"

namespace {

using namespace qxtest;
using namespace qx::math::detail;
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
    constexpr uint8_t Guard = 0x55;
    const size_t room = digitsForLimbs(a.size(), radix);
    Digits digits(room + 1, Guard);
    const size_t count = toDigits(digits.data(), a.data(), a.size(), radix);
    EXPECT_EQ(digits.back(), Guard);
    EXPECT_LE(count, room);
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
    const auto random = [&] {
        return static_cast<uint8_t>(naturals.below(static_cast<uint64_t>(radix)));
    };
    Digits digits(count, shape % 2 == 0 ? uint8_t{0} : static_cast<uint8_t>(radix - 1));
    for (uint8_t& digit : digits) {
        if (shape < 2 || (shape < 4 && naturals.below(30) == 0))
            digit = random();
    }
    if (!digits.empty() && digits[0] == 0)
        digits[0] = 1;
    return digits;
}

void expectComesBack(const Digits& digits, int radix) {
    SCOPED_TRACE(testing::Message() << digits.size() << " digits in radix " << radix);
    EXPECT_EQ(printed(parsed(digits, radix), radix), digits);
}

TEST(Radix, EveryShortLengthInEveryRadix) {
    Naturals naturals(1);
    for (int radix = 2; radix <= 36; ++radix) {
        for (size_t count = 0; count <= 140; ++count) {
            SCOPED_TRACE(testing::Message() << count << " digits in radix " << radix);
            Digits digits = randomDigits(naturals, count, radix);
            const Natural a = plainlyParsed(digits, radix);
            EXPECT_EQ(parsed(digits, radix), a);
            EXPECT_EQ(printed(a, radix), digits);
            digits.insert(digits.begin(), 3, 0);
            EXPECT_EQ(parsed(digits, radix), a);
        }
        for (size_t count = 1; count < 3000; count += 1 + count / 10)
            expectComesBack(randomDigits(naturals, count, radix), radix);
    }
}

/// Numbers on both sides of the lengths at which they are cut in two, and again.
TEST(Radix, LengthsAroundTheThresholds) {
    Naturals naturals(2);
    for (int radix = 2; radix <= 36; ++radix) {
        const size_t chunkDigits = RadixTable[static_cast<size_t>(radix)].digitsPerChunk;
        const auto digitsOf = [&](size_t chunks, size_t more) {
            return randomDigits(naturals, chunks * chunkDigits - 1 + more, radix);
        };
        for (const size_t leaf : {ReadPlainChunks, ReadLeafChunks, WriteLeafChunks}) {
            for (const size_t chunks : {leaf - 1, leaf, leaf + 1, 2 * leaf, 2 * leaf + 1, 5 * leaf})
                for (const size_t more : {0U, 1U, 2U})
                    expectComesBack(digitsOf(chunks, more), radix);
        }
        const Digits digits = digitsOf(3 * ReadPlainChunks / 2, 1);
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

TEST(Radix, LeadingZeros) {
    Digits digits(700, 9);
    const Natural a = parsed(digits, 10);
    for (const size_t zeros : {700U, 1500U, 8000U}) { // more than a half
        digits.insert(digits.begin(), zeros, uint8_t{0});
        EXPECT_EQ(parsed(digits, 10), a);
    }
    EXPECT_EQ(parsed(Digits(5000), 10), Natural{});
    for (const int radix : {2, 10, 36}) {
        EXPECT_EQ(printed({0, 0}, radix), Digits{});
        EXPECT_EQ(printed({1, 0, 0}, radix), Digits{1});
    }
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
