#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef QX_BENCH_HAVE_GMP
#include <gmp.h>
#endif
#ifdef QX_BENCH_HAVE_OPENSSL
#include <openssl/bn.h>
#endif
#ifdef QX_BENCH_HAVE_BOOST
#include <boost/multiprecision/cpp_int.hpp>
#endif

#include <qx/core/String.h>
#include <qx/math/BigInteger.h>

// Whole numbers of 100 to 1,000,000 decimal digits beside other libraries; bench/bigints.py has the
// same cases for Python. Multiply is n by n digits, Divide 2n by n to quotient and remainder, Parse
// and Print convert n digits of text. Square roots of ten between the powers are for the plot.

namespace {

/// The same random digits for every library, not starting with 0.
std::string digits(size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::string text(count, '0');
    for (char& digit : text)
        digit = static_cast<char>('0' + random() % 10);
    if (text[0] == '0')
        text[0] = '1';
    return text;
}

/// A number of 2,048 bits as decimal digits, with the highest and the lowest bit set.
std::string digitsOf2048Bits(unsigned seed) {
    std::mt19937 random(seed);
    std::vector<signed char> bytes(256);
    for (signed char& byte : bytes)
        byte = static_cast<signed char>(random());
    bytes.front() = static_cast<signed char>(bytes.front() | 1);
    bytes.back() = static_cast<signed char>(bytes.back() | 0x80);
    return qx::math::BigInteger(bytes.data(), 256, false).toString().toUtf8();
}

// A library: its number, the text that it reads, and the operations. What can keep its storage
// from one result to the next does.

struct Qx {
    using Number = qx::math::BigInteger;
    using Text = qx::String;
    static Text text(const std::string& digits) { return Text::fromUtf8(digits); }
    static Number parse(const Text& text) { return Number(text); }
    static void print(const Number& a) { benchmark::DoNotOptimize(a.toString()); }
    static void multiply(const Number& a, const Number& b) { benchmark::DoNotOptimize(a * b); }
    static void divide(const Number& a, const Number& b) {
        Number quotient(a), remainder;
        quotient.divide(b, remainder);
        benchmark::DoNotOptimize(remainder);
    }
    static void modPow(const Number& base, const Number& exponent, const Number& modulus) {
        Number power(base);
        power.modPow(exponent, modulus);
        benchmark::DoNotOptimize(power);
    }
};

#ifdef QX_BENCH_HAVE_GMP
struct Gmp {
    class Number {
    public:
        Number() { mpz_init(m_value); }
        explicit Number(const std::string& text) { mpz_init_set_str(m_value, text.c_str(), 10); }
        Number(Number&& other) noexcept : Number() { mpz_swap(m_value, other.m_value); }
        ~Number() { mpz_clear(m_value); }
        operator mpz_ptr() const { return const_cast<mpz_ptr>(m_value); }

