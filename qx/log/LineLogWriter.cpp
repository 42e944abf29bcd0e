#include "qx/log/LineLogWriter.h"

#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include <qx/core/CastTo.h>
#include <qx/core/Number.h>
#include <qx/core/Required.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/log/Level.h>
#include <qx/log/TimeStamp.h>
#include <qx/log/detail/FieldSource.h>
#include <qx/log/detail/FieldWalk.h>
#include <qx/platform/detail/HexDigits.h>
#include <qx/platform/detail/LocalZone.h>
#include <qx/text/charset/Surrogates.h>

namespace qx::log {

using namespace std::string_view_literals;
using text::charset::isHighSurrogate;
using text::charset::isLowSurrogate;
using text::charset::isSurrogate;

namespace {

constexpr int32_t BufferSize = 1 << 16;

enum class Place { Head, NameInHead, Text };

/// What turns the direction of the text behind it, on screens that know directions.
constexpr bool turnsDirection(char16_t unit) noexcept {
    return (unit >= u'\u202A' && unit <= u'\u202E') || (unit >= u'\u2066' && unit <= u'\u2069');
}

bool isPlain(char16_t unit, Place place) noexcept {
    switch (unit) {
    case u' ':
        return place == Place::Text;
    case u'=':
        return place != Place::NameInHead;
    case u'\\':
    case u'\u2028':
    case u'\u2029':
        return false;
    default:
        return unit > u' ' && (unit < 0x7F || unit >= 0xA0) && !isSurrogate(unit) &&
               !turnsDirection(unit);
    }
}

template <class Text>
void appendEscape(Text& to, char16_t unit) {
    to.append(u'\\');
    switch (unit) {
    case u'\\':
        to.append(unit);
        break;
    case u'\n':
        to.append(u'n');
        break;
    case u'\r':
        to.append(u'r');
        break;
    case u'\t':
        to.append(u't');
        break;
    default:
        to.append(u'u');
        char16_t digits[4];
        platform::writeHex<4>(unit, digits);
        to.append(std::u16string_view(digits, 4));
    }
}

template <class Text>
void appendEscaped(Text& to, std::u16string_view text, Place place) {
    size_t from = 0;
    for (size_t at = 0; at <= text.size(); ++at) {
        if (at < text.size() && isPlain(text[at], place))
            continue;
        const bool isPair =
            at + 1 < text.size() && isHighSurrogate(text[at]) && isLowSurrogate(text[at + 1]);
        if (isPair) {
            ++at;
            continue;
        }
        to.append(text.substr(from, at - from));
        if (at < text.size())
            appendEscape(to, text[at]);
        from = at + 1;
    }
}

/// Whether a character in UTF-8 is written as an escape, of those whose first byte says that they
/// may be.
/// @param second  0 when there is none, as @p third
bool isEscaped(uint8_t first, uint8_t second, uint8_t third) noexcept {
    switch (first) {
    case 0xC2: // U+0080 to U+009F, of those up to U+00BF
        return second < 0xA0;
    case 0xE2: // the line separators and what turns directions: U+2028 to U+202E, U+2066 to U+2069
        return (second == 0x80 && third >= 0xA8 && third <= 0xAE) ||
               (second == 0x81 && third >= 0xA6 && third <= 0xA9);
    default:
        return true;
    }
}

/// Whether text in UTF-8 has a character that is written as an escape.
bool hasEscapes(std::span<const uint8_t> text) noexcept {
    using Block [[gnu::vector_size(16)]] = uint8_t;
    const auto mayBeFirst = [](auto bytes) {
        return (bytes < 0x20) | (bytes == '\\') | (bytes == 0x7F) | (bytes == 0xC2) |
               (bytes == 0xE2);
    };
    size_t at = 0;
    for (; at + sizeof(Block) <= text.size(); at += sizeof(Block)) {
        Block block;
        std::memcpy(&block, text.data() + at, sizeof block);
        const auto found = mayBeFirst(block);
        uint64_t halves[2];
        std::memcpy(halves, &found, sizeof halves);
        if ((halves[0] | halves[1]) != 0)
            break;
    }
    for (; at < text.size(); ++at) {
        if (!mayBeFirst(text[at]))
            continue;
        const uint8_t second = at + 1 < text.size() ? text[at + 1] : 0;
        const uint8_t third = at + 2 < text.size() ? text[at + 2] : 0;
        if (isEscaped(text[at], second, third))
            return true;
    }
    return false;
}

void appendText(String& to, const FieldValue& value, FieldText& room) {
    appendEscaped(to, value.text(room), Place::Text);
}

void appendText(detail::Utf8Text& to, const FieldValue& value, FieldText& room) {
    const size_t begin = to.size();
    to.append(value, room);
    if (to.size() <= begin || !hasEscapes(to.from(begin)))
        return;
    to.cut(begin);
    appendEscaped(to, value.text(room), Place::Text);
}

void appendNumber(String& to, const FieldValue& value, FieldText& room) {
    to.append(value.text(room));
}

void appendNumber(detail::Utf8Text& to, const FieldValue& value, FieldText& room) {
    to.append(value, room);
}

/// The number in a field of kind Signed, also when it is an object.
std::optional<int> levelIn(const FieldValue& value) {
    if (value.kind() == FieldValue::Kind::Signed)
        return value.toSigned();
    if (value.kind() != FieldValue::Kind::Object)
        return std::nullopt;
    const auto* const number = castTo<const Number>(value.toObject());
    const int64_t level = number ? number->toInt64() : INT64_MAX;
    if (!std::in_range<int>(level))
        return std::nullopt;
    return static_cast<int>(level);
}

std::optional<STRUCT_QX_TIME> timeIn(const FieldValue& value) {
    if (value.kind() == FieldValue::Kind::Time)
        return value.toTime();
    if (value.kind() != FieldValue::Kind::Object)
        return std::nullopt;
    const auto* const stamp = castTo<const TimeStamp>(value.toObject());
    return stamp ? std::optional(stamp->getTime()) : std::nullopt;
}

char16_t* writeDigits(char16_t* at, unsigned number, int count) noexcept {
    for (int i = count; i-- > 0; number /= 10)
        at[i] = static_cast<char16_t>(u'0' + number % 10);
    return at + count;
}

} // namespace

/// The fields of an entry as they come, and the line made of them.
template <class Text>
struct LineLogWriter::Line {
    std::optional<FieldValue> level, text, thread, time, name;
    bool hasFurther = false;

