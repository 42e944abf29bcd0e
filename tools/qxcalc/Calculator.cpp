#include "Calculator.h"

#include <new>
#include <vector>

#include <qx/core/Exception.h>

#include "RadixText.h"

namespace {

/// Operands that may be begun inside one another; each takes some of the stack.
constexpr int HighestDepth = 1000;

StatementFailure unexpected(const Token& token) {
    if (token.kind == Token::Kind::End)
        return {token.column, u"something is missing here"};
    return {token.column, qx::String::format(u"unexpected \"{0}\"", token.text)};
}

/// A statement has to be one to its end before it takes effect.
void expectEnd(const Token& token) {
    if (token.kind != Token::Kind::End && !token.is(u';'))
        throw unexpected(token);
}

/// Runs an operation; what it throws is told of the operator's column.
template <class Operation>
BigDecimal at(int32_t column, Operation operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        throw StatementFailure{column, u"out of memory"};
    } catch (const qx::Exception& exception) {
        throw StatementFailure{column, exception.getDescription()};
    }
}

} // namespace

/// One expression by recursive descent: every rule of the grammar is a member, which computes while
/// it reads.
class Calculator::Expression {
public:
    Expression(Scanner& scanner, const Settings& settings)
        : m_scanner(scanner), m_settings(settings) {}

    BigDecimal sum();

private:
    BigDecimal product();
    BigDecimal signedOperand();
    BigDecimal power();
    BigDecimal operand();
    BigDecimal number(const Token& token) const;
    BigDecimal named(const Token& name);
    BigDecimal call(const Function& function, int32_t column);
    Token take();
    void expect(char16_t symbol);

    Scanner& m_scanner;
    const Settings& m_settings;
    int m_depth = 0;
};

BigDecimal Calculator::Expression::sum() {
    BigDecimal result = product();
    while (m_scanner.token().is(u'+') || m_scanner.token().is(u'-')) {
        const Token sign = take();
        const BigDecimal right = product();
        result = at(sign.column, [&] { return sign.is(u'+') ? result + right : result - right; });
    }
    return result;
}

BigDecimal Calculator::Expression::product() {
    BigDecimal result = signedOperand();
    for (;;) {
        const int32_t column = m_scanner.token().column;
        if (m_scanner.accept(u'*')) {
            const BigDecimal right = signedOperand();
            result = at(column, [&] { return result * right; });
        } else if (m_scanner.accept(u'/')) {
            const BigDecimal right = signedOperand();
            result = at(column, [&] { return quotient(result, right, m_settings.scale); });
        } else if (m_scanner.accept(u'%')) {
            const BigDecimal right = signedOperand();
            result = at(column, [&] { return remainder(result, right); });
        } else {
            return result;
        }
    }
}

/// Every way in which an expression contains another one leads through here.
BigDecimal Calculator::Expression::signedOperand() {
    if (++m_depth > HighestDepth)
        throw StatementFailure{m_scanner.token().column, u"nested too deeply"};
    BigDecimal result;
    if (m_scanner.accept(u'-')) {
        result = signedOperand();
        result.negate();
    } else if (m_scanner.accept(u'+')) {
        result = signedOperand();
    } else {
        result = power();
    }
    --m_depth;
    return result;
}

BigDecimal Calculator::Expression::power() {
    const BigDecimal base = operand();
    const int32_t column = m_scanner.token().column;
    if (!m_scanner.accept(u'^'))
        return base;
    const int32_t exponentColumn = m_scanner.token().column;
    const BigInteger exponent = integerOf({signedOperand(), exponentColumn});
    return at(column, [&] { return ::power(base, exponent, m_settings.scale); });
}

BigDecimal Calculator::Expression::operand() {
    const Token token = take();
    if (token.kind == Token::Kind::Number)
        return number(token);
    if (token.kind == Token::Kind::Name)
        return named(token);
    if (!token.is(u'('))
        throw unexpected(token);
    BigDecimal result = sum();
    expect(u')');
    return result;
}

BigDecimal Calculator::Expression::number(const Token& token) const {
    const int32_t radix = m_settings.inputRadix;
    const size_t fault = findFault(token.text, radix);
    if (fault == std::u16string_view::npos)
        return at(token.column, [&] { return readNumber(token.text, radix, m_settings.scale); });
    const int32_t column = token.column + static_cast<int32_t>(fault);
    if (fault == token.text.size())
        throw StatementFailure{column, u"a digit is missing"};
    throw StatementFailure{
        column, qx::String::format(u"unexpected \"{0}\" in a number of radix {1}",
                                   token.text.substr(fault, 1), qx::String::valueOf(radix))};
}

BigDecimal Calculator::Expression::named(const Token& name) {
    if (const Setting* setting = findSetting(name.text))
        return BigDecimal(m_settings.*setting->value);
    if (const Function* function = findFunction(name.text))
        return call(*function, name.column);
    throw StatementFailure{name.column, qx::String::format(u"unknown name \"{0}\"", name.text)};
}

BigDecimal Calculator::Expression::call(const Function& function, int32_t column) {
    expect(u'(');
    std::vector<Operand> arguments;
    do {
        const int32_t begin = m_scanner.token().column;
        arguments.push_back({sum(), begin});
    } while (m_scanner.accept(u','));
    expect(u')');
    if (arguments.size() != function.arity)
        throw StatementFailure{column, qx::String::format(u"{0} takes {1} arguments, not {2}",
                                                          function.name,
                                                          qx::String::valueOf(function.arity),
                                                          qx::String::valueOf(arguments.size()))};
    return at(column, [&] { return function.evaluate(arguments, m_settings); });
}

Token Calculator::Expression::take() {
    const Token token = m_scanner.token();
    m_scanner.advance();
    return token;
}

void Calculator::Expression::expect(char16_t symbol) {
    if (!m_scanner.accept(symbol))
        throw unexpected(m_scanner.token());
}

void Calculator::evaluate(std::u16string_view line, const Print& print) {
    Scanner scanner(line);
    while (scanner.token().kind != Token::Kind::End) {
        if (scanner.accept(u';'))
            continue;
        evaluateStatement(scanner, print);
    }
}

void Calculator::evaluateStatement(Scanner& scanner, const Print& print) {
    const Scanner begin = scanner;
    const Setting* const setting = findSetting(scanner.token().text);
    if (setting != nullptr) {
        scanner.advance();
        if (scanner.accept(u'='))
            return assignFrom(scanner, *setting);
        scanner = begin;
    }
    const BigDecimal value = Expression(scanner, m_settings).sum();
    expectEnd(scanner.token());
    print(writeNumber(value, m_settings.outputRadix, m_settings.scale));
}

void Calculator::assignFrom(Scanner& scanner, const Setting& setting) {
    const Token value = scanner.token();
    scanner.advance();
    Settings changed = m_settings;
    if (!assign(changed, setting, value.text))
        throw StatementFailure{value.column, rangeText(setting)};
    expectEnd(scanner.token());
    m_settings = changed;
}
