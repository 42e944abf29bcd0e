#include "qx/platform/text.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>
#include <version>
#ifndef __cpp_lib_to_chars
#include <cstdlib>
#include <cstring>
#include <locale.h>
#endif

#include <qx/platform/detail/CaseMap.h>
#include <qx/platform/detail/HexDigits.h>

using namespace qx::platform;

namespace {

bool isSpace(char16_t unit) { return unit == u' ' || (unit >= u'\t' && unit <= u'\r'); }

const char16_t* skipSpace(const char16_t* at) {
    while (isSpace(*at))
        ++at;
    return at;
}

/// Steps over a sign; true for a minus.
bool takeSign(const char16_t*& at) {
    const bool negative = *at == u'-';
    if (negative || *at == u'+')
        ++at;
    return negative;
}

/// The unit in lower case when it is ASCII, else 0: beyond it there is a letter whose lower case is
/// an "i", and which stands in no number.
char16_t lowerAscii(char16_t unit) { return unit < 0x80 ? toLower(unit) : char16_t{0}; }

constexpr int NoDigit = 99;

/// Value of a digit in radixes up to 36; NoDigit for any other unit.
int digitValue(char16_t unit) {
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    const char16_t letter = lowerAscii(unit);
    return letter >= u'a' && letter <= u'z' ? letter - u'a' + 10 : NoDigit;
}

/// At "0x" with a hexadecimal digit behind it?
bool startsHex(const char16_t* at) {
    return at[0] == u'0' && (at[1] == u'x' || at[1] == u'X') && digitValue(at[2]) < 16;
}

void storeEnd(char16_t** end, const char16_t* at) {
    if (end != nullptr)
        *end = const_cast<char16_t*>(at);
}

struct Magnitude {
    uint64_t value;
    bool negative;
    bool tooLarge; // for 64 bits
};

Magnitude readInteger(const char16_t* text, char16_t** end, int32_t radix) {
    storeEnd(end, text);
    if (radix != 0 && (radix < 2 || radix > 36))
        return {};
    const char16_t* at = skipSpace(text);
    Magnitude number{0, takeSign(at), false};
    if ((radix == 0 || radix == 16) && startsHex(at)) {
        at += 2;
        radix = 16;
    } else if (radix == 0) {
        radix = *at == u'0' ? 8 : 10;
    }

    const char16_t* const digits = at;
    for (int digit; (digit = digitValue(*at)) < radix; ++at) {
        uint64_t& value = number.value;
        if (__builtin_mul_overflow(value, static_cast<uint64_t>(radix), &value) ||
            __builtin_add_overflow(value, static_cast<uint64_t>(digit), &value))
            number.tooLarge = true;
    }
    if (at != digits)
        storeEnd(end, at);
    return number;
}

template <class Integer>
Integer clampSigned(const Magnitude& number) {
    using Limits = std::numeric_limits<Integer>;
    const auto largest = static_cast<uint64_t>(Limits::max());
    if (number.negative) {
        return number.tooLarge || number.value > largest
                   ? Limits::min()
                   : static_cast<Integer>(-static_cast<int64_t>(number.value));
    }
    return number.tooLarge || number.value > largest ? Limits::max()
                                                     : static_cast<Integer>(number.value);
}

/// Of a number whose every rounding is decided, without the digits that decide nothing.
constexpr size_t MaxRealLength = 816;

/// The double nearest to the number that the text from @p begin to @p end is, of digits without a
/// point and an exponent. What is too large for one gives infinity when @p isLarge.
double nearestDouble(const char* begin, const char* end, bool isHex,
                     [[maybe_unused]] bool isLarge) {
#ifdef __cpp_lib_to_chars
    double value = 0;
    const auto format = isHex ? std::chars_format::hex : std::chars_format::scientific;
    if (std::from_chars(begin, end, value, format).ec == std::errc::result_out_of_range)
        return isLarge ? std::numeric_limits<double>::infinity() : 0.0;
    return value;
#else // a C++ library that reads only integers
    static const locale_t s_classic = newlocale(LC_ALL_MASK, "C", nullptr);
    char text[2 + MaxRealLength + 1] = "0x";
    const auto length = static_cast<size_t>(end - begin);
    std::memcpy(text + 2, begin, length);
    text[2 + length] = 0;
    return strtod_l(isHex ? text : text + 2, nullptr, s_classic);
#endif
}

/// Digits and exponent of a floating-point number as narrow text, in bounded space however long the
/// number is: 768 significant digits and whether anything follows decide every rounding.
class RealText {
public:
    explicit RealText(int radix) : m_radix(radix) {}

    /// Reads digits with at most one point among them; where they end, or null when there are none.
    const char16_t* readDigits(const char16_t* at) {
        bool anyDigit = false;
        bool inFraction = false;
        for (;; ++at) {
            const int digit = digitValue(*at);
            if (digit < m_radix) {
                anyDigit = true;
                addDigit(digit, inFraction);
            } else if (*at == u'.' && !inFraction) {
                inFraction = true;
            } else {
                break;
            }
        }
        return anyDigit ? at : nullptr;
    }

