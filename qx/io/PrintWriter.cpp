#include "qx/io/PrintWriter.h"

#include <qx/core/String.h>
#include <qx/core/detail/Decimal.h>
#include <qx/core/detail/UnitSearch.h>

namespace qx::io {

namespace {

constexpr char16_t LineEnd = u'\n';

/// The text of String::valueOf, without the String.
template <class Integer>
void printDecimal(Writer& out, Integer value) {
    const qx::detail::Decimal decimal(value);
    out.write(decimal.text().data(), static_cast<int32_t>(decimal.text().size()));
}

} // namespace

void PrintWriter::print(const String& text) { write(text); }

void PrintWriter::print(const char* text) { write(String(text)); }

void PrintWriter::print(const char16_t* text) { write(text); }

void PrintWriter::print(char16_t unit) { write(unit); }

void PrintWriter::print(double value) { write(String::valueOf(value)); }

void PrintWriter::print(float value) { write(String::valueOf(value)); }

void PrintWriter::print(long value) { printDecimal(*this, value); }

void PrintWriter::print(int value) { printDecimal(*this, value); }

void PrintWriter::print(bool value) { write(String::valueOf(value)); }

void PrintWriter::print(unsigned int value) { printDecimal(*this, value); }

void PrintWriter::print(unsigned long value) { printDecimal(*this, value); }

void PrintWriter::print(long long value) { printDecimal(*this, value); }

void PrintWriter::print(unsigned long long value) { printDecimal(*this, value); }

void PrintWriter::println(const String& text) { printLine<const String&>(text); }

void PrintWriter::println(const char* text) { printLine(text); }

void PrintWriter::println(const char16_t* text) { printLine(text); }

void PrintWriter::println(double value) { printLine(value); }

void PrintWriter::println(float value) { printLine(value); }

void PrintWriter::println(long value) { printLine(value); }

void PrintWriter::println(int value) { printLine(value); }

void PrintWriter::println(char16_t unit) { printLine(unit); }

void PrintWriter::println(bool value) { printLine(value); }

void PrintWriter::println(unsigned int value) { printLine(value); }

void PrintWriter::println(unsigned long value) { printLine(value); }

void PrintWriter::println(long long value) { printLine(value); }

void PrintWriter::println(unsigned long long value) { printLine(value); }

void PrintWriter::println() {
    write(LineEnd);
    if (m_autoFlush)
        flush();
}

void PrintWriter::printText(TextView text) { write(text.data(), qx::detail::lengthOf(text)); }

void PrintWriter::newLine() { println(); }

template <class Value>
void PrintWriter::printLine(Value value) {
    print(value);
    newLine();
}

} // namespace qx::io
