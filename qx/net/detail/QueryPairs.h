#pragma once

#include <cstdint>
#include <string_view>

#include <qx/collections/Map.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/net/QueryKey.h>

namespace qx::net::detail {

/// The query of a URI: pairs of key and value in the order of a hash map, each in escaped form.
///
/// A query text is kept as it is until a pair is asked for, since most URIs only pass through.
class QueryPairs {
public:
    QueryPairs() = default;
    QueryPairs(const QueryPairs& other);
    QueryPairs& operator=(const QueryPairs&) = delete;

    /// Puts the pairs of a query text: linear in its length, whatever the keys are.
    void putText(std::u16string_view text);
    void put(const String& key, const String& value);
    /// The value of @p key; null when there is none.
    Reference<String> get(const String& key) const;
    /// False when there is no such pair.
    bool remove(const String& key);
    bool isEmpty() const;
    /// Appends "key=value" of each pair, joined by "&", to @p text; @p printed gives the form in
    /// which a value is printed.
    template <class Print>
    void print(String& text, Print&& printed) const {
        const auto* const pairs = read();
        if (!pairs)
            return;
        const char16_t* separator = u"";
        for (const auto& [key, value] : *pairs) {
            text.append(separator).append(*key).append(u'=').append(printed(*value));
            separator = u"&";
        }
    }

private:
    using Map = collections::Map<QueryKey, String>;

    Map& pairs() const;
    Map* read() const;
    void readMany(std::u16string_view text) const;

    mutable Reference<Map> m_pairs;
    /// Text of pairs that are still to be put.
    mutable String m_unread;
};

} // namespace qx::net::detail
