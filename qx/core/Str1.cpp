#include "qx/core/Str1.h"

#include <algorithm>
#include <functional>
#include <utility>

#include <qx/core/detail/CheckedSize.h>
#include <qx/core/detail/SampledHash.h>
#include <qx/core/detail/UnitSearch.h>
#include <qx/platform/text.h>

namespace qx {

namespace {

using detail::sizeOf;
using Traits = std::char_traits<char16_t>;

} // namespace

Str1::Str1(const Str1& other) noexcept { setTo(other); }

Str1::Str1(const Str1& other, int32_t start, int32_t end) noexcept {
    end = std::min(end, other.m_length);
    if (start < 0 || start >= end)
        return;
    setTo(other);
    m_offset += start;
    m_length = end - start;
}

Str1::Str1(int32_t capacity) {
    if (capacity > 0)
        attach(StrBuf1::create(capacity), 0);
}

Str1::~Str1() { reset(); }

Str1& Str1::copy(TextView text) {
    if (holds(text))
        return copy(Str1Copy(text));
    const int32_t length = detail::lengthOf(text);
    if (length > 0) {
        ensureCapacity1(length, 0, 0);
        Traits::copy(getData1(), text.data(), text.size());
    }
    m_length = length;
    return *this;
}

Str1& Str1::append(TextView text) {
    if (text.empty())
        return *this;
    if (holds(text))
        return append(Str1Copy(text));
    const int32_t added = detail::lengthOf(text);
    ensureCapacity1(detail::checkedSize(int64_t{m_length} + added));
    Traits::copy(getData1() + m_length, text.data(), text.size());
    m_length += added;
    return *this;
}

Str1& Str1::append(char16_t unit, int32_t count) {
    if (count <= 0)
        return *this;
    ensureCapacity1(detail::checkedSize(int64_t{m_length} + count));
    std::fill_n(getData1() + m_length, count, unit);
    m_length += count;
    return *this;
}

Str1& Str1::setTo(const Str1& other) noexcept {
    if (other.m_buffer)
        other.m_buffer->AddRef();
    if (StrBuf1* const old = std::exchange(m_buffer, other.m_buffer))
        old->Release();
    m_offset = other.m_offset;
    m_length = other.m_length;
    return *this;
}

void Str1::reset() noexcept {
    if (StrBuf1* const old = std::exchange(m_buffer, nullptr))
        old->Release();
    m_offset = 0;
    m_length = 0;
}

int32_t Str1::ensureCapacity1(int32_t need, int32_t keepStart, int32_t keepEnd) {
    if (keepEnd < 0)
        keepEnd = m_length;
    const int32_t kept = std::max(keepEnd - keepStart, 0);
    if (const int32_t held = m_buffer ? m_buffer->isPrivatelyHeld(false) : 0) {
        const int32_t offset = kept > 0 ? m_offset : 0;
        if (int64_t{offset} + need <= held) {
            m_offset = offset;
            return held - offset;
        }
        if (need <= held) {
            char16_t* const front = m_buffer->getData() + keepStart;
            Traits::move(front, front + m_offset, sizeOf(kept));
            m_offset = 0;
            return held;
        }
    }
    if (need <= 0)
        return 0;
    if (kept > 0)
        need = std::max(need, keepEnd);
    if (StrBuf1* const fast = fastAllocBuffer(need))
        return moveTo(fast, keepStart, kept);
    const int64_t grown = int64_t{detail::adjustedCapacity(need)} * 5 / 4;
    const int64_t wanted = kept > 0 ? std::max<int64_t>(need, grown) : need;
    // Growth by a quarter ends at the largest buffer.
    const int32_t capacity =
        need > StrBuf1::MaxCapacity
            ? need
            : static_cast<int32_t>(std::min<int64_t>(wanted, StrBuf1::MaxCapacity));
    return moveTo(StrBuf1::create(capacity), keepStart, kept);
}

Str1& Str1::toLower() { return mapCase(QXToLowerW); }

Str1& Str1::toUpper() { return mapCase(QXToUpperW); }

bool Str1::startsWith(TextView text, bool ignoreCase) const {
    if (text.size() > sizeOf(m_length))
        return false;
    return ignoreCase ? QXTextNICmpW(getData0(), text.data(), detail::lengthOf(text)) == 0
                      : substring(0, detail::lengthOf(text)) == text;
}

int32_t Str1::indexOf(char16_t unit, int32_t start, bool ignoreCase) const {
    const auto from = sizeOf(detail::limited(start, m_length));
    const auto rest = view().substr(from);
    size_t found = detail::findUnit(rest, unit);
    if (ignoreCase) {
        const char16_t lower = QXToLowerW(unit);
        const auto same = [lower](char16_t other) { return QXToLowerW(other) == lower; };
        found = static_cast<size_t>(std::find_if(rest.begin(), rest.end(), same) - rest.begin());
    }
    return found < rest.size() ? static_cast<int32_t>(from + found) : -1;
}

Str1 Str1::substring(int32_t start, int32_t end) const noexcept {
    return Str1(*this, start, end < 0 ? m_length : end);
}

uint32_t Str1::hashCode() const noexcept { return detail::sampledHash(view()); }

StrBuf1* Str1::fastAllocBuffer(int32_t /*capacity*/) { return nullptr; }

void Str1::attach(StrBuf1* buffer, int32_t length) noexcept {
    buffer->AddRef();
    if (StrBuf1* const old = std::exchange(m_buffer, buffer))
        old->Release();
    m_offset = 0;
    m_length = length;
}

/// Maps the text, from the first unit on that changes; without one nothing is written.
Str1& Str1::mapCase(char16_t (*map)(char16_t)) {
    const auto text = view();
    const auto first =
        std::find_if(text.begin(), text.end(), [map](char16_t unit) { return map(unit) != unit; });
    if (first == text.end())
        return *this;
    const auto position = first - text.begin();
    ensureCapacity1(m_length);
    char16_t* const units = getData1();
    std::transform(units + position, units + m_length, units + position, map);
    return *this;
}

/// True when @p text lies in this string's buffer.
bool Str1::holds(TextView text) const noexcept {
    const std::less<const char16_t*> before;
    return !isEmpty() && !text.empty() && before(text.data(), getData0() + m_length) &&
           before(m_buffer->getData(), text.data() + text.size());
}

/// Takes @p buffer with the units that are kept, at the same place of the span; its capacity.
int32_t Str1::moveTo(StrBuf1* buffer, int32_t keepStart, int32_t kept) noexcept {
    if (kept > 0)
        Traits::copy(buffer->getData() + keepStart, getData0() + keepStart, sizeOf(kept));
    attach(buffer, m_length);
    return buffer->getBufCapacity();
}

StrBuf1* Str1Embedded::fastAllocBuffer(int32_t capacity) {
    return m_embedded != buffer() && m_embedded->isPrivatelyHeld(true) >= capacity ? m_embedded
                                                                                   : nullptr;
}

char16_t* Str1::Appendor::checkAvailable(int32_t count) {
    const int32_t length = m_target.m_length;
    if (count > m_room) {
        const int32_t extra = std::exchange(m_firstExtra, 0);
        const int64_t need = int64_t{length} + count + (extra > 0 ? extra : m_step);
        m_room = m_target.ensureCapacity1(detail::checkedSize(need)) - length;
    }
    m_room -= count;
    m_used = true;
    m_target.m_length += count;
    return m_target.getData1() + length;
}

void Str1::Appendor::fastAppend(const char16_t* units, int32_t count) {
    if (count <= 0)
        return;
    if (count > m_room && m_target.holds(TextView(units, count))) // where they are they may go
        return fastAppend(Str1Copy(units, count).getData0(), count);
    Traits::copy(checkAvailable(count), units, sizeOf(count));
}

void Str1::Appendor::setRemCap(int32_t count) {
    const int32_t length = m_target.m_length;
    m_room = m_target.ensureCapacity1(detail::checkedSize(int64_t{length} + count)) - length;
}

} // namespace qx
