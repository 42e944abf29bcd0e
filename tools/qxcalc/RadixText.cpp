#include "RadixText.h"

#include <algorithm>
#include <cmath>

namespace {

int32_t digitValue(char16_t unit) { return unit <= u'9' ? unit - u'0' : unit - u'A' + 10; }

/// How often @p prime divides @p number, which loses these factors.
int32_t takeFactor(int32_t& number, int32_t prime) {
    int32_t count = 0;
    for (; number % prime == 0; number /= prime)
        ++count;
    return count;
}

/// Decimal digits that hold @p count digits of a fraction in the radix.
int32_t decimalDigits(int32_t radix, int32_t count, int32_t scale) {
    int32_t rest = radix;
    const int32_t perDigit = std::max(takeFactor(rest, 2), takeFactor(rest, 5));
    if (rest == 1)
        return count * perDigit; // exact
    return std::max(scale, static_cast<int32_t>(std::ceil(count * std::log10(radix))) + 1);
}

/// Digits of a fraction in the radix that hold @p count decimal digits.
int32_t radixDigits(int32_t radix, int32_t count) {
    return static_cast<int32_t>(std::ceil(count / std::log10(radix)));
}

} // namespace

size_t findFault(std::u16string_view text, int32_t radix) {
    bool pointSeen = false;
    bool digitSeen = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool isPoint = text[i] == u'.';
        if (isPoint ? pointSeen : digitValue(text[i]) >= radix)
            return i;
        (isPoint ? pointSeen : digitSeen) = true;
    }
    return digitSeen ? std::u16string_view::npos : text.size();
}

BigDecimal readNumber(std::u16string_view text, int32_t radix, int32_t scale) {
    const size_t point = std::min(text.find(u'.'), text.size());
    qx::String digits(text.substr(0, point));
    const auto count = static_cast<int32_t>(text.size() - std::min(point + 1, text.size()));
    digits.append(text.substr(text.size() - static_cast<size_t>(count)));
    const BigInteger unscaled(digits, radix);
    if (radix == 10)
        return {unscaled, count};
    return quotient(BigDecimal(unscaled, 0), BigDecimal(BigInteger(radix).pow(count), 0),
                    decimalDigits(radix, count, scale));
}

qx::String writeNumber(const BigDecimal& value, int32_t radix, int32_t scale) {
    // The digits before and behind the point as one integer.
    int32_t fraction = std::max(value.getScale(), 0);
    BigDecimal shifted = value;
    if (radix == 10 || fraction == 0) {
        shifted.setScale(fraction);
    } else {
        fraction = radixDigits(radix, std::max(fraction, scale));
        shifted.multiply(BigDecimal(BigInteger(radix).pow(fraction), 0));
        shifted = quotient(shifted, BigDecimal(1), 0);
    }
    qx::String text = shifted.abs().toString(radix);
    if (text.getLength() <= fraction)
        text.prepend(u'0', fraction + 1 - text.getLength());
    if (fraction > 0)
        text.insert(text.getLength() - fraction, u'.').trim(u'0', qx::String::TRIM_TRAILING);
    text.trim(u'.', qx::String::TRIM_TRAILING);
    return value.isNegative() && text != u"0" ? text.prepend(u'-') : text;
}
