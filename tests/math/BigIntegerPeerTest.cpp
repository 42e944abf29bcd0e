// BigInteger against the GNU multiple precision library, where the system has it: random operations
// over the sizes at which the methods change, with the shapes at which carries go wrong.

#ifdef QX_TEST_HAVE_GMP

#include <algorithm>
#include <random>
#include <string>

#include <gmp.h>
#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/math/BigInteger.h>

#include "tests/math/Naturals.h"

using qx::String;
using qx::math::BigInteger;
using qxtest::Natural;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(__OPTIMIZE__)
constexpr uint64_t Rounds = 5000;
#else
constexpr uint64_t Rounds = 9000;
#endif

/// A number of the peer, owned.
class Peer {
public:
    Peer() noexcept { mpz_init(m_value); }
    explicit Peer(const BigInteger& number) : Peer() {
        mpz_import(m_value, static_cast<size_t>(number.getSize()), -1, 1, 0, 0, number.getData());
        if (number.isNegative())
            mpz_neg(m_value, m_value);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer() { mpz_clear(m_value); }

    operator mpz_ptr() noexcept { return m_value; }
    operator mpz_srcptr() const noexcept { return m_value; }

private:
    mpz_t m_value;
};

std::string hexOf(mpz_srcptr value) {
    std::string text(mpz_sizeinbase(value, 16) + 2, '\0');
    mpz_get_str(text.data(), 16, value);
    return text.c_str();
}

/// Equal, and in the one form that a number has.
testing::AssertionResult isSame(const BigInteger& number, mpz_srcptr expected) {
    const bool hasForm =
        number.isZero() ? !number.isNegative() : number.getData()[number.getSize() - 1] != 0;
    const Peer actual(number);
    if (hasForm && mpz_cmp(actual, expected) == 0)
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "is " << number.toString(16) << "\nnot " << hexOf(expected);
}

/// The numbers of one case, which its seed makes again.
class Numbers {
public:
    explicit Numbers(uint64_t seed) : m_random(seed), m_naturals(seed) {}

    uint64_t below(uint64_t end) { return m_random() % end; }

