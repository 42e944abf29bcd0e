#pragma once

#include <qx/core/Exception.h>
#include <qx/math/IntegerView.h>

/// What the operations on numbers ask of their arguments, each with its exception.
namespace qx::math::detail {

inline void requireDivisor(const IntegerView& divisor) {
    if (divisor.isZero())
        throw Exception(u"Divide by zero."_qs);
}

inline void requireModulus(const IntegerView& modulus) {
    requireDivisor(modulus);
    if (modulus.isNegative())
        throw Exception(u"Modulus can't be negative."_qs);
}

[[noreturn]] inline void throwNumberFormat() { throw Exception(u"Number Format Exception"_qs); }

[[noreturn]] inline void throwTooLarge() {
    throw ResultException(result::OutOfMemory, u"Number too large"_qs);
}

} // namespace qx::math::detail
