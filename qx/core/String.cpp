#include "qx/core/String.h"

#include <algorithm>
#include <functional>
#include <typeinfo>

#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/ObjectBehind.h>
#include <qx/core/Required.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/core/detail/ExactClone.h>
#include <qx/core/detail/SampledHash.h>
#include <qx/core/detail/UnitSearch.h>
#include <qx/platform/text.h>
#include <qx/util/buffer/detail/BufferHold.h>

namespace qx {

namespace {

using detail::checkedSize;
using detail::lengthOf;
using detail::limited;
using detail::sizeOf;
using Traits = std::char_traits<char16_t>;

constexpr std::u16string_view WhiteSpace = u" \t\r\n";
/// A multiple of 16 below 2 Gi units, where doubling ends.
constexpr int64_t LargestCapacity = 0x7FFFFFF0;

std::u16string_view part(std::u16string_view text, int32_t start, int32_t end) {
    end = limited(end, lengthOf(text));
    start = limited(start, lengthOf(text));
    return start < end ? text.substr(sizeOf(start), sizeOf(end - start)) : std::u16string_view();
}

/// A copy of a text with @p inserted units, still to be written, in the place of @p removed ones at
/// @p from. What is removed may be most of a text and is not copied.
[[gnu::noinline]] TextStorage cutText(std::u16string_view text, int32_t from, int32_t removed,
                                      int32_t inserted) {
    const auto tail = text.substr(sizeOf(from) + sizeOf(removed));
    const int32_t length = from + inserted + lengthOf(tail);
    TextStorage cut({}, length + 1);
    Traits::copy(cut.writable(), text.data(), sizeOf(from));
    Traits::copy(cut.writable() + from + inserted, tail.data(), tail.size());
    cut.commit(length);
    return cut;
}

} // namespace

String::String(const STRUCT_QX_STR_LIT_INFO& literal)
    : m_storage(TextStorage::wrapping(TextView(literal.units, literal.length))) {}

String::String(int32_t capacity) : m_storage({}, capacity) {}

String::String(const IQXCharBuffer* buffer) {
    if (!buffer)
        return;
    const util::detail::ReadHold hold(*buffer);
    m_storage = TextStorage(TextView(hold.units(), hold.length()));
}

String::String(const char16_t* units, int32_t length, int32_t capacity)
    : m_storage(TextView(units, length), capacity) {}

String::String(std::u16string_view text) : m_storage(text) {}

String::String(char16_t unit, int32_t count, int32_t capacity)
    : m_storage({}, std::max(capacity, count > 0 ? checkedSize(int64_t{count} + 1) : 0)) {
    append(unit, std::max(count, 0));
}

String::String(const char16_t* units, AcquireMode mode, int32_t length, int32_t capacity) {
    if (mode == AM_WRAP)
        m_storage = TextStorage::wrapping(TextView(units, length));
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
        if (const auto* const string = pcom::objectBehind<const String>(buffer)) {
            m_storage = string->m_storage;
            return;
        }
    }
    const util::detail::ReadHold hold(*buffer);
    const TextView text(hold.units(), hold.length());
    if (mode == AM_SHARE) {
        if (text.ends_with(u'\0')) {
            m_storage = TextStorage::sharing(buffer);
            return;
        }
        mode = AM_COPY;
    }
    String(text.data(), mode, lengthOf(text)).swap(*this);
}

String& String::setTo(TextView text) {
    if (text.empty())
        return clear();
    const int32_t length = lengthOf(text);
    const int64_t needed = int64_t{length} + 1;
    if (m_storage.isWritable(checkedSize(needed))) {
        dropBytes();
        Traits::move(m_storage.writable(), text.data(), text.size()); // it may lie in there
    } else {
        const TextStorage held = holdIfOwn(text);
        Traits::copy(prepareToGrow(needed, 0), text.data(), text.size());
    }
    m_storage.commit(length);
    return *this;
}

String& String::appendSlow(TextView text) {
    if (text.empty())
        return *this;
    const TextStorage held = holdIfOwn(text);
    const int32_t length = getLength();
    char16_t* const units = prepareToGrow(int64_t{length} + lengthOf(text) + 1, length);
    Traits::copy(units + length, text.data(), text.size());
    m_storage.commit(length + lengthOf(text));
    return *this;
}

/// A second reference to the text when @p text lies in it: the next change then goes to a new block
/// and leaves the units of @p text alone until the reference is dropped.
TextStorage String::holdIfOwn(TextView text) const noexcept {
    const auto own = view();
    const std::less<const char16_t*> before;
    return !before(text.data(), own.data()) && before(text.data(), own.data() + own.size())
               ? m_storage
               : TextStorage();
}

char16_t* String::prepareToGrow(int64_t capacity, int32_t kept) {
    const int32_t needed = checkedSize(capacity);
    const int64_t present = m_storage.capacity();
    // What grows once usually grows on: the small sizes are passed in larger steps.
    const int64_t larger = (present < 128 ? 4 : 2) * present;
    const int64_t grown = needed > present ? std::min(larger, LargestCapacity) : 0;
    char16_t* const units = m_storage.prepare(std::max(needed, static_cast<int32_t>(grown)), kept);
    dropBytes();
    return units;
}

String& String::replace(int32_t position, int32_t count, TextView text) {
    const TextStorage held = holdIfOwn(text);
    char16_t* const gap = openGap(position, count, lengthOf(text));
    Traits::copy(gap, text.data(), text.size());
    return *this;
}

