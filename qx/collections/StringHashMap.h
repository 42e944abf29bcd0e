#pragma once

#include <initializer_list>
#include <string_view>
#include <utility>

#include <qx/collections/KeyedMap.h>
#include <qx/collections/Set.h>
#include <qx/core/AnyText.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>

namespace qx::collections {

/// Hash map from texts to objects. Keys are equal when they have the same units, with regard to
/// case; the hash of a key is its String::hashCode. The map keeps copies of the keys and hands them
/// out as std::u16string_view.
///
/// A caller hands a key in as a String or any other text, or as units with a length, where -1 means
/// up to the first 0 unit and null is the empty text. A String that cannot expose its units raises
/// ResultException.
class QX_API StringHashMap : public KeyedMap<TextEntry> {
public:
    using InitialElement = std::pair<String, Reference<Object>>;

    /// @param capacity  buckets, at least 1
    /// @param loadFactor  entries per bucket from which on the table grows, above 0
    /// @throws RangeErrorException when either is out of range
    explicit StringHashMap(int capacity = DEFAULT_CAPACITY, float loadFactor = DEFAULT_LOAD);
    /// Holds @p entries, of those with equal keys the last: StringHashMap{{u"http", port}}.
    StringHashMap(std::initializer_list<InitialElement> entries) : StringHashMap() {
        for (const auto& [key, value] : entries)
            StringHashMap::put(key, value);
    }
    ~StringHashMap() override;

    /// Keeps the number of buckets.
    virtual void clear();
    /// The value of the key; null for an absent key and for a key with a null value.
    virtual Reference<Object> get(const char16_t* key, int length) const;
    virtual Reference<Object> get(const String& key) const;
    /// What get returns, lent: good until the value is replaced or its key leaves the map.
    Object* peek(std::u16string_view key) const noexcept;
    virtual int getSize() const;
    /// False for a key with a null value.
    virtual bool containsKey(const char16_t* key, int length) const;
    virtual bool containsKey(const String& key) const;
    virtual bool isEmpty() const;
    /// Lets @p key lead to @p value and returns the previous value, null for a new key.
    /// @throws std::bad_alloc, or std::length_error when the table cannot have more buckets; the
    ///     map is then unchanged
    virtual Reference<Object> put(const String& key, Object* value);
    /// Removes @p key and returns its value; null for an absent key.
    virtual Reference<Object> remove(const String& key);

    Reference<Object> get(const OtherText auto& key) const {
        const AnyText text(key);
        return get(text.view().data(), lengthOf(text));
    }
    bool containsKey(const OtherText auto& key) const {
        const AnyText text(key);
        return containsKey(text.view().data(), lengthOf(text));
    }
    Reference<Object> put(const OtherText auto& key, Object* value) {
        const Reference<Object> owned(value);
        return put(stringOf(key), value);
    }
    Reference<Object> remove(const OtherText auto& key) { return remove(stringOf(key)); }

    /// As the operations for a String, but a text up to its 0 unit, such as a literal, is read
    /// where it is. Of a derived class the operations for a String are called.
    Reference<Object> get(const char16_t* key) const;
    bool containsKey(const char16_t* key) const;
    Reference<Object> put(const char16_t* key, Object* value);
    Reference<Object> remove(const char16_t* key);

    /// A new set of the keys as they are now.
    virtual Reference<const Set<String>> createKeySet() const;

private:
    static int lengthOf(const AnyText& text) { return static_cast<int>(text.view().size()); }
};

} // namespace qx::collections
