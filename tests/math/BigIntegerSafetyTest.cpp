// Memory that runs out and results that cannot be.

#include <climits>
#include <functional>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/math/BigDecimal.h>
#include <qx/math/BigInteger.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"

using namespace qx;
using math::BigDecimal;
using math::BigInteger;

namespace {

/// An operation on a number with two arguments; not every one uses both.
struct Operation {
    std::string_view name;
    std::function<void(BigInteger&, BigInteger&, BigInteger&)> run;
};

const Operation Operations[] = {
    {"add", [](auto& a, auto& b, auto&) { a.add(b); }},
    {"subtract", [](auto& a, auto& b, auto&) { a.subtract(b); }},
    {"multiply", [](auto& a, auto& b, auto&) { a.multiply(b); }},
    {"mod", [](auto& a, auto& b, auto&) { a.mod(b); }},
    {"modPow", [](auto& a, auto& b, auto& c) { a.modPow(b, c); }},
    {"modInverse", [](auto& a, auto& b, auto&) { a.modInverse(b); }},
    {"gcd", [](auto& a, auto& b, auto&) { a.gcd(b); }},
    {"/=", [](auto& a, auto& b, auto&) { a /= b; }},
    {"+", [](auto& a, auto& b, auto& c) { a = b + c; }},
    {"-", [](auto& a, auto& b, auto& c) { a = b - c; }},
    {"*", [](auto& a, auto& b, auto& c) { a = b * c; }},
    {"/", [](auto& a, auto& b, auto& c) { a = b / c; }},
    {"%", [](auto& a, auto& b, auto& c) { a = b % c; }},
    {"=", [](auto& a, auto& b, auto&) { a = b; }},
    {"<<=", [](auto& a, auto&, auto&) { a <<= 100; }},
    {">>=", [](auto& a, auto&, auto&) { a >>= 100; }},
    {"setBit", [](auto& a, auto&, auto&) { a.setBit(1000); }},
    {"power", [](auto& a, auto&, auto&) { a.pow(7); }},
    {"divide", [](auto& a, auto& b, auto& c) { a.divide(b, c); }},
    {"square", [](auto& a, auto&, auto&) { a.multiply(a); }},
    {"power modulo an odd number", [](auto& a, auto&, auto& c) { a.modPow(29, c); }},
    {"and an even one", [](auto& a, auto&, auto& c) { a.modPow(29, c + 1); }},
    {"print and parse", [](auto& a, auto&, auto&) { a = BigInteger(a.toString(7), 7); }},
};

bool isSame(const BigInteger& left, const BigInteger& right) { return left == right; }

bool isSame(const BigDecimal& left, const BigDecimal& right) {
    return left.getScale() == right.getScale() && left.getUnscaled() == right.getUnscaled();
}

/// Runs @p operation on copies of @p numbers with each of its allocations failing in turn, which
/// changes none of them.
template <class Number, class Run>
void expectStrong(const std::vector<Number>& numbers, Run&& operation) {
    qxtest::failEachAllocation([&] {
        std::vector<Number> copies;
        try {
            copies = numbers;
            operation(copies);
        } catch (const std::bad_alloc&) {
            for (size_t i = 0; i < copies.size(); ++i)
                EXPECT_TRUE(isSame(copies[i], numbers[i])) << "number " << i;
        }
    });
}

} // namespace

