#include "Functions.h"

#include <algorithm>

namespace {

constexpr int32_t HighestPiDigits = 10'000'000;

using Arguments = std::span<const Operand>;

BigDecimal integerQuotient(Arguments arguments, const Settings&) {
    return {integerOf(arguments[0]) / integerOf(arguments[1]), 0};
}

/// 0 has every number for a divisor, so that the other one is the greatest in common.
BigDecimal greatestCommonDivisor(Arguments arguments, const Settings&) {
    BigInteger left = integerOf(arguments[0]);
    BigInteger right = integerOf(arguments[1]);
    left.abs();
    right.abs();
    if (left.isZero())
        return {right, 0};
    if (!right.isZero())
        left.gcd(right);
    return {left, 0};
}

BigDecimal modularInverse(Arguments arguments, const Settings&) {
    BigInteger result = integerOf(arguments[0]);
    result.modInverse(integerOf(arguments[1]));
    return {result, 0};
}

BigDecimal modularPower(Arguments arguments, const Settings&) {
    BigInteger result = integerOf(arguments[0]);
    result.modPow(integerOf(arguments[1]), integerOf(arguments[2]));
    return {result, 0};
}

BigDecimal digitsOfPi(Arguments arguments, const Settings&) {
    const BigInteger digits = integerOf(arguments[0]);
    if (digits.isNegative() || digits > HighestPiDigits)
        throw StatementFailure{arguments[0].column, u"pi has 0 to 10000000 digits here"};
    return pi(digits.toInt32());
}

BigDecimal root(Arguments arguments, const Settings& settings) {
    return squareRoot(arguments[0].value, settings.scale);
}

constexpr Function FunctionTable[] = {
    {u"div", 2, integerQuotient},   {u"gcd", 2, greatestCommonDivisor},
    {u"modinv", 2, modularInverse}, {u"modpow", 3, modularPower},
    {u"pi", 1, digitsOfPi},         {u"sqrt", 1, root},
};

} // namespace

BigInteger integerOf(const Operand& operand) {
    BigDecimal integer = operand.value;
    integer.setScale(0);
    if (integer != operand.value)
        throw StatementFailure{operand.column, u"an integer is needed"};
    return integer.getUnscaled();
}

const Function* findFunction(std::u16string_view name) {
    const auto* found = std::ranges::find(FunctionTable, name, &Function::name);
    return found == std::end(FunctionTable) ? nullptr : found;
}