    /// Mostly short, up to 20 000 decimal digits.
    size_t bits(size_t limit = 66'440) {
        constexpr size_t Most[] = {64, 128, 128, 256, 1024, 1024, 1024, 4096};
        return below(std::min(limit, below(20) == 0 ? 66'440 : Most[below(8)]) + 1);
    }

    BigInteger positive(size_t bitLength) {
        if (bitLength == 0)
            return 0;
        const BigInteger power = BigInteger(1) << static_cast<int64_t>(bitLength - 1);
        switch (below(8)) {
        case 0:
            return power;
        case 1:
            return power + power - 1;
        case 2:
            return power + 1;
        default:
            const Natural limbs = m_naturals((bitLength + 63) / 64);
            BigInteger number(reinterpret_cast<const signed char*>(limbs.data()),
                              static_cast<int>(limbs.size() * sizeof(limbs[0])), false);
            const int64_t surplus = number.getBitCount() - static_cast<int64_t>(bitLength);
            return surplus > 0 ? number >> surplus : number;
        }
    }
    BigInteger positive() { return positive(bits()); }
    BigInteger any(size_t bitLength) {
        BigInteger number = positive(bitLength);
        return below(2) == 0 ? number : -number;
    }
    BigInteger any() { return any(bits()); }
    /// Sometimes related to @p number.
    BigInteger beside(const BigInteger& number) {
        switch (below(16)) {
        case 0:
            return number;
        case 1:
            return -number;
        case 2:
            return number + 1;
        case 3:
            return number << static_cast<int64_t>(below(130));
        default:
            return any();
        }
    }
    BigInteger notZero() {
        BigInteger number = any();
        return number.isZero() ? BigInteger(7) : number;
    }

private:
    std::mt19937_64 m_random;
    qxtest::Naturals m_naturals;
};

template <class Body>
void forCases(uint64_t rounds, Body&& body) {
    constexpr uint64_t FirstSeed = 20240611;
    for (uint64_t seed = FirstSeed; seed < FirstSeed + rounds; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Numbers numbers(seed);
        body(numbers);
        if (testing::Test::HasFailure())
            return;
    }
}

} // namespace

TEST(BigIntegerPeer, AddsAndSubtracts) {
    forCases(Rounds, [](Numbers& numbers) {
        const BigInteger a = numbers.any();
        const BigInteger b = numbers.beside(a);
        const Peer x(a), y(b);
        Peer expected;
        BigInteger result(a);
        mpz_add(expected, x, y);
        ASSERT_TRUE(isSame(result.add(b), expected));
        ASSERT_TRUE(isSame(a + b, expected));
        mpz_sub(expected, x, y);
        ASSERT_TRUE(isSame((result = a).subtract(b), expected));
        ASSERT_TRUE(isSame(a - b, expected));
        mpz_add(expected, x, x);
        ASSERT_TRUE(isSame((result = a).add(result), expected));
        ASSERT_EQ(a.compareTo(b), std::clamp(mpz_cmp(x, y), -1, 1));

        const auto small = static_cast<long>(numbers.below(~uint64_t{0}) >> numbers.below(64));
        const Peer z{BigInteger(small)};
        mpz_sub(expected, z, x);
        ASSERT_TRUE(isSame(small - a, expected));
        ASSERT_EQ(a.compareTo(small), std::clamp(mpz_cmp(x, z), -1, 1));
    });
}

TEST(BigIntegerPeer, Multiplies) {
    forCases(Rounds, [](Numbers& numbers) {
        const BigInteger a = numbers.any();
        const BigInteger b = numbers.beside(a);
        const Peer x(a), y(b);
        Peer expected;
        BigInteger result(a);
        mpz_mul(expected, x, y);
        ASSERT_TRUE(isSame(result.multiply(b), expected));
        ASSERT_TRUE(isSame(b * a, expected));
        mpz_mul(expected, y, y);
        ASSERT_TRUE(isSame((result = b).multiply(result), expected));
        const auto small = static_cast<long>(numbers.below(~uint64_t{0}) >> numbers.below(64));
        mpz_mul_si(expected, x, small);
        ASSERT_TRUE(isSame((result = a).multiply(small), expected));
    });
}

TEST(BigIntegerPeer, Divides) {
    forCases(Rounds, [](Numbers& numbers) {
        const BigInteger b = numbers.notZero();
        BigInteger a = numbers.beside(b);
        if (numbers.below(4) == 0) // at the edge of a multiple
            a = a * b + static_cast<int>(numbers.below(3)) - 1;
        const Peer x(a), y(b);
        Peer quotient, remainder, size, divisor;
        mpz_abs(size, x);
        mpz_abs(divisor, y);
        mpz_tdiv_q(quotient, x, y);
        mpz_tdiv_r(remainder, size, divisor);

        BigInteger first(a);
        BigInteger second(numbers.any(100));
        first.divide(b, second);
        ASSERT_TRUE(isSame(first, quotient));
        ASSERT_TRUE(isSame(second, remainder));
        second = b;
        (first = a).divide(second, second);
        ASSERT_TRUE(isSame(first, quotient));
        ASSERT_TRUE(isSame(second, remainder));
        (first = a).divide(b, first);
        ASSERT_TRUE(isSame(first, remainder));
        (first = b).divide(first, second);
        ASSERT_TRUE(first == 1 && second == 0);
        first = b;
        ASSERT_EQ(first.divide(first, first), 0);
        ASSERT_TRUE(isSame(a / b, quotient));
    });
}

TEST(BigIntegerPeer, Reduces) {
    forCases(Rounds, [](Numbers& numbers) {
        BigInteger m = numbers.notZero();
        m.abs();
        const BigInteger a = numbers.beside(m);
        const Peer x(a), y(m);
        Peer expected;
        mpz_mod(expected, x, y);
        ASSERT_TRUE(isSame(BigInteger(a).mod(m), expected));
        ASSERT_TRUE(isSame(a % m, expected));
    });
}

TEST(BigIntegerPeer, TakesPowers) {
    forCases(Rounds, [](Numbers& numbers) {
        const size_t bits = numbers.bits(4000);
        const BigInteger base = numbers.any(bits);
        const unsigned long e = numbers.below(8000 / (bits + 1) + 3);
        Peer expected;
        mpz_pow_ui(expected, Peer(base), e);
        ASSERT_TRUE(isSame(BigInteger(base).pow(e), expected));
    });
}

TEST(BigIntegerPeer, TakesPowersModulo) {
    forCases(Rounds, [](Numbers& numbers) {
        const size_t bits = numbers.bits(numbers.below(50) == 0 ? 5000 : 400);
        BigInteger m = numbers.positive(bits) + 1;
        const BigInteger base = numbers.any(numbers.bits(2 * bits + 10));
        const BigInteger e = numbers.any(numbers.bits(bits > 1000 ? 60 : 300));
        const Peer x(base), y(e), z(m);
        Peer expected;
        BigInteger result(base);
        if (e.isNegative() && mpz_invert(expected, x, z) == 0 && m != 1) {
            ASSERT_THROW(result.modPow(e, m), qx::Exception);
            return;
        }
        mpz_powm(expected, x, y, z);
        ASSERT_TRUE(isSame(result.modPow(e, m), expected));
        if (numbers.below(10) == 0) {
            mpz_powm(expected, z, z, z);
            ASSERT_TRUE(isSame(m.modPow(m, m), expected));
        }
    });
}

TEST(BigIntegerPeer, Inverts) {
    forCases(Rounds, [](Numbers& numbers) {
        const BigInteger m = numbers.positive(numbers.bits(20'000)) + 2;
        const BigInteger a = numbers.beside(m);
        const Peer x(a), y(m);
        Peer expected;
        BigInteger result(a);
        if (mpz_invert(expected, x, y) == 0) {
            ASSERT_THROW(result.modInverse(m), qx::Exception);
            mpz_set(expected, x);
        } else {
            result.modInverse(m);
        }
        ASSERT_TRUE(isSame(result, expected));
    });
}

TEST(BigIntegerPeer, FindsCommonDivisors) {
    forCases(Rounds, [](Numbers& numbers) {
        BigInteger a = numbers.any();
        BigInteger b = numbers.beside(a);
        const BigInteger common = numbers.notZero();
        if (numbers.below(2) == 0) {
            a.multiply(common);
            b.multiply(common);
        }
        if (b.isZero())
            b = common;
        const Peer x(a), y(b);
        Peer expected;
        mpz_gcd(expected, x, y);
        if (b.isNegative() && mpz_divisible_p(x, y) != 0)
            mpz_neg(expected, expected);
        ASSERT_TRUE(isSame(BigInteger(a).gcd(b), expected));
    });
}

TEST(BigIntegerPeer, PrintsAndParsesInEveryRadix) {
    forCases(Rounds, [](Numbers& numbers) {
        const BigInteger a = numbers.any();
        const int radix = numbers.below(3) == 0 ? 10 : static_cast<int>(numbers.below(35)) + 2;
        const Peer x(a);
        std::string text(mpz_sizeinbase(x, radix) + 2, '\0');
        mpz_get_str(text.data(), -radix, x); // in upper case
        text.resize(text.find('\0'));
        const std::u16string wide(text.begin(), text.end());
        ASSERT_TRUE(a.toString(radix) == std::u16string_view(wide)) << radix;
        ASSERT_TRUE(isSame(BigInteger(wide, radix), x)) << radix;
    });
}

TEST(BigIntegerPeer, ChangesBitsAndShifts) {
    forCases(2 * Rounds, [](Numbers& numbers) {
        const BigInteger a = numbers.any();
        const auto n = static_cast<unsigned>(numbers.bits(10'000));
        const Peer x(a);
        Peer size, expected;
        mpz_abs(size, x);
        const auto withSign = [&](void (*change)(mpz_ptr, mp_bitcnt_t)) -> mpz_ptr {
            mpz_set(expected, size);
            change(expected, n);
            if (a.isNegative())
                mpz_neg(expected, expected);
            return expected;
        };
        ASSERT_TRUE(isSame(BigInteger(a).setBit(static_cast<int>(n)), withSign(mpz_setbit)));
        ASSERT_TRUE(isSame(BigInteger(a).clearBit(static_cast<int>(n)), withSign(mpz_clrbit)));
        mpz_mul_2exp(expected, x, n);
        ASSERT_TRUE(isSame(a << n, expected));
        mpz_tdiv_q_2exp(expected, x, n);
        BigInteger result(a);
        ASSERT_TRUE(isSame(result >>= n, expected));
        mpz_mul_2exp(expected, expected, n / 2); // within the room that is left
        ASSERT_TRUE(isSame(result <<= n / 2, expected));
        ASSERT_EQ(a.getBitCount(), a.isZero() ? 0 : static_cast<int64_t>(mpz_sizeinbase(x, 2)));
    });
}

TEST(BigIntegerPeer, ConvertsTo64Bits) {
    forCases(2 * Rounds, [](Numbers& numbers) {
        const BigInteger a = numbers.any(numbers.bits(300));
        const Peer x(a);
        Peer low;
        mpz_fdiv_r_2exp(low, x, 64);
        ASSERT_EQ(a.toUInt64(), mpz_get_ui(low));
        mpz_tdiv_r_2exp(low, x, 63);
        ASSERT_EQ(a.toInt64(), mpz_get_si(low));
    });
}

#endif
