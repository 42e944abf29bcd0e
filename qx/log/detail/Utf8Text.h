#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <string_view>

#include <qx/core/Exception.h>
#include <qx/core/detail/PatternReader.h>
#include <qx/log/FieldValue.h>
#include <qx/log/detail/Record.h>
#include <qx/text/charset/detail/Kernels.h>

namespace qx::log::detail {

/// Text that is put together in UTF-8, in memory of somebody else. Once a part of it has not fitted
/// or has no form in UTF-8, which is half a surrogate pair, there is no text.
class Utf8Text {
public:
    explicit Utf8Text(std::span<uint8_t> room) noexcept
        : m_begin(room.data()), m_at(m_begin), m_end(m_begin + room.size()) {}

    /// The number of its bytes, which is less than the room; 0 when there is no text.
    size_t size() const noexcept { return static_cast<size_t>(m_at - m_begin); }
    /// What was appended behind the first @p count bytes.
    std::span<const uint8_t> from(size_t count) const noexcept {
        return {m_begin + count, size() - count};
    }
    /// Takes that back.
    void cut(size_t count) noexcept { m_at = m_begin + count; }
    /// There is no text, whatever else is appended.
    void giveUp() noexcept { m_at = m_end = m_begin; }

    Utf8Text& append(std::u16string_view text) noexcept {
        // No unit takes more than three bytes.
        if (!hasRoom(3 * text.size()))
            return *this;
        if (!narrowAscii(text.data(), text.size(), m_at)) [[unlikely]]
            return appendAny(text);
        m_at += text.size();
        return *this;
    }
    /// A unit of ASCII.
    Utf8Text& append(char16_t unit) noexcept {
        if (hasRoom(1))
            *m_at++ = static_cast<uint8_t>(unit);
        return *this;
    }
    /// @param room  for the text of the value, which is no object
    Utf8Text& append(const FieldValue& value, FieldText& room) {
        switch (value.kind()) {
        case FieldValue::Kind::Signed:
            return appendNumber(value.toSigned());
        case FieldValue::Kind::Unsigned:
            return appendNumber(value.toUnsigned());
        case FieldValue::Kind::Pattern:
            return appendPattern(*value.m_pattern);
        default:
            return append(value.text(room));
        }
    }

private:
    bool hasRoom(size_t bytes) noexcept {
        if (bytes < static_cast<size_t>(m_end - m_at)) [[likely]]
            return true;
        giveUp();
        return false;
    }

    using EightUnits [[gnu::vector_size(16)]] = uint16_t;
    using EightBytes [[gnu::vector_size(8)]] = uint8_t;
    using FourUnits [[gnu::vector_size(8)]] = uint16_t;
    using FourBytes [[gnu::vector_size(4)]] = uint8_t;

    /// False when a unit is not ASCII; what is written then has no meaning. In vectors, of which
    /// the last two may overlap.
    static bool narrowAscii(const char16_t* from, size_t count, uint8_t* to) noexcept {
        if (count >= 8)
            return narrow<EightUnits, EightBytes>(from, count, to);
        if (count >= 4)
            return narrow<FourUnits, FourBytes>(from, count, to);
        uint32_t all = 0;
        for (size_t i = 0; i < count; ++i) {
            all |= from[i];
            to[i] = static_cast<uint8_t>(from[i]);
        }
        return all < 0x80;
    }

    template <class Units, class Bytes>
    static bool narrow(const char16_t* from, size_t count, uint8_t* to) noexcept {
        constexpr size_t Step = sizeof(Bytes);
        Units all{};
        const auto narrowAt = [&](size_t place) {
            Units units;
            std::memcpy(&units, from + place, sizeof(units));
            all |= units;
            const auto bytes = __builtin_convertvector(units, Bytes);
            std::memcpy(to + place, &bytes, sizeof(bytes));
        };
        for (size_t place = 0; place + Step < count; place += Step)
            narrowAt(place);
        narrowAt(count - Step);
        uint64_t words[sizeof(all) / sizeof(uint64_t)];
        std::memcpy(words, &all, sizeof(all));
        uint64_t beyond = 0;
        for (const uint64_t word : words)
            beyond |= word & 0xFF80'FF80'FF80'FF80u;
        return beyond == 0;
    }

    Utf8Text& appendAny(std::u16string_view text) noexcept {
        const auto done = text::charset::detail::kernels().utf16ToUtf8(
            text.data(), text.size(), m_at, static_cast<size_t>(m_end - m_at));
        m_at += done.written;
        if (done.read != text.size())
            giveUp();
        return *this;
    }

    /// What String::format gives; what Record::madeText gives where that refuses the pattern.
    Utf8Text& appendPattern(const Record& record) {
        uint8_t* const begin = m_at;
        try {
            qx::detail::PatternReader pieces(record.text, qx::detail::PatternRules::Full,
                                             record.arguments, record.argumentCount);
            while (pieces.next()) {
                append(pieces.text());
                if (!pieces.argument())
                    continue;
                if (pieces.isPlain()) [[likely]] {
                    appendPlain(*pieces.argument());
                } else {
                    String text;
                    pieces.appendArgument(text);
                    append(TextView(text));
                }
            }
        } catch (const Exception&) {
            if (m_end != m_begin)
                m_at = begin;
            append(TextView(record.madeText()));
        }
        return *this;
    }

    /// A text, character, truth value or integer.
    void appendPlain(const FormatArgument& argument) {
        using Kind = FormatArgument::Kind;
        switch (argument.kind()) {
        case Kind::Signed:
            appendNumber(argument.toSigned());
            break;
        case Kind::Unsigned:
            appendNumber(argument.toUnsigned());
            break;
        case Kind::Text:
            append(argument.text());
            break;
        case Kind::Utf8:
            appendUtf8(argument.utf8());
            break;
        case Kind::Truth:
            append(argument.toUnsigned() != 0 ? std::u16string_view(u"true") : u"false");
            break;
        default:
            append(TextView(String().append(characterOf(argument))));
        }
    }

    void appendUtf8(std::string_view text) {
        if (!hasRoom(text.size()))
            return;
        if (!isAscii(text)) {
            append(TextView(String::fromUtf8(text))); // which finds out what is malformed
            return;
        }
        if (!text.empty())
            std::memcpy(m_at, text.data(), text.size());
        m_at += text.size();
    }

    template <class Number>
    Utf8Text& appendNumber(Number number) noexcept {
        constexpr size_t MostDigits = std::numeric_limits<Number>::digits10 + 2; // with a sign
        if (hasRoom(MostDigits)) {
            char* const at = reinterpret_cast<char*>(m_at);
            m_at += std::to_chars(at, at + MostDigits, number).ptr - at;
        }
        return *this;
    }

    uint8_t* m_begin;
    uint8_t* m_at;
    uint8_t* m_end;
};

} // namespace qx::log::detail
