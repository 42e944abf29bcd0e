#pragma once

#include <concepts>
#include <cstddef>
#include <iterator>
#include <utility>

#include <qx/core/Reference.h>

namespace qx::collections {

/// Lets @p value be the next element of @p source; false at the end.
template <class Source, class Value>
bool goOn(Source& source, Value& value) {
    if (!source.hasNext())
        return false;
    value = source.next();
    return true;
}

/// How a range goes on with its source. Specialised for sources that know a shorter way.
template <class Source>
class WalkStep {
public:
    WalkStep() = default;
    explicit WalkStep(Source&) noexcept {}

    template <class Value>
    bool operator()(Source& source, Value& value) const {
        return goOn(source, value);
    }
};

/// A walk by hasNext and next as an input iterator of the language, for range-based for and the
/// algorithms that take a sentinel. Its end is std::default_sentinel.
///
/// @p Source is an iterator interface or class, held by @p Holder; the value is what its next
/// returns. The constructor and ++ fetch the element and hold it, and what next throws comes out of
/// those. Copies share the walk, as those of input iterators do.
template <class Source, class Holder = Reference<Source>>
class InputIterator {
public:
    using iterator_concept = std::input_iterator_tag;
    using value_type = decltype(std::declval<Source&>().next());
    using difference_type = std::ptrdiff_t;

    /// At the end.
    InputIterator() = default;
    /// At the first element that @p source has left.
    explicit InputIterator(Holder source) : m_source(std::move(source)), m_step(*m_source) {
        fetch();
    }

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
        if (m_step(*m_source, m_value)) [[likely]]
            return;
        m_value = value_type();
        m_source = Holder();
    }

    Holder m_source{};
    [[no_unique_address]] WalkStep<Source> m_step{};
    value_type m_value{};
};

/// An iterator interface or class.
template <class T>
concept Walk = requires(T& walk) {
    { walk.hasNext() } -> std::same_as<bool>;
    walk.next();
};

/// A walk, or a collection or map with input iterators of the above kind.
template <class T>
concept Iterable = Walk<T> || requires(T& collection) {
    { std::ranges::end(collection) } -> std::same_as<std::default_sentinel_t>;
};

} // namespace qx::collections

namespace qx {

// A reference to a walk is an input range of the elements that the walk has left, one to a
// collection or map of all its elements. The reference may be a temporary:
//
//     for (const Reference<RegistryKey>& subkey : key.getSubkeyIterator())
//
// Templates, and twice, because std::ranges::begin and end accept only an exact match.

template <collections::Iterable T>
auto begin(const Reference<T>& iterated) {
    if constexpr (collections::Walk<T>)
        return collections::InputIterator<T>(iterated);
    else
        return std::ranges::begin(*iterated);
}
template <collections::Iterable T>
auto begin(Reference<T>& iterated) {
    return begin(std::as_const(iterated));
}

template <collections::Iterable T>
std::default_sentinel_t end(const Reference<T>&) noexcept {
    return {};
}
template <collections::Iterable T>
std::default_sentinel_t end(Reference<T>&) noexcept {
    return {};
}

} // namespace qx