    void take(std::u16string_view field, const FieldValue& value) {
        std::optional<FieldValue>* const place = placeOf(field);
        if (place)
            place->emplace(value);
        else
            hasFurther = true;
    }

    /// @param forEachField  calls a visitor for all fields once more
    template <class ForEachField>
    void write(const LineLogWriter& self, Text& to, ForEachField&& forEachField) {
        FieldText room;
        const auto stamp = time ? timeIn(*time) : TimeStamp().getTime();
        if (stamp)
            to.append(self.stampOf(*stamp));
        else
            appendHead(to, time, room);
        to.append(u' ');
        const auto number = level ? levelIn(*level) : std::nullopt;
        const std::u16string_view levelName =
            number ? Level::nameOf(*number) : std::u16string_view();
        if (levelName.empty())
            appendHead(to, level, room);
        else
            to.append(levelName);
        to.append(u' ');
        appendHead(to, name, room);
        to.append(u' ');
        appendHead(to, thread, room);
        if (hasFurther) {
            forEachField([&](std::u16string_view field, const FieldValue& value) {
                if (placeOf(field))
                    return;
                to.append(u' ');
                appendEscaped(to, field, Place::NameInHead);
                to.append(u'=');
                appendEscaped(to, value.text(room), Place::Head);
            });
        }
        to.append(u" | "sv);
        if (text)
            appendText(to, *text, room);
        else
            to.append(u'-');
        to.append(u'\n');
    }

private:
    std::optional<FieldValue>* placeOf(std::u16string_view field) noexcept {
        switch (field.size()) {
        case 4:
            return field == detail::TextField.text   ? &text
                   : field == detail::NameField.text ? &name
                                                     : nullptr;
        case 5:
            return field == detail::LevelField.text ? &level : nullptr;
        case 6:
            return field == detail::ThreadField.text ? &thread : nullptr;
        case 9:
            return field == detail::TimestampField.text ? &time : nullptr;
        default:
            return nullptr;
        }
    }

