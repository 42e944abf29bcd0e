#include "Arithmetic.h"

namespace {

/// The three products over a range of terms of Chudnovsky's series.
struct Terms {
    BigInteger p;
    BigInteger q;
    BigInteger t;
};

constexpr int64_t CubeDividedBy24 = 10939058860032000; // 640320^3 / 24

/// Term number @p k, counted from 1.
Terms term(int64_t k) {
    Terms terms{BigInteger(6 * k - 5) * BigInteger(2 * k - 1) * BigInteger(6 * k - 1),
                BigInteger(k) * BigInteger(k) * BigInteger(k) * BigInteger(CubeDividedBy24),
                {}};
    terms.t = terms.p * BigInteger(13591409 + 545140134 * k);
    if (k % 2 == 1)
        terms.t.negate();
    return terms;
}

/// Terms from @p begin up to @p end by binary splitting, which multiplies numbers of like size.
Terms sum(int64_t begin, int64_t end) {
    if (end - begin == 1)
        return term(begin);
    const int64_t middle = begin + (end - begin) / 2;
    const Terms low = sum(begin, middle);
    const Terms high = sum(middle, end);
    return {low.p * high.p, low.q * high.q, high.q * low.t + low.p * high.t};
}

/// Pi times ten to the power of @p digits; the last few digits may be wrong.
BigInteger scaledPi(int32_t digits) {
    constexpr double DigitsPerTerm = 14.1816474627;
    const Terms terms = sum(1, static_cast<int64_t>(digits / DigitsPerTerm) + 3);
    const BigInteger root = integerSquareRoot(10005 * BigInteger(10).pow(2 * digits));
    return 426880 * root * terms.q / (13591409 * terms.q + terms.t);
}

} // namespace

BigDecimal pi(int32_t digits) {
    // The digits computed beyond those asked for decide them, unless they are all 0 or all 9.
    for (int32_t guard = 10;; guard *= 2) {
        const BigInteger unit = BigInteger(10).pow(guard);
        BigInteger cut = scaledPi(digits + guard);
        BigInteger rest;
        cut.divide(unit, rest);
        constexpr int Error = 1000;
        if (rest > Error && rest < unit - Error)
            return {cut, digits};
    }
}
