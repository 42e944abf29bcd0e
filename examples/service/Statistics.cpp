#include "Statistics.h"

#include <mutex>

#include <qx/math/BigDecimal.h>

#include "Protocol.h"

namespace collector {

using qx::String;
using qx::math::BigDecimal;
using qx::math::BigInteger;

namespace {

constexpr size_t MostSources = 1000;
constexpr int Places = 6;

String quotient(const BigInteger& numerator, const BigInteger& denominator) {
    return BigDecimal(numerator).divide(BigDecimal(denominator), Places).toString();
}

} // namespace

void Statistics::Sums::add(size_t length) {
    lines += 1;
    bytes += length;
    squares += BigInteger(length) * length;
}

std::string Statistics::Sums::report() const {
    // The variance is (n * sum of squares - square of the sum) / n^2: rounded once, at the end.
    const BigInteger count = lines.isZero() ? BigInteger(1) : lines;
    const BigInteger deviation = lines * squares - bytes * bytes;
    return "lines=" + lines.toString().toUtf8() + " bytes=" + bytes.toString().toUtf8() +
           " mean=" + quotient(bytes, count).toUtf8() +
           " variance=" + quotient(deviation, count * count).toUtf8();
}

void Statistics::countStored(const String& source, size_t bytes) {
    const std::lock_guard lock(m_lock);
    const bool isTooMany = m_sources.size() >= MostSources && !m_sources.contains(source);
    m_sources[isTooMany ? String::fromUtf8(OtherSources) : source].add(bytes);
    m_all.add(bytes);
}

void Statistics::countRefused() {
    const std::lock_guard lock(m_lock);
    m_refused += 1;
}

String Statistics::storedLines() const {
    const std::lock_guard lock(m_lock);
    return m_all.lines.toString();
}

std::string Statistics::report() const {
    const std::lock_guard lock(m_lock);
    std::string text;
    for (const auto& [source, sums] : m_sources)
        text += "STAT " + source.toUtf8() + ' ' + sums.report() + '\n';
    return text.append("STAT ").append(AllSources) + ' ' + m_all.report() +
           " refused=" + m_refused.toString().toUtf8() + '\n';
}

} // namespace collector
