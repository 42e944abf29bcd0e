#pragma once

#include <cstdint>
#include <string_view>

#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/platform/time.h>

namespace qx::log {

namespace detail {
struct Record;
class Utf8Text;
} // namespace detail

/// Memory for the text of a value that is not stored as text. It may serve one value after another
/// and holds the text of the last one.
struct FieldText {
    char16_t units[2 * QX_TIME_TEXT_UNITS];
    String text;
};

/// The value of a field in the form in which the entry stores it: a plain number, text or time, or
/// any object. It belongs to the entry and lives as long as that.
class QX_API FieldValue {
public:
    enum class Kind : uint8_t {
        Object,
        Signed,
        Unsigned,
        Text,
        Time,
        Pattern, ///< a text still to be made; entries have none
    };

    Kind kind() const noexcept { return m_kind; }
    /// The number of a value of kind Signed.
    int32_t toSigned() const noexcept { return m_signed; }
    /// The number of a value of kind Unsigned.
    uint32_t toUnsigned() const noexcept { return m_unsigned; }
    /// The time of a value of kind Time.
    const STRUCT_QX_TIME& toTime() const noexcept { return m_time; }
    /// The object, or null, of a value of kind Object.
    const qx::Object* toObject() const noexcept { return m_object; }
    /// What toString of the value's object gives, empty for a null value. The result refers to the
    /// entry or to @p room.
    /// @throws what toString throws
    std::u16string_view text(FieldText& room) const {
        return m_kind == Kind::Text ? std::u16string_view(m_text.units, m_text.length)
                                    : makeText(room);
    }

private:
    friend class LogEntry;
    friend struct detail::Record;
    friend class detail::Utf8Text;

    struct Units {
        const char16_t* units;
        uint32_t length;
    };

    FieldValue() noexcept : m_object(nullptr) {}
    explicit FieldValue(int32_t number) noexcept : m_signed(number), m_kind(Kind::Signed) {}
    explicit FieldValue(uint32_t number) noexcept : m_unsigned(number), m_kind(Kind::Unsigned) {}
    explicit FieldValue(std::u16string_view text) noexcept
        : m_text{text.data(), static_cast<uint32_t>(text.size())}, m_kind(Kind::Text) {}
    explicit FieldValue(const STRUCT_QX_TIME& time) noexcept : m_time(time), m_kind(Kind::Time) {}
    explicit FieldValue(const detail::Record& pattern) noexcept
        : m_pattern(&pattern), m_kind(Kind::Pattern) {}
    std::u16string_view makeText(FieldText& room) const;
    Reference<qx::Object> makeObject() const;

    union {
        qx::Object* m_object;
        int32_t m_signed;
        uint32_t m_unsigned;
        Units m_text;
        STRUCT_QX_TIME m_time;
        const detail::Record* m_pattern;
    };
    Kind m_kind = Kind::Object;
};

} // namespace qx::log
