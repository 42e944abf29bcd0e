#include "qx/core/String.h"

#include <algorithm>
#include <typeinfo>

#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/ObjectBehind.h>
#include <qx/core/Required.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/core/detail/ExactClone.h>
#include <qx/core/detail/SampledHash.h>
#include <qx/core/detail/TextChange.h>
#include <qx/core/detail/UnitSearch.h>
#include <qx/platform/text.h>
#include <qx/util/buffer/detail/BufferHold.h>

namespace qx {

namespace {

using detail::checkedSize;
using detail::lengthOf;
using detail::limited;
using detail::sizeOf;
using Change = TextStorage::Change;
using Traits = std::char_traits<char16_t>;

constexpr std::u16string_view WhiteSpace = u" \t\r\n";

std::u16string_view part(std::u16string_view text, int32_t start, int32_t end) {
    end = limited(end, lengthOf(text));
    start = limited(start, lengthOf(text));
    return start < end ? text.substr(sizeOf(start), sizeOf(end - start)) : std::u16string_view();
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
    if (count < 1)
        return;
    std::fill_n(m_storage.writable(), count, unit);
    m_storage.commit(count);
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
    const int32_t needed = checkedSize(int64_t{length} + 1);
    if (m_storage.isWritable(needed)) {
        dropBytes();
        Traits::move(m_storage.writable(), text.data(), text.size()); // it may lie in there
        m_storage.commit(length);
        return *this;
    }
    Change change(m_storage);
    text = change.keep(text);
    Traits::copy(change.prepare(needed, 0), text.data(), text.size());
    return finish(change, length);
}

String& String::appendSlow(TextView text) {
    if (text.empty())
        return *this;
    Change change(m_storage);
    text = change.keep(text);
    const int32_t present = change.length();
    const int32_t length = checkedSize(int64_t{present} + lengthOf(text));
    char16_t* const units = change.prepare(checkedSize(int64_t{length} + 1), present);
    Traits::copy(units + present, text.data(), text.size());
    return finish(change, length);
}

TextStorage String::holdIfOwn(TextView text) const noexcept {
    return detail::beginsIn(text, view()) ? m_storage : TextStorage();
}

String& String::replace(int32_t position, int32_t count, TextView text) {
    Change change(m_storage);
    text = change.keep(text);
    const auto gap = change.openGap(position, count, lengthOf(text));
    Traits::copy(gap.units, text.data(), text.size());
    return finish(change, gap.length);
}

String& String::replace(int32_t position, int32_t count, char16_t unit, int32_t repetitions) {
    Change change(m_storage);
    const int32_t inserted = std::max(repetitions, 0);
    const auto gap = change.openGap(position, count, inserted);
    std::fill_n(gap.units, inserted, unit);
    return finish(change, gap.length);
}

String& String::clear() {
    if (m_storage.isForeign()) [[unlikely]]
        return remove(0);
    dropBytes();
    if (m_storage.isWritable(1))
        m_storage.commit(0);
    else
        m_storage = TextStorage();
    return *this;
}

String& String::resize(int32_t length, char16_t fill) {
    Change change(m_storage);
    const int32_t kept = std::clamp(length, 0, change.length());
    const int32_t added = std::max(length - kept, 0);
    const auto gap = change.openGap(kept, -1, added);
    std::fill_n(gap.units, added, fill);
    return finish(change, gap.length);
}

String& String::setCharAt(int32_t position, char16_t unit) {
    Change change(m_storage);
    const auto all = change.prepareAll();
    all.units[position] = unit;
    return finish(change, all.length);
}

String& String::toLower() { return mapCase(QXTextToLowerW); }

String& String::toUpper() { return mapCase(QXTextToUpperW); }

String& String::mapCase(void (*map)(char16_t* text, int32_t length)) {
    Change change(m_storage);
    const auto all = change.prepareAll();
    map(all.units, all.length);
    return finish(change, all.length);
}

String& String::translate(char16_t from, char16_t to) {
    Change change(m_storage);
    const size_t first = detail::findUnit(change.view(), from);
    if (first == std::u16string_view::npos)
        return *this;
    const auto all = change.prepareAll();
    std::replace(all.units + first, all.units + all.length, from, to);
    return finish(change, all.length);
}

String& String::translate(TextView from, TextView to) {
    if (from.empty() || to.empty())
        return *this;
    Change change(m_storage);
    from = change.keep(from);
    to = change.keep(to);
    const detail::UnitSet sources(from);
    const auto text = change.view();
    const auto first =
        std::find_if(text.begin(), text.end(), [&](char16_t unit) { return sources.has(unit); });
    if (first == text.end())
        return *this;
    const auto position = first - text.begin();
    const auto all = change.prepareAll();
    char16_t* const start = all.units + position;
    std::transform(start, all.units + all.length, start, [&](char16_t unit) {
        return sources.has(unit) ? to[std::min(from.find(unit), to.size() - 1)] : unit;
    });
    return finish(change, all.length);
}

String& String::trim(TrimType type) { return trim(WhiteSpace, type); }

String& String::trim(char16_t unit, TrimType type) { return trim(TextView(&unit, 1), type); }

String& String::trim(TextView set, TrimType type) {
    Change change(m_storage);
    set = change.found(set);
    const detail::UnitSet units(set.substr(0, set.find(u'\0')));
    const auto isKept = [&](char16_t unit) { return !units.has(unit); };
    const char16_t* first = change.view().data();
    const char16_t* last = first + change.length();
    if (type & TRIM_LEADING)
        first = std::find_if(first, last, isKept);
    if (type & TRIM_TRAILING) {
        while (last != first && !isKept(last[-1]))
            --last;
    }
    const auto kept = static_cast<int32_t>(last - first);
    if (kept == change.length())
        return *this;
    if (!change.isWritable(kept + 1)) {
        m_storage = TextStorage(TextView(first, kept));
        dropBytes();
        return *this;
    }
    Traits::move(change.prepare(kept + 1, 0), first, sizeOf(kept));
    return finish(change, kept);
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