    private:
        mpz_t m_value;
    };
    using Text = std::string;
    static Text text(const std::string& digits) { return digits; }
    static Number parse(const Text& text) { return Number(text); }
    static void print(const Number& a) {
        std::unique_ptr<char, void (*)(void*)> text(mpz_get_str(nullptr, 10, a), std::free);
        benchmark::DoNotOptimize(text);
    }
    static void multiply(const Number& a, const Number& b) {
        static Number product;
        mpz_mul(product, a, b);
    }
    static void divide(const Number& a, const Number& b) {
        static Number quotient, remainder;
        mpz_tdiv_qr(quotient, remainder, a, b);
    }
    static void modPow(const Number& base, const Number& exponent, const Number& modulus) {
        static Number power;
        mpz_powm(power, base, exponent, modulus);
    }
};
#endif

#ifdef QX_BENCH_HAVE_OPENSSL
struct OpenSsl {
    struct Free {
        void operator()(BIGNUM* number) const { BN_free(number); }
        void operator()(BN_CTX* context) const { BN_CTX_free(context); }
        void operator()(char* text) const { OPENSSL_free(text); }
    };
    using Number = std::unique_ptr<BIGNUM, Free>;
    using Text = std::string;
    static BN_CTX* context() {
        static const std::unique_ptr<BN_CTX, Free> shared(BN_CTX_new());
        return shared.get();
    }
    static Text text(const std::string& digits) { return digits; }
    static Number parse(const Text& text) {
        BIGNUM* number = nullptr;
        BN_dec2bn(&number, text.c_str());
        return Number(number);
    }
    static void print(const Number& a) {
        std::unique_ptr<char, Free> text(BN_bn2dec(a.get()));
        benchmark::DoNotOptimize(text);
    }
    static void multiply(const Number& a, const Number& b) {
        static const Number product(BN_new());
        BN_mul(product.get(), a.get(), b.get(), context());
    }
    static void divide(const Number& a, const Number& b) {
        static const Number quotient(BN_new()), remainder(BN_new());
        BN_div(quotient.get(), remainder.get(), a.get(), b.get(), context());
    }
    static void modPow(const Number& base, const Number& exponent, const Number& modulus) {
        static const Number power(BN_new());
        BN_mod_exp(power.get(), base.get(), exponent.get(), modulus.get(), context());
    }
};
#endif

#ifdef QX_BENCH_HAVE_BOOST
struct Boost {
    using Number = boost::multiprecision::cpp_int;
    using Text = std::string;
    static Text text(const std::string& digits) { return digits; }
    static Number parse(const Text& text) { return Number(text); }
    static void print(const Number& a) { benchmark::DoNotOptimize(a.str()); }
    static void multiply(const Number& a, const Number& b) {
        static Number product;
        boost::multiprecision::multiply(product, a, b);
    }
    static void divide(const Number& a, const Number& b) {
        static Number quotient, remainder;
        boost::multiprecision::divide_qr(a, b, quotient, remainder);
    }
    static void modPow(const Number& base, const Number& exponent, const Number& modulus) {
        static Number power;
        power = boost::multiprecision::powm(base, exponent, modulus);
    }
};
#endif

template <class Library>
auto number(size_t digitCount, unsigned seed) {
    return Library::parse(Library::text(digits(digitCount, seed)));
}

template <class Library>
void multiply(benchmark::State& state, size_t n) {
    const auto a = number<Library>(n, 1), b = number<Library>(n, 2);
    for (auto _ : state)
        Library::multiply(a, b);
}

template <class Library>
void divide(benchmark::State& state, size_t n) {
    const auto a = number<Library>(2 * n, 3), b = number<Library>(n, 4);
    for (auto _ : state)
        Library::divide(a, b);
}

template <class Library>
void parse(benchmark::State& state, size_t n) {
    const auto text = Library::text(digits(n, 5));
    for (auto _ : state)
        benchmark::DoNotOptimize(Library::parse(text));
}

template <class Library>
void print(benchmark::State& state, size_t n) {
    const auto a = number<Library>(n, 6);
    for (auto _ : state)
        Library::print(a);
}

template <class Library>
void modPow(benchmark::State& state) {
    const auto operand = [](unsigned seed) {
        return Library::parse(Library::text(digitsOf2048Bits(seed)));
    };
    const auto base = operand(7), exponent = operand(8), modulus = operand(9);
    for (auto _ : state)
        Library::modPow(base, exponent, modulus);
}

using Case = void (*)(benchmark::State&, size_t);

void registerCase(const char* name, const char* who, Case run, size_t longest) {
    static constexpr size_t Digits[] = {100,    316,     1'000,   3'162,    10'000,
                                        31'623, 100'000, 316'228, 1'000'000};
    bool isPowerOfTen = true;
    for (size_t n : Digits) {
        if (n > longest)
            return;
        benchmark::RegisterBenchmark(
            (std::string(name) + "/" + who + "/" + std::to_string(n)).c_str(),
            [run, n, isPowerOfTen](benchmark::State& state) {
                run(state, n);
                if (!isPowerOfTen)
                    state.SetLabel("plot only");
            });
        isPowerOfTen = !isPowerOfTen;
    }
}

/// @param longest  digits up to which a library is measured at what takes it quadratic time
template <class Library>
void registerLibrary(const char* who, size_t longest) {
    registerCase("Multiply", who, multiply<Library>, longest);
    registerCase("Divide", who, divide<Library>, longest);
    registerCase("Parse", who, parse<Library>, longest);
    registerCase("Print", who, print<Library>, longest);
    benchmark::RegisterBenchmark((std::string("ModPow2048Bits/") + who).c_str(), modPow<Library>)
        ->Unit(benchmark::kMicrosecond);
}

[[maybe_unused]] constexpr size_t LongestQuadratic = 100'000;

} // namespace

int main(int argc, char** argv) {
    registerLibrary<Qx>("qx", 1'000'000);
#ifdef QX_BENCH_HAVE_GMP
    registerLibrary<Gmp>("gmp", 1'000'000);
#endif
#ifdef QX_BENCH_HAVE_BOOST
    registerLibrary<Boost>("boost", LongestQuadratic);
#endif
#ifdef QX_BENCH_HAVE_OPENSSL
    registerLibrary<OpenSsl>("openssl", LongestQuadratic);
#endif
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
