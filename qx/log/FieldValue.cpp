#include "qx/log/FieldValue.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include <qx/core/Integer.h>
#include <qx/log/TimeStamp.h>
#include <qx/log/detail/Record.h>
#include <qx/log/detail/StampText.h>

namespace qx::log {

namespace {

template <class Number>
std::u16string_view writeNumber(Number number, FieldText& room) {
    char digits[12];
    char* const end = std::to_chars(digits, std::end(digits), number).ptr;
    return {room.units, std::copy(digits, end, room.units)};
}

} // namespace

std::u16string_view FieldValue::makeText(FieldText& room) const {
    switch (m_kind) {
    case Kind::Signed:
        return writeNumber(m_signed, room);
    case Kind::Unsigned:
        return writeNumber(m_unsigned, room);
    case Kind::Text:
        return {m_text.units, m_text.length};
    case Kind::Time:
        return detail::stampText(m_time, false, room.units);
    case Kind::Object:
        room.text = m_object ? m_object->toString() : String();
        break;
    case Kind::Pattern:
        room.text = m_pattern->madeText();
        break;
    }
    return room.text.view();
}

/// A new object for a plain value.
Reference<qx::Object> FieldValue::makeObject() const {
    switch (m_kind) {
    case Kind::Signed:
        return makeReference<Integer32>(m_signed);
    case Kind::Unsigned:
        return makeReference<UInteger32>(m_unsigned);
    case Kind::Text:
        return makeReference<String>(std::u16string_view(m_text.units, m_text.length));
    case Kind::Time:
        return makeReference<TimeStamp>(m_time);
    case Kind::Pattern:
        return makeReference<String>(m_pattern->madeText());
    case Kind::Object:
        break;
    }
    return m_object;
}

} // namespace qx::log
