#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "Arithmetic.h"
#include "Settings.h"

/// A value and where it stands.
struct Operand {
    BigDecimal value;
    int32_t column;
};

/// The value as an integer.
/// @throws StatementFailure at the operand for a fraction
BigInteger integerOf(const Operand& operand);

/// A function of expressions; its arguments are as many as it asks for.
struct Function {
    std::u16string_view name;
    size_t arity;
    BigDecimal (*evaluate)(std::span<const Operand> arguments, const Settings& settings);
};

/// The function called @p name, or null.
const Function* findFunction(std::u16string_view name);
