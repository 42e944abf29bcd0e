#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>

namespace qx::collections {

/// What an object hands out by index, as a random-access range of values. It refers to the object.
///
/// @tparam Get    member that returns the value of an index from 0 up
/// @tparam Count  member that returns how many there are
template <class Owner, auto Get, auto Count>
class IndexedRange {
public:
    class Iterator;

    explicit IndexedRange(const Owner& owner) noexcept : m_owner(&owner) {}

    Iterator begin() const noexcept { return Iterator(*m_owner, 0); }
    Iterator end() const { return Iterator(*m_owner, (m_owner->*Count)()); }

private:
    const Owner* m_owner;
};

template <class Owner, auto Get, auto Count>
class IndexedRange<Owner, Get, Count>::Iterator {
public:
    using iterator_concept = std::random_access_iterator_tag;
    using iterator_category = std::input_iterator_tag; // * returns a value
    using value_type = std::invoke_result_t<decltype(Get), const Owner&, int32_t>;
    using difference_type = std::ptrdiff_t;
    using reference = value_type;
    using pointer = void;

    Iterator() = default;
    Iterator(const Owner& owner, int32_t index) noexcept : m_owner(&owner), m_index(index) {}

    value_type operator*() const { return (*this)[0]; }
    value_type operator[](difference_type offset) const {
        return (m_owner->*Get)(static_cast<int32_t>(m_index + offset));
    }

    Iterator& operator+=(difference_type offset) noexcept {
        m_index += offset;
        return *this;
    }
    Iterator& operator-=(difference_type offset) noexcept { return *this += -offset; }
    Iterator& operator++() noexcept { return *this += 1; }
    Iterator& operator--() noexcept { return *this += -1; }
    Iterator operator++(int) noexcept {
        const Iterator before = *this;
        ++*this;
        return before;
    }
    Iterator operator--(int) noexcept {
        const Iterator before = *this;
        --*this;
        return before;
    }
    friend Iterator operator+(Iterator iterator, difference_type offset) noexcept {
        return iterator += offset;
    }
    friend Iterator operator+(difference_type offset, Iterator iterator) noexcept {
        return iterator += offset;
    }
    friend Iterator operator-(Iterator iterator, difference_type offset) noexcept {
        return iterator -= offset;
    }
    friend difference_type operator-(const Iterator& left, const Iterator& right) noexcept {
        return left.m_index - right.m_index;
    }
    friend bool operator==(const Iterator& left, const Iterator& right) noexcept {
        return left.m_index == right.m_index;
    }
    friend auto operator<=>(const Iterator& left, const Iterator& right) noexcept {
        return left.m_index <=> right.m_index;
    }

private:
    const Owner* m_owner = nullptr;
    difference_type m_index = 0;
};

} // namespace qx::collections
