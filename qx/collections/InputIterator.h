#pragma once

#include <cstddef>
#include <iterator>
#include <utility>

#include <qx/core/Reference.h>

namespace qx::collections {

/// A walk by hasNext and next as an input iterator of the language, for range-based for and the
/// algorithms that take a sentinel. Its end is std::default_sentinel.
///
/// @p Source is an iterator interface or class; what its next returns is the value. The element is
/// fetched when the place is reached, by the constructor or ++, and held there; what next throws
/// comes out of those. Copies share the walk, as input iterators do.
template <class Source>
class InputIterator {
public:
    using iterator_concept = std::input_iterator_tag;
    using value_type = decltype(std::declval<Source&>().next());
    using difference_type = std::ptrdiff_t;

    /// At the end.
    InputIterator() = default;
    /// At the first element that @p source has left.
    explicit InputIterator(Reference<Source> source) : m_source(std::move(source)) { fetch(); }

    const value_type& operator*() const noexcept { return m_value; }
    const value_type* operator->() const noexcept { return &m_value; }

    InputIterator& operator++() {
        fetch();
        return *this;
    }
    void operator++(int) { fetch(); }

    friend bool operator==(const InputIterator& iterator, std::default_sentinel_t) noexcept {
        return iterator.m_source == nullptr;
    }

private:
    void fetch() {
        if (m_source->hasNext()) {
            m_value = m_source->next();
        } else {
            m_value = value_type();
            m_source.reset();
        }
    }

    Reference<Source> m_source;
    value_type m_value{};
};

} // namespace qx::collections