TEST(BigIntegerSafety, FailedAllocationsChangeNothing) {
    for (const int bits : {3, 70, 5000, 20'000}) {
        const BigInteger x = (BigInteger(1) << (2 * bits)) - 3;
        const BigInteger y = -(BigInteger(1) << bits) + 1;
        const BigInteger z = (BigInteger(1) << bits) + 1;
        for (const Operation& operation : Operations) {
            const std::string_view name = operation.name;
            if (bits >= 5000 && name == "modPow")
                continue;
            SCOPED_TRACE(testing::Message() << name << ", " << bits << " bits");
            const bool isModular = name == "mod" || name == "modInverse";
            expectStrong<BigInteger>({x, isModular ? z : y, z},
                                     [&](auto& n) { operation.run(n[0], n[1], n[2]); });
        }
    }
}

TEST(BigIntegerSafety, FailedAllocationsChangeNoDecimal) {
    const BigDecimal x(BigInteger(u"-123456789012345678901234567890"), 25);
    const BigDecimal y(BigInteger(u"98765432109876543210"), 3);
    const std::function<void(BigDecimal&, BigDecimal&)> operations[] = {
        [](auto& a, auto& b) { a.add(b); },
        [](auto& a, auto& b) { a.subtract(b); },
        [](auto& a, auto& b) { a.multiply(b); },
        [](auto& a, auto& b) { a.divide(b, 40); },
        [](auto& a, auto& b) { a.divide(b, 2); },
        [](auto& a, auto&) { a.setScale(60); },
        [](auto& a, auto&) { a.setScale(3); },
        [](auto& a, auto& b) { a = b; },
        [](auto& a, auto&) { a = 0.1; },
        [](auto& a, auto&) { a = BigDecimal(a.toString()); },
        [](auto& a, auto& b) { EXPECT_EQ(a.compareTo(b), -1); },
    };
    for (const auto& operation : operations) {
        SCOPED_TRACE(&operation - operations);
        const auto run = [&](auto& numbers) { operation(numbers[0], numbers[1]); };
        expectStrong<BigDecimal>({x, y}, run); // finer than its argument, and coarser
        expectStrong<BigDecimal>({-y, -x}, run);
    }
}

TEST(BigIntegerSafety, SmallNumbersAllocateOnce) {
    BigInteger a(5), b(7), remainder(1);
    const auto expectAllocations = [](int expected, auto&& operation) {
        const int64_t before = qxtest::allocationCount();
        operation();
        EXPECT_EQ(qxtest::allocationCount() - before, expected);
    };
    expectAllocations(0, [] { BigInteger(); });
    expectAllocations(1, [] { BigInteger(5); });
    expectAllocations(1, [] { BigInteger(u"-12345678901234567"); });
    expectAllocations(0, [&] {
        a.add(b).subtract(12).multiply(-7).add(50).multiply(b).mod(1000);
        a.divide(3, remainder);
        a = 17;
        a = b;
        a <<= 8;
        a >>= 4;
        EXPECT_TRUE(a > 16 && 5 < a && a != b && a.compareTo(b) == 1);
    });
    expectAllocations(1, [&] { a.gcd(b); });
    expectAllocations(1, [&] { BigInteger sum = a + b; });
    expectAllocations(1, [&] { BigInteger product = a * b * 3 + 5; });
}

TEST(BigIntegerSafety, RefusesWhatCannotBeBeforeAnyWork) {
    constexpr int64_t MaxBits = 8 * (int64_t{0x7FFFFFFF} - 7);
    const BigInteger huge(u"1000000000000000000000000000000");
    BigInteger number(3);
    const std::function<void()> operations[] = {
        [&] { number <<= MaxBits; },
        [&] { number <<= INT64_MAX; },
        [&] { number.pow(MaxBits); },
        [&] { number.pow(huge); },
        [&] { BigInteger(-6).pow(MaxBits / 2); },
        [&] { BigInteger(huge).pow(MaxBits / 90); },
    };
    for (const auto& operation : operations) {
        SCOPED_TRACE(&operation - operations);
        EXPECT_THROW(operation(), OutOfMemoryException);
        EXPECT_EQ(number, 3);
    }
    // One bit less is a matter of memory, and no failure of the library.
    const qxtest::FailingAllocator allocator(0);
    EXPECT_THROW(qxtest::failureOf([&] { number <<= MaxBits - 2; }), std::bad_alloc);
    EXPECT_EQ(number, 3);
}

TEST(BigIntegerSafety, RefusesScalesThatAreTooFarApart) {
    const BigDecimal one(1);
    const BigDecimal fine(BigInteger(1), INT32_MAX);
    const BigDecimal coarse(BigInteger(1), INT32_MIN);
    const std::function<void(BigDecimal&)> operations[] = {
        [&](BigDecimal& a) { a.add(fine); },
        [&](BigDecimal& a) { a.subtract(coarse); },
        [&](BigDecimal& a) { a.setScale(INT32_MAX); },
        [&](BigDecimal& a) { a.divide(one, INT32_MAX); },
        [&](BigDecimal& a) { a.setScale(100'000'001); },
        [&](BigDecimal& a) { a = BigDecimal(BigInteger(7), 2).multiply(fine); },
        [&](BigDecimal& a) { a = BigDecimal(BigInteger(7), -1).multiply(coarse); },
        [&](BigDecimal&) { coarse.toBigInteger(); },
    };
    for (const auto& operation : operations) {
        SCOPED_TRACE(&operation - operations);
        BigDecimal number(one);
        EXPECT_THROW(operation(number), RangeErrorException);
        EXPECT_EQ(number.toString(), u"1");
    }
    // What needs no digits is done however far the scales are apart.
    EXPECT_EQ(coarse.compareTo(fine), 1);
    EXPECT_EQ((-coarse).compareTo(-fine), -1);
    EXPECT_EQ(BigDecimal(fine).setScale(0), 0);
    EXPECT_EQ(BigDecimal(0).setScale(INT32_MAX).setScale(INT32_MIN).getScale(), INT32_MIN);
    EXPECT_EQ(BigDecimal(fine).divide(coarse, 5).toString(), u"0.00000");
    EXPECT_EQ(BigDecimal(0).setScale(-5).add(fine), fine);
    EXPECT_EQ(fine.toDouble(), 0.0);
    EXPECT_EQ(coarse.hashCode(), BigDecimal(1e30).hashCode());
}
