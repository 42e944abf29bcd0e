#pragma once

#include <functional>
#include <string_view>

#include "Functions.h"
#include "Scanner.h"
#include "Settings.h"

/// Evaluates lines of statements: expressions, and settings such as "scale=50". Settings are given
/// in decimal whatever the input radix is.
///
///   line       = [statement] {";" [statement]}
///   statement  = setting "=" digits | sum
///   sum        = product {("+" | "-") product}
///   product    = signed {("*" | "/" | "%") signed}
///   signed     = ("+" | "-") signed | power
///   power      = operand ["^" signed]
///   operand    = number | "(" sum ")" | function "(" sum {"," sum} ")" | setting
class Calculator {
public:
    using Print = std::function<void(const qx::String& result)>;

    explicit Calculator(const Settings& settings) : m_settings(settings) {}

    /// Hands the result of each expression of the line to @p print as soon as it is there.
    /// @throws StatementFailure where the line is malformed or an operation fails; the statements
    ///         before that one have taken effect, and nothing of itself
    void evaluate(std::u16string_view line, const Print& print);

private:
    class Expression;

    void evaluateStatement(Scanner& scanner, const Print& print);
    void assignFrom(Scanner& scanner, const Setting& setting);

    Settings m_settings;
};
