// Parsing and printing of BigInteger.

#include "qx/math/BigInteger.h"

#include <algorithm>

#include <qx/core/Exception.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/math/detail/Checks.h>
#include <qx/math/detail/DigitUnits.h>
#include <qx/math/detail/Radix.h>
#include <qx/math/detail/Scratch.h>
#include <qx/platform/text.h>

namespace qx::math {

namespace {

using qx::detail::checkedSize;

void requireRadix(int radix) {
    if (radix < 2 || radix > 36)
        throw RangeErrorException(u"Radix must be 2 to 36"_qs);
}

/// Bytes on the stack for short numbers, else on the heap.
class DigitBuffer {
public:
    explicit DigitBuffer(size_t count)
        : m_limbs(count / sizeof(uint64_t) + 1),
          m_digits(reinterpret_cast<uint8_t*>(m_limbs.take(count / sizeof(uint64_t) + 1))) {}

    uint8_t* get() noexcept { return m_digits; }

private:
    detail::Scratch<16> m_limbs;
    uint8_t* m_digits;
};

/// Puts the digits of the value of a group of up to three units in the place of its units.
void readGroup(uint8_t* to, std::u16string_view group, int radix) noexcept {
    char16_t units[4] = {};
    std::copy(group.begin(), group.end(), units);
    int64_t value = QXStrToLW(units, nullptr, radix);
    for (size_t i = group.size(); i-- > 0; value /= radix)
        to[i] = static_cast<uint8_t>(value % radix);
}

void readDigits(uint8_t* to, std::u16string_view units, int radix) {
    using detail::NoDigit;
    if (detail::digitsFromUnits(to, units.data(), units.size(), radix))
        return;
    if (units.find(u'-') != std::u16string_view::npos)
        detail::throwNumberFormat();
    size_t length = (units.size() - 1) % 3 + 1;
    for (size_t i = 0; i < units.size(); i += length, length = 3) {
        if (std::find(to + i, to + i + length, NoDigit) != to + i + length)
            readGroup(to + i, units.substr(i, length), radix);
    }
}

} // namespace

BigInteger::BigInteger(TextView text, int radix) {
    requireRadix(radix);
    const bool negative = text.starts_with(u'-');
    std::u16string_view units = text.substr(negative ? 1 : 0);
    if (units.empty())
        detail::throwNumberFormat();
    units.remove_prefix(std::min(units.find_first_not_of(u'0'), units.size()));
    if (units.empty())
        return;

    DigitBuffer digits(units.size());
    readDigits(digits.get(), units, radix);
    BigInteger value(Room{detail::limbsForDigits(units.size(), radix)});
    value.finish(detail::fromDigits(value.limbs(), digits.get(), units.size(), radix), negative);
    swap(value);
}

String BigInteger::toString(int radix) const {
    requireRadix(radix);
    const IntegerView value(*this);
    if (value.isZero())
        return u"0"_qs;
    if (radix == 10 && getBitCount() < 64)
        return String::valueOf(toInt64());
    DigitBuffer digits(detail::digitsForLimbs(value.length(), radix));
    const size_t count = detail::toDigits(digits.get(), value.limbs(), value.length(), radix);
    const int32_t length = checkedSize(static_cast<int64_t>(count) + (m_negative ? 1 : 0));

    String text;
    char16_t* units = text.getWriteLock(length);
    if (m_negative)
        *units++ = u'-';
    detail::unitsFromDigits(units, digits.get(), count);
    text.releaseWriteLock(length);
    return text;
}

} // namespace qx::math