String& String::replace(int32_t position, int32_t count, char16_t unit, int32_t repetitions) {
    const int32_t inserted = std::max(repetitions, 0);
    std::fill_n(openGap(position, count, inserted), inserted, unit);
    return *this;
}

char16_t* String::openGap(int32_t position, int32_t count, int32_t inserted) {
    const int32_t length = getLength();
    const int32_t from = limited(position, length);
    const int32_t removed = limited(count, length - from);
    const int32_t tail = length - from - removed;
    const int32_t needed = checkedSize(int64_t{from} + inserted + tail + 1);
    const bool isWritable = m_storage.isWritable(needed);
    if (!isWritable && inserted < removed && !m_storage.isForeign()) {
        m_storage = cutText(view(), from, removed, inserted);
        dropBytes();
        return m_storage.writable() + from;
    }
    char16_t* const units = isWritable ? m_storage.writable() : prepareToGrow(needed, length);
    dropBytes();
    char16_t* const gap = units + from;
    if (inserted != removed)
        Traits::move(gap + inserted, gap + removed, sizeOf(tail));
    m_storage.commit(from + inserted + tail);
    return gap;
}

String& String::clear() {
    dropBytes();
    if (m_storage.isWritable(1))
        m_storage.commit(0);
    else
        m_storage = TextStorage();
    return *this;
}

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

String& String::toLower() { return mapCase(QXTextToLowerW); }

String& String::toUpper() { return mapCase(QXTextToUpperW); }

String& String::mapCase(void (*map)(char16_t* text, int32_t length)) {
    const int32_t length = getLength();
    map(prepareToGrow(int64_t{length} + 1, length), length);
    m_storage.commit(length);
    return *this;
}

String& String::translate(char16_t from, char16_t to) {
    const size_t first = detail::findUnit(view(), from);
    if (first == std::u16string_view::npos)
        return *this;
    const int32_t length = getLength();
    char16_t* const units = prepareToGrow(int64_t{length} + 1, length);
    std::replace(units + first, units + length, from, to);
    m_storage.commit(length);
    return *this;
}

String& String::translate(TextView from, TextView to) {
    if (from.empty() || to.empty())
        return *this;
    const detail::UnitSet sources(from);
    const auto first =
        std::find_if(begin(), end(), [&](char16_t unit) { return sources.has(unit); });
    if (first == end())
        return *this;
    const TextStorage heldFrom = holdIfOwn(from);
    const TextStorage heldTo = holdIfOwn(to);
    const auto position = first - begin();
    const int32_t length = getLength();
    char16_t* const units = prepareToGrow(int64_t{length} + 1, length);
    std::transform(units + position, units + length, units + position, [&](char16_t unit) {
        return sources.has(unit) ? to[std::min(from.find(unit), to.size() - 1)] : unit;
    });
    m_storage.commit(length);
    return *this;
}

String& String::trim(TrimType type) { return trim(WhiteSpace, type); }

String& String::trim(char16_t unit, TrimType type) { return trim(TextView(&unit, 1), type); }

String& String::trim(TextView set, TrimType type) {
    const TextStorage held = holdIfOwn(set);
    const detail::UnitSet units(set.substr(0, set.find(u'\0')));
    const auto isKept = [&](char16_t unit) { return !units.has(unit); };
    const char16_t* first = begin();
    const char16_t* last = end();
    if (type & TRIM_LEADING)
        first = std::find_if(first, last, isKept);
    if (type & TRIM_TRAILING) {
        while (last != first && !isKept(last[-1]))
            --last;
    }
    const auto leading = static_cast<int32_t>(first - begin());
    const auto kept = static_cast<int32_t>(last - first);
    if (kept == 0)
        return clear();
    if (kept == getLength())
        return *this;
    if (m_storage.isForeign() || m_storage.isWritable(kept))
        return remove(leading + kept).remove(0, leading);
    m_storage = TextStorage(TextView(first, kept));
    dropBytes();
    return *this;
}

const char16_t* String::getReadLock() const { return m_storage.lockForReading(); }

void String::releaseReadLock() const { m_storage.unlockReading(); }

bool String::isWritable() const { return true; }

char16_t* String::getWriteLock(int32_t length) {
    char16_t* const units = m_storage.lock(checkedSize(int64_t{std::max(length, 0)} + 1));
    dropBytes();
    return units;
}

char16_t* String::ensureCapacity(int32_t length) {
    char16_t* const units = m_storage.grow(checkedSize(int64_t{std::max(length, 0)} + 1));
    dropBytes();
    return units;
}

void String::releaseWriteLock(int32_t length) {
    m_storage.unlock(length);
    dropBytes();
}

void String::freeExtra() { m_storage.shrink(); }

String String::substring(int32_t begin, int32_t end) const {
    return String(part(view(), begin, end));
}

String* String::clone() const { return detail::exactClone(*this); }

int String::compareTo(const Object& other) const {
    if (this == &other)
        return 0;
    return compare(requireCast(castTo<const String>(&other)));
}

bool String::equals(const Object& other) const {
    const auto* const string = castTo<const String>(&other);
    return string && *this == *string;
}

uint32_t String::hashCode() const { return detail::sampledHash(view()); }

uint32_t String::hashCode(bool ignoreCase) const {
    return ignoreCase ? detail::sampledHash(view(), QXToLowerW) : detail::sampledHash(view());
}

String String::toString() const { return *this; }

String concatenate(TextView left, TextView right) {
    if (left.empty() && right.empty())
        return String();
    String sum(checkedSize(int64_t{lengthOf(left)} + lengthOf(right) + 1));
    return std::move(sum.append(left).append(right));
}

} // namespace qx
