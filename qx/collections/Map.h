#pragma once

#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <utility>

#include <qx/collections/Collection.h>
#include <qx/collections/EntryIterator.h>
#include <qx/collections/Set.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/Map.h>

namespace qx::collections {

/// A map of component objects seen as one from keys of type @p K to values of type @p V, classes
/// derived from Object. The facade and what it wraps are one map.
///
/// Each operation is that of the wrapped map and throws what it throws. A key or value of another
/// type raises CastFailedException when it is asked for, and the map is left as it was. A facade
/// compares as what it wraps, with another facade or with a map of component objects.
///
/// What a key or value can be made of, a text for a String or a number for a boxed one, stands for
/// it wherever one is handed in.
///
/// An input range of its entries:
///
///     for (const auto& [key, value] : map)
template <class K, class V>
class Map : public Object {
public:
    using InitialElement = std::pair<Given<K>, Given<V>>;

    /// Around a new HashMap.
    Map() : Map(makeReference<pcom::HashMap>()) {}
    /// Around a new HashMap of @p entries, of those with equal keys the last:
    /// Map<String, Integer32>{{u"one", 1}, {u"two", 2}}.
    Map(std::initializer_list<InitialElement> entries) : Map() {
        for (const auto& [key, value] : entries)
            m_wrapped->put(unknownOf(key.get()), unknownOf(value.get()));
    }
    /// @param wrapped  not null; kept by a reference
    /// @throws ResultException with result::NullPointer
    explicit Map(pcom::Map* wrapped) : m_wrapped(required(wrapped)) {}

    int compareTo(const Object& other) const override {
        return m_wrapped->compareTo(unwrapped(*this, other));
    }
    bool equals(const Object& other) const override {
        return m_wrapped->equals(unwrapped(*this, other));
    }
    uint32_t hashCode() const override { return m_wrapped->hashCode(); }

    void clear() { m_wrapped->clear(); }
    bool containsKey(const K* key) const { return m_wrapped->containsKey(unknownOf(key)); }
    bool containsValue(const V* value) const { return m_wrapped->containsValue(unknownOf(value)); }
    /// Live views of the keys and of the values.
    Reference<Set<K>> createKeySet() { return makeReference<Set<K>>(m_wrapped->createKeySet()); }
    Reference<const Set<K>> createKeySet() const {
        return makeReference<Set<K>>(m_wrapped->createKeySet());
    }
    Reference<Collection<V>> createValueCollection() {
        return makeReference<Collection<V>>(m_wrapped->createValueCollection());
    }
    Reference<const Collection<V>> createValueCollection() const {
        return makeReference<Collection<V>>(m_wrapped->createValueCollection());
    }
    /// The value of @p key; null for an absent key and for a key with a null value.
    Reference<V> get(const K* key) const { return elementAs<V>(m_wrapped->get(unknownOf(key))); }
    int getSize() const { return m_wrapped->getSize(); }
    bool isEmpty() const { return getSize() == 0; }
    /// Lets @p key lead to @p value and returns the previous value, null for a new key.
    Reference<V> put(K* key, V* value) {
        return takenAs<V>(m_wrapped->put(unknownOf(key), unknownOf(value)),
                          [&](IQXUnknown* taken) { m_wrapped->put(unknownOf(key), taken); });
    }
    void putAll(const Map& other) { m_wrapped->putAll(*other.m_wrapped); }
    /// Removes @p key and returns its value; null for an absent key.
    Reference<V> remove(const K* key) {
        auto value = get(key); // a value of another type stays, and so does its key
        m_wrapped->remove(unknownOf(key));
        return value;
    }

    template <SoughtFor<K> A>
    bool containsKey(const A& key) const {
        return containsKey(Sought<K, A>(key).get());
    }
    template <SoughtFor<V> B>
    bool containsValue(const B& value) const {
        return containsValue(Sought<V, B>(value).get());
    }
    template <SoughtFor<K> A>
    Reference<V> get(const A& key) const {
        return get(Sought<K, A>(key).get());
    }
    template <GivenFor<K> A, GivenFor<V> B>
    requires(ValueFor<A, K> || ValueFor<B, V>) Reference<V> put(const A& key, const B& value) {
        return put(handedOver<K>(key).get(), handedOver<V>(value).get());
    }
    template <SoughtFor<K> A>
    Reference<V> remove(const A& key) {
        return remove(Sought<K, A>(key).get());
    }

    pcom::Map* getWrapped() const noexcept { return m_wrapped; }

    InputIterator<EntryIterator<K, V>> begin() const {
        return InputIterator<EntryIterator<K, V>>(
            makeReference<EntryIterator<K, V>>(m_wrapped->createEntrySet()->createConstIterator()));
    }
    std::default_sentinel_t end() const noexcept { return {}; }

private:
    template <class T, class A>
    static Reference<T> handedOver(const A& element) {
        if constexpr (PointerFor<A, T>)
            return element;
        else
            return newElement<T>(element);
    }

    const Reference<pcom::Map> m_wrapped;
};

} // namespace qx::collections
