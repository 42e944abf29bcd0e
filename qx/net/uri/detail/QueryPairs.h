#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include <qx/collections/Map.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/net/uri/QueryKey.h>
#include <qx/net/uri/detail/ShortQuery.h>

namespace qx::net::detail {

/// The query of a URI: pairs of key and value in the order of a hash map, each in escaped form.
///
/// A query text is kept as it is until its pairs are needed, since most URIs only pass through. A
/// short one is printed and looked up without a table.
class QueryPairs {
public:
    QueryPairs() = default;
    QueryPairs(const QueryPairs& other);
    QueryPairs& operator=(const QueryPairs&) = delete;

    /// Keeps the order of pairs that are put from now on. Called before the first one.
    void keepOrder() { m_keepsOrder = true; }
    /// Puts the pairs of a query text: linear in its length, whatever the keys are.
    void putText(std::u16string_view text);
    void put(const String& key, const String& value);
    /// The value of @p key until the next change; nothing when there is none.
    std::optional<std::u16string_view> find(const String& key) const;
    /// Removes a pair. True when there was such a pair and it was the last one.
    bool removeLast(const String& key);
    /// Removes all pairs. A table that has grown stays as long as it is.
    void clear();
    /// Calls @p visit (key, value) for each pair: in the order of the hash map, or each that was
    /// put where the order is kept.
    template <class Visit>
    void forEach(Visit&& visit) const {
        if (m_ordered) {
            for (const auto& [key, value] : *m_ordered)
                visit(key.view(), value.view());
        } else if (m_keepsOrder) {
            forEachPiece(m_unread.view(), visit);
        } else if (const auto query = shortQuery()) {
            query->forEach(visit);
        } else {
            for (const auto& [key, value] : table())
                visit(key->view(), value->view());
        }
    }
    /// Appends "key=value" of each pair, joined by "&", to @p text; @p append (text, value) appends
    /// the form in which a value is printed.
    template <class Append>
    void print(String& text, Append&& append) const {
        const char16_t* separator = u"";
        forEach([&](std::u16string_view key, std::u16string_view value) {
            append(text.append(separator).append(key).append(u'='), value);
            separator = u"&";
        });
    }

private:
    using Map = collections::Map<QueryKey, String>;

    std::optional<ShortQuery> shortQuery() const;
    Map& table() const;
    void readMany(std::u16string_view text) const;
    void makeOrdered() const;

    /// Null until it is needed.
    mutable Reference<Map> m_pairs;
    /// Text of pairs that are still to be put.
    mutable String m_unread;
    bool m_keepsOrder = false;
    /// Where the order is kept, all pairs, a key as often as texts have it. Nothing as long as all
    /// of them are in the unread text.
    mutable std::optional<std::vector<std::pair<QueryKey, String>>> m_ordered;
};

} // namespace qx::net::detail
