#pragma once

#include <cstddef>
#include <iterator>

#include <qx/core/Surrogates.h>
#include <qx/core/TextView.h>

namespace qx {

/// The code points of a text, from its start to its end. A surrogate that is not part of a pair
/// stands for itself. Refers to the text, which must stay as it is.
///
///     for (const char32_t character : text.codePoints())
class CodePoints {
public:
    class Iterator {
    public:
        using iterator_concept = std::forward_iterator_tag;
        using iterator_category = std::input_iterator_tag; // there is nothing to refer to
        using value_type = char32_t;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = char32_t;

        constexpr Iterator() noexcept = default;
        constexpr Iterator(const char16_t* at, const char16_t* end) noexcept
            : m_at(at), m_end(end) {}

        constexpr char32_t operator*() const noexcept {
            return isPair() ? text::charset::joinSurrogates(m_at[0], m_at[1]) : char32_t{*m_at};
        }
        constexpr Iterator& operator++() noexcept {
            m_at += isPair() ? 2 : 1;
            return *this;
        }
        constexpr Iterator operator++(int) noexcept {
            Iterator before(*this);
            ++*this;
            return before;
        }
        /// The first unit of the code point.
        constexpr const char16_t* base() const noexcept { return m_at; }

        friend constexpr bool operator==(const Iterator& left, const Iterator& right) noexcept {
            return left.m_at == right.m_at;
        }

    private:
        constexpr bool isPair() const noexcept {
            return text::charset::isHighSurrogate(*m_at) && m_end - m_at > 1 &&
                   text::charset::isLowSurrogate(m_at[1]);
        }

        const char16_t* m_at = nullptr;
        const char16_t* m_end = nullptr;
    };

    constexpr explicit CodePoints(TextView text) noexcept : m_text(text) {}

    constexpr Iterator begin() const noexcept { return {m_text.data(), end().base()}; }
    constexpr Iterator end() const noexcept {
        const char16_t* const end = m_text.data() + m_text.size();
        return {end, end};
    }

private:
    TextView m_text;
};

} // namespace qx
