#include "qx/core/String.h"

#include <algorithm>

#include <qx/core/detail/CheckedSize.h>
#include <qx/platform/text.h>

namespace qx {

namespace {

using detail::checkedSize;
using Traits = std::char_traits<char16_t>;

constexpr std::u16string_view WhiteSpace = u" \t\r\n";

size_t sizeOf(int32_t length) { return static_cast<size_t>(length); }

int32_t lengthOf(std::u16string_view text) {
    return checkedSize(static_cast<int64_t>(text.size()));
}

/// -1 and what lies beyond the end become the end.
int32_t limited(int32_t count, int32_t end) { return count < 0 || count > end ? end : count; }

std::u16string_view part(std::u16string_view text, int32_t start, int32_t end) {
    end = limited(end, lengthOf(text));
    start = std::max(start, 0);
    return start < end ? text.substr(sizeOf(start), sizeOf(end - start)) : std::u16string_view();
}

/// The set of units that ends at the first 0 unit of @p set.
std::u16string_view untilZero(std::u16string_view set) { return set.substr(0, set.find(u'\0')); }

} // namespace

String::String(const STRUCT_QX_STR_LIT_INFO& literal)
    : m_storage(detail::TextStorage::wrapping(TextView(literal.units, literal.length))) {}

String::String(int32_t capacity) {
    if (capacity > 0)
        m_storage.prepare(capacity, 0);
}

String::String(const IQXCharBuffer* buffer)
    : String(buffer ? TextView(buffer->GetData(), std::max(buffer->GetLength(), 0)) : TextView()) {}

String::String(const char16_t* units, int32_t length, int32_t capacity) {
    const TextView text(units, length);
    if (text.empty() && capacity < 1)
        return;
    prepareToGrow(std::max(int64_t{capacity}, int64_t{lengthOf(text)} + 1), 0);
    append(text);
}

String::String(std::u16string_view text) : String(text.data(), lengthOf(text)) {}

String::String(char16_t unit, int32_t count, int32_t capacity) {
    if (count < 1 && capacity < 1)
        return;
    prepareToGrow(std::max(int64_t{capacity}, int64_t{count} + 1), 0);
    append(unit, std::max(count, 0));
}

String::String(const char16_t* units, AcquireMode mode, int32_t length, int32_t capacity) {
    if (mode == AM_WRAP)
        m_storage = detail::TextStorage::wrapping(TextView(units, length));
    else
        String(units, length, capacity).swap(*this);
    if (mode == AM_COPY_UPPER)
        toUpper();
}

String::String(const String& other, AcquireMode mode, int32_t start, int32_t end, int32_t capacity)
    : AbstractBuffer() {
    if (mode == AM_SHARE) {
        m_storage = other.m_storage;
        return;
    }
    const auto text = part(other.view(), start, end);
    String(text.data(), mode, lengthOf(text), capacity).swap(*this);
}

String::String(IQXCharBuffer* buffer, AcquireMode mode) {
    if (!buffer)
        return;
    if (mode == AM_SHARE) {
        if (const String* const string = dynamic_cast<const String*>(buffer)) {
            m_storage = string->m_storage;
            return;
        }
        const int32_t length = buffer->GetLength();
        if (length > 0 && buffer->GetData()[length - 1] == u'\0') {
            m_storage = detail::TextStorage::sharing(buffer);
            return;
        }
        mode = AM_COPY;
    }
    String(buffer->GetData(), mode, std::max(buffer->GetLength(), 0)).swap(*this);
}

String& String::append(int value) { return append(int64_t{value}); }
String& String::append(unsigned int value) { return append(uint64_t{value}); }
String& String::append(long long value) { return append(static_cast<long>(value)); }
String& String::append(unsigned long long value) {
    return append(static_cast<unsigned long>(value));
}

String& String::appendSlow(TextView text) {
    if (text.empty())
        return *this;
    const detail::TextStorage old(m_storage);
    const int32_t length = m_storage.length();
    char16_t* const units = prepareToGrow(int64_t{length} + lengthOf(text) + 1, length);
    Traits::copy(units + length, text.data(), text.size());
    m_storage.commit(length + lengthOf(text));
    return *this;
}

char16_t* String::prepareToGrow(int64_t capacity, int32_t kept) {
    const int32_t needed = checkedSize(capacity);
    const int64_t present = m_storage.capacity();
    const int64_t grown =
        needed > present ? std::min(present + present / 2, int64_t{INT32_MAX - 15}) : 0;
    char16_t* const units = m_storage.prepare(std::max(needed, static_cast<int32_t>(grown)), kept);
    dropBytes();
    return units;
}

String& String::replace(int32_t position, int32_t count, TextView text) {
    const int32_t length = getLength();
    const int32_t from = limited(position, length);
    const int32_t removed = limited(count, length - from);
    const auto inserted = lengthOf(text);
    const auto tail = length - from - removed;
    const detail::TextStorage old(m_storage);
    char16_t* const units = prepareToGrow(int64_t{from} + inserted + tail + 1, length);
    Traits::move(units + from + inserted, units + from + removed, sizeOf(tail));
    Traits::copy(units + from, text.data(), text.size());
    m_storage.commit(from + inserted + tail);
    return *this;
}

String& String::replace(int32_t position, int32_t count, char16_t unit, int32_t repetitions) {
    const int32_t length = getLength();
    const int32_t from = limited(position, length);
    const int32_t removed = limited(count, length - from);
    const int32_t inserted = std::max(repetitions, 0);
    const auto tail = length - from - removed;
    char16_t* const units = prepareToGrow(int64_t{from} + inserted + tail + 1, length);
    Traits::move(units + from + inserted, units + from + removed, sizeOf(tail));
    Traits::assign(units + from, sizeOf(inserted), unit);
    m_storage.commit(from + inserted + tail);
    return *this;
}

String& String::clear() { return replace(0, -1, TextView()); }

String& String::resize(int32_t length, char16_t fill) {
    const int32_t present = getLength();
    return length < present ? remove(std::max(length, 0)) : append(fill, length - present);
}

String& String::setCharAt(int32_t position, char16_t unit) {
    const int32_t length = getLength();
    prepareToGrow(int64_t{length} + 1, length)[position] = unit;
    m_storage.commit(length);
    return *this;
}

String& String::toLower() {
    const int32_t length = getLength();
    QXTextToLowerW(prepareToGrow(int64_t{length} + 1, length), length);
    m_storage.commit(length);
    return *this;
}

String& String::toUpper() {
    const int32_t length = getLength();
    QXTextToUpperW(prepareToGrow(int64_t{length} + 1, length), length);
    m_storage.commit(length);
    return *this;
}

String& String::translate(char16_t from, char16_t to) {
    return translate(TextView(&from, 1), TextView(&to, 1));
}

String& String::translate(TextView from, TextView to) {
    if (from.empty() || to.empty() || view().find_first_of(from) == std::u16string_view::npos)
        return *this;
    const std::u16string fromSet(from);
    const std::u16string toSet(to);
    const int32_t length = getLength();
    char16_t* const units = prepareToGrow(int64_t{length} + 1, length);
    for (int32_t i = 0; i < length; ++i) {
        const size_t found = fromSet.find(units[i]);
        if (found != std::u16string::npos)
            units[i] = toSet[std::min(found, toSet.size() - 1)];
    }
    m_storage.commit(length);
    return *this;
}

String& String::trim(TrimType type) { return trim(WhiteSpace, type); }

String& String::trim(char16_t unit, TrimType type) { return trim(TextView(&unit, 1), type); }

String& String::trim(TextView set, TrimType type) {
    const std::u16string units(untilZero(set));
    if (type & TRIM_TRAILING)
        remove(static_cast<int32_t>(view().find_last_not_of(units) + 1));
    if (type & TRIM_LEADING)
        remove(0, static_cast<int32_t>(std::min(view().find_first_not_of(units), view().size())));
    return *this;
}

const char16_t* String::getReadLock() const { return getData(); }

void String::releaseReadLock() const {}

bool String::isWritable() const { return true; }

char16_t* String::getWriteLock(int32_t length) { return String::ensureCapacity(length); }

char16_t* String::ensureCapacity(int32_t length) {
    char16_t* const units = m_storage.prepareExactly(checkedSize(int64_t{std::max(length, 0)} + 1));
    dropBytes();
    return units;
}

void String::releaseWriteLock(int32_t length) {
    char16_t* const units = m_storage.prepareExactly(checkedSize(int64_t{std::max(length, 0)} + 1));
    dropBytes();
    if (length < 0) {
        const int32_t room = m_storage.capacity();
        length =
            std::min(static_cast<int32_t>(std::find(units, units + room, u'\0') - units), room - 1);
    }
    m_storage.commit(length);
}

void String::freeExtra() { m_storage.shrink(); }

int String::regionCompare(int32_t start, int32_t count, TextView other, int32_t otherStart,
                          bool ignoreCase) const {
    const int32_t length = getLength();
    const int32_t from = limited(start, length);
    const int32_t mine = limited(count, length - from);
    const TextView theirs = offsetIn(other, otherStart);
    const int32_t their = lengthOf(theirs);
    const char16_t* const units = getData() + from;
    const int32_t common = std::min(mine, their);
    const int order = ignoreCase ? QXStrNICmpW(units, theirs.data(), common)
                                 : Traits::compare(units, theirs.data(), sizeOf(common));
    return order < 0 ? -1 : order > 0 ? 1 : mine - their;
}

bool String::regionMatches(int32_t start, int32_t count, TextView other, int32_t otherStart,
                           bool ignoreCase) const {
    const int32_t length = getLength();
    const int32_t from = limited(start, length);
    const int32_t mine = limited(count, length - from);
    return sizeOf(mine) == offsetIn(other, otherStart).size() &&
           regionCompare(from, mine, other, otherStart, ignoreCase) == 0;
}

bool String::startsWith(TextView text, bool ignoreCase) const {
    return text.size() <= view().size() && regionMatches(0, lengthOf(text), text, 0, ignoreCase);
}

bool String::endsWith(TextView text, bool ignoreCase) const {
    return text.size() <= view().size() &&
           regionMatches(getLength() - lengthOf(text), -1, text, 0, ignoreCase);
}

String String::substring(int32_t begin, int32_t end) const {
    return String(std::u16string_view(part(view(), begin, end)));
}

String concatenate(TextView left, TextView right) {
    String sum(checkedSize(int64_t{lengthOf(left)} + lengthOf(right) + 1));
    return std::move(sum.append(left).append(right));
}

} // namespace qx