    /// Reads an exponent if a whole one stands at @p at; where it ends.
    const char16_t* readExponent(const char16_t* at) {
        if (lowerAscii(*at) != (m_radix == 16 ? u'p' : u'e'))
            return at;
        const char16_t* digits = at + 1;
        const bool negative = takeSign(digits);
        if (digitValue(*digits) >= 10)
            return at;
        constexpr int64_t Limit = int64_t{1} << 40; // beyond any number of digits
        int64_t exponent = 0;
        for (; digitValue(*digits) < 10; ++digits)
            exponent = std::min(exponent * 10 + digitValue(*digits), Limit);
        m_exponent += negative ? -exponent : exponent;
        return digits;
    }

    double value() {
        if (m_length == 0)
            return 0;
        if (m_restNotZero) {
            m_text[m_length++] = '1';
            m_exponent -= digitBits();
        }
        const auto digits = static_cast<int64_t>(m_length) * digitBits();
        constexpr int64_t OutOfRange = 99999; // far beyond every digit and exponent of a double
        m_text[m_length++] = m_radix == 16 ? 'p' : 'e';
        const auto exponent = std::clamp(m_exponent, -OutOfRange, OutOfRange);
        char* const end = std::to_chars(m_text + m_length, std::end(m_text), exponent).ptr;
        return nearestDouble(m_text, end, m_radix == 16, digits + exponent > 0);
    }

private:
    /// What one digit adds to the exponent, which is binary for radix 16.
    int digitBits() const { return m_radix == 16 ? 4 : 1; }

    void addDigit(int digit, bool inFraction) {
        const bool isLeadingZero = m_length == 0 && digit == 0;
        const bool isKept = !isLeadingZero && m_length < MaxDigits;
        if (isKept)
            m_text[m_length++] = hexDigit(static_cast<unsigned>(digit));
        else
            m_restNotZero |= digit != 0;
        if (inFraction && (isKept || isLeadingZero))
            m_exponent -= digitBits();
        else if (!inFraction && !isKept && !isLeadingZero)
            m_exponent += digitBits();
    }

    static constexpr size_t MaxDigits = MaxRealLength - 16; // and an exponent

    int m_radix;
    size_t m_length = 0;
    int64_t m_exponent = 0;
    bool m_restNotZero = false;
    char m_text[MaxRealLength];
};

/// Whether @p word (lower case) stands at @p at in either case; steps over it then.
bool takeWord(const char16_t*& at, std::u16string_view word) {
    for (size_t i = 0; i < word.size(); ++i) {
        if (lowerAscii(at[i]) != word[i])
            return false;
    }
    at += word.size();
    return true;
}

/// The value without its sign; @p at moves behind it, or becomes null when there is no number.
double readReal(const char16_t*& at) {
    if (takeWord(at, u"infinity") || takeWord(at, u"inf"))
        return std::numeric_limits<double>::infinity();
    if (takeWord(at, u"nan"))
        return std::numeric_limits<double>::quiet_NaN();
    const bool isHex = at[0] == u'0' && (at[1] == u'x' || at[1] == u'X') &&
                       digitValue(at[2] == u'.' ? at[3] : at[2]) < 16;
    RealText text(isHex ? 16 : 10);
    at = text.readDigits(isHex ? at + 2 : at);
    if (at == nullptr)
        return 0;
    at = text.readExponent(at);
    return text.value();
}

} // namespace

int64_t QXStrToLW(const char16_t* text, char16_t** end, int32_t radix) {
    return clampSigned<int64_t>(readInteger(text, end, radix));
}

uint32_t QXStrToULW(const char16_t* text, char16_t** end, int32_t radix) {
    constexpr uint32_t Largest = std::numeric_limits<uint32_t>::max();
    const Magnitude number = readInteger(text, end, radix);
    if (number.tooLarge || number.value > Largest)
        return Largest;
    const auto value = static_cast<uint32_t>(number.value);
    return number.negative ? 0 - value : value;
}

int32_t QXStrToIW(const char16_t* text) {
    return clampSigned<int32_t>(readInteger(text, nullptr, 10));
}

double QXStrToDW(const char16_t* text, char16_t** end) {
    const char16_t* at = skipSpace(text);
    const bool negative = takeSign(at);
    const double value = readReal(at);
    storeEnd(end, at != nullptr ? at : text);
    return negative && at != nullptr ? -value : value;
}

char* QXLToStrA(int64_t value, char* buffer, int32_t radix) {
    constexpr int32_t Capacity = 66;
    buffer[0] = 0;
    if (radix < 2 || radix > 36)
        return buffer;
    char* const end = std::to_chars(buffer, buffer + Capacity - 1, value, radix).ptr;
    *end = 0;
    for (char* at = buffer; at != end; ++at) {
        if (*at >= 'a')
            *at = static_cast<char>(*at - 'a' + 'A');
    }
    return buffer;
}

char16_t* QXLToStrW(int64_t value, char16_t* buffer, int32_t radix) {
    char narrow[66];
    QXLToStrA(value, narrow, radix);
    for (int i = 0; (buffer[i] = static_cast<unsigned char>(narrow[i])) != 0; ++i) {
    }
    return buffer;
}
