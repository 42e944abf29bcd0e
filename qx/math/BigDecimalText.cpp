// Parsing and printing of BigDecimal.

#include "qx/math/BigDecimal.h"

#include <charconv>
#include <limits>
#include <string>

namespace qx::math {

BigDecimal::BigDecimal(TextView text) { parseDecimal(text); }

BigDecimal::BigDecimal(double value) {
    // "%f": a sign, the digits of the largest double, a point and six decimal places; "inf", "nan".
    char text[std::numeric_limits<double>::max_exponent10 + 10];
    char* const end = std::to_chars(text, std::end(text), value, std::chars_format::fixed, 6).ptr;
    parseDecimal(std::u16string(text, end));
}

void BigDecimal::parseDecimal(TextView text) {
    const size_t point = text.find(u'.');
    if (point == std::u16string_view::npos) {
        m_unscaled = BigInteger(text);
        m_scale = 0;
        return;
    }
    std::u16string_view fraction = text.substr(point + 1);
    const size_t last = fraction.find_last_not_of(u'0');
    fraction = fraction.substr(0, last == std::u16string_view::npos ? 1 : last + 1);
    m_unscaled = BigInteger(concatenate(text.substr(0, point), fraction));
    m_scale = static_cast<int32_t>(fraction.size());
}

String BigDecimal::toString() const {
    String text = m_unscaled.toString();
    if (m_scale <= 0)
        return text;
    const int32_t begin = isNegative() ? 1 : 0;
    const int32_t digits = text.getLength() - begin;
    if (m_scale < digits) {
        text.insert(text.getLength() - m_scale, u".");
    } else {
        text.insert(begin, u'0', m_scale - digits);
        text.insert(begin, u"0.");
    }
    return text;
}

} // namespace qx::math
