#pragma once

#include <concepts>
#include <cstddef>
#include <string_view>

#include <qx/core/String.h>
#include <qx/core/TextView.h>
#include <qx/platform/export.h>

namespace qx {

/// Text in any form: what a TextView takes, or UTF-8.
template <class T>
concept SomeText = Utf8Text<T> || std::convertible_to<const T&, TextView>;

/// Texts of which at least one does not become a String by itself: a view of UTF-16 or UTF-8, a
/// string of the standard library, a narrow literal. What takes a `const String&` takes these
/// beside it and means the same.
template <class... T>
concept OtherText = (SomeText<T> && ...) && !(std::convertible_to<const T&, String> && ...);

/// A String of any text. It shares the text of one that is a String already.
/// @throws text::charset::InvalidCharacterException for malformed UTF-8
template <SomeText T>
String stringOf(const T& text) {
    if constexpr (std::convertible_to<const T&, const String&>)
        return text;
    else if constexpr (Utf8Text<T>)
        return String(utf8View(text));
    else
        return String(std::u16string_view(TextView(text)));
}

/// Text handed to a call in whatever form the caller has it: a String or TextView, a string or view
/// of the standard library in UTF-16, and the same, or a narrow literal, in UTF-8.
///
/// UTF-16 is not copied. UTF-8 is decoded at once, without an allocation when it is short. Refers
/// to the caller's text, which must outlive it, and is meant as a parameter: `const AnyText&`.
class QX_API AnyText {
public:
    /// The empty text.
    AnyText() noexcept = default;
    /// @throws text::charset::InvalidCharacterException for malformed UTF-8
    template <SomeText T>
    AnyText(const T& text) {
        if constexpr (Utf8Text<T>)
            decode(utf8View(text));
        else
            m_view = TextView(text);
    }
    AnyText(const AnyText&) = delete;
    AnyText& operator=(const AnyText&) = delete;

    TextView view() const noexcept { return m_view; }
    operator TextView() const noexcept { return m_view; }
    bool isEmpty() const noexcept { return m_view.empty(); }
    String toString() const { return String(std::u16string_view(m_view)); }
    /// The text with a 0 unit behind it, for calls that take no length.
    /// @throws ResultException with result::InvalidArgument when the text contains a 0 unit itself,
    ///     at which it would be cut off
    const char16_t* terminated() const;

protected:
    /// Becomes a text that nobody else keeps.
    void own(String text) noexcept {
        m_long.swap(text);
        m_view = m_long;
    }

private:
    /// Units that need no allocation.
    static constexpr size_t Room = 64;

    void decode(std::string_view utf8);

    mutable TextView m_view;
    mutable String m_long;
    mutable char16_t m_room[Room]; // written before the view refers to it
};

} // namespace qx