    static void appendHead(Text& to, const std::optional<FieldValue>& value, FieldText& room) {
        if (value && value->kind() == FieldValue::Kind::Unsigned) { // a thread
            appendNumber(to, *value, room);
            return;
        }
        const auto shown = value ? value->text(room) : std::u16string_view();
        appendEscaped(to, shown.empty() ? u"-"sv : shown, Place::Head);
    }
};

Reference<ILogProcessor> LineLogWriter::create(io::Writer* writer) {
    const Reference<LineLogWriter> created(new LineLogWriter(writer));
    created->encodeBy(&LineLogWriter::encode);
    return created;
}

Reference<ILogProcessor> LineLogWriter::create(io::OutputStream* out) {
    return create(makeReference<io::OutputStreamWriter>(required(out), u"UTF-8", BufferSize));
}

String LineLogWriter::format(const ILogEntry* entry) {
    Reference<LogEntry> copy;
    const LogEntry* known = detail::asLogEntry(*entry);
    if (!known) {
        known = copy = LogEntry::create();
        detail::forEachForeignField(
            *entry, [&](const String& name, const Object* value) { copy->setField(name, value); });
    }
    String line = takeText();
    Line<String> fields;
    known->forEachField([&](auto field, const FieldValue& value) { fields.take(field, value); });
    fields.write(*this, line, [known](auto&& visit) { known->forEachField(visit); });
    return line;
}

void LineLogWriter::encode(const AbstractLogWriter& self, const detail::FieldSource& source,
                           detail::Utf8Text& text) {
    Line<detail::Utf8Text> fields;
    source.forEachField(text,
                        [&](auto field, const FieldValue& value) { fields.take(field, value); });
    fields.write(static_cast<const LineLogWriter&>(self), text,
                 [&](auto&& visit) { source.forEachField(text, visit); });
}

std::u16string_view LineLogWriter::stampOf(STRUCT_QX_TIME time) const {
    const uint16_t milliseconds = std::exchange(time.millisecond, 0);
    Stamp& stamp = m_stamp;
    if (!stamp.isKept || std::memcmp(&stamp.time, &time, sizeof time) != 0) {
        stamp.time = time;
        stamp.isKept = !platform::occursTwice(time);
        char16_t* at = writeDigits(stamp.units, time.year, time.year > 9999 ? 5 : 4);
        const auto append = [&at](char16_t separator, unsigned number) {
            *at = separator;
            at = writeDigits(at + 1, number % 100, 2);
        };
        append(u'-', time.month);
        append(u'-', time.day);
        append(u'T', time.hour);
        append(u':', time.minute);
        append(u':', time.second);
        *at++ = u'.';
        stamp.milliseconds = static_cast<size_t>(at - stamp.units);
        at += 3;
        const int32_t ahead = platform::minutesAhead(time);
        const auto distance = static_cast<unsigned>(ahead < 0 ? -ahead : ahead);
        append(ahead < 0 ? u'-' : u'+', distance / 60);
        append(u':', distance % 60);
        stamp.length = static_cast<size_t>(at - stamp.units);
    }
    writeDigits(stamp.units + stamp.milliseconds, milliseconds % 1000u, 3);
    return {stamp.units, stamp.length};
}

} // namespace qx::log
