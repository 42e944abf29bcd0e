#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string_view>
#include <type_traits>

#include <qx/core/TextView.h>
#include <qx/platform/export.h>

namespace qx {

class Exception;
class String;

QX_API String describe(const Exception& exception);
QX_API String describe(const std::exception& exception);

namespace detail {

template <class T, class... Others>
concept OneOf = (std::same_as<T, Others> || ...);

/// A unit of text of whatever encoding.
template <class T>
concept CharacterType = OneOf<T, char, wchar_t, char8_t, char16_t, char32_t>;

template <class T>
concept FormatNumber = OneOf<T, float, double> ||
    (std::integral<T> && !CharacterType<T> && !std::same_as<T, bool> &&
     sizeof(T) <= sizeof(uint64_t));

template <class T>
concept FormatObject = requires(const T& value) {
    { value.toString() } -> std::same_as<String>;
};

/// An exception of somebody else.
template <class T>
concept ForeignException = std::derived_from<T, std::exception> && !FormatObject<T>;

/// A pointer to an object, or what owns one: Reference, std::unique_ptr, std::shared_ptr.
template <class T>
concept FormatPointer = (std::is_pointer_v<T> && FormatObject<std::remove_pointer_t<T>>) ||
                        requires(const T& pointer) {
    requires FormatObject<typename T::element_type>;
    { pointer.get() } -> std::convertible_to<const typename T::element_type*>;
};

} // namespace detail

/// What a pattern of String::format can show: a number, a truth value, a character (char16_t or
/// char32_t; a char is a byte), a text in UTF-16 or UTF-8, an object or anything else with a
/// toString that gives a String, a pointer to one, or a std::exception.
template <class T>
concept HasText = detail::FormatNumber<T> || detail::OneOf<T, bool, char16_t, char32_t> ||
    std::convertible_to<const T&, TextView> || Utf8Text<T> || detail::FormatObject<T> ||
    detail::FormatPointer<T> || detail::ForeignException<T>;

/// An argument of String::format: a number, character or truth value as it is, or a reference to a
/// text or an object, which must outlive it.
class FormatArgument {
public:
    enum class Kind : uint8_t { Signed, Unsigned, Real, Truth, Character, Text, Utf8, Object };

    /// The empty text.
    FormatArgument() noexcept { setText(Kind::Text, std::u16string_view()); }
    template <HasText T>
    FormatArgument(const T& value) noexcept {
        if constexpr (std::same_as<T, bool>)
            setBits(Kind::Truth, value);
        else if constexpr (detail::OneOf<T, char16_t, char32_t>)
            setBits(Kind::Character, value);
        else if constexpr (std::floating_point<T>)
            setReal(value);
        else if constexpr (detail::FormatNumber<T>)
            setBits(std::is_signed_v<T> ? Kind::Signed : Kind::Unsigned,
                    static_cast<uint64_t>(value));
        else if constexpr (std::convertible_to<const T&, TextView>)
            setText(Kind::Text, TextView(value));
        else if constexpr (Utf8Text<T>)
            setText(Kind::Utf8, utf8View(value));
        else if constexpr (detail::FormatObject<T> || detail::ForeignException<T>)
            setObject(&value);
        else if constexpr (std::is_pointer_v<T>)
            setObject(value);
        else
            setObject(value.get());
    }

    Kind kind() const noexcept { return m_kind; }
    int64_t toSigned() const noexcept { return static_cast<int64_t>(m_bits); }
    /// The number, 1 for true, or the code point of a character.
    uint64_t toUnsigned() const noexcept { return m_bits; }
    double toReal() const noexcept { return m_real; }
    std::u16string_view text() const noexcept {
        return {static_cast<const char16_t*>(m_reference.data), m_reference.length};
    }
    std::string_view utf8() const noexcept {
        return {static_cast<const char*>(m_reference.data), m_reference.length};
    }
    /// The text of an object: of an exception what describe gives, else that of its toString;
    /// "null" for a null pointer.
    QX_API String objectText() const;

private:
    using ObjectText = String (*)(const void* object);

    void setBits(Kind kind, uint64_t bits) noexcept {
        m_kind = kind;
        m_bits = bits;
    }
    void setReal(double value) noexcept {
        m_kind = Kind::Real;
        m_real = value;
    }
    template <class View>
    void setText(Kind kind, View text) noexcept {
        m_kind = kind;
        m_reference = {text.data(), text.size(), nullptr};
    }
    template <class T>
    void setObject(const T* object) noexcept {
        m_kind = Kind::Object;
        m_reference = {object, 0, textOf<T>};
    }
    template <class T>
    static auto textOf(const void* object) { // a String, which is incomplete here
        const T& value = *static_cast<const T*>(object);
        if constexpr (std::is_base_of_v<Exception, T> || detail::ForeignException<T>)
            return describe(value);
        else
            return value.toString();
    }

    struct Referred {
        const void* data;
        size_t length;
        ObjectText textOf;
    };

    union {
        uint64_t m_bits;
        double m_real;
        Referred m_reference;
    };
    Kind m_kind;
};

} // namespace qx
