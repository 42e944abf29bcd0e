#include "qx/net/uri/detail/QueryPairs.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include <qx/collections/pcom/HashMap.h>

namespace qx::net::detail {

namespace {

using collections::pcom::HashMap;

using Map = collections::Map<QueryKey, String>;

HashMap& hashMapOf(Map& map) { return dynamic_cast<HashMap&>(*map.getWrapped()); }

Reference<Map> newTable(int capacity = HashMap::DEFAULT_CAPACITY) {
    return makeReference<Map>(makeReference<HashMap>(capacity));
}

/// A table as long, filled from the end: keys that share a bucket keep their order.
Reference<Map> copyOf(Map& from) {
    auto copy = newTable(hashMapOf(from).getCapacity());
    using Pair = std::pair<Reference<QueryKey>, Reference<String>>;
    std::vector<Pair> pairs;
    pairs.reserve(static_cast<size_t>(from.getSize()));
    for (const Pair& pair : from)
        pairs.push_back(pair);
    HashMap& table = hashMapOf(*copy);
    for (auto pair = pairs.rbegin(); pair != pairs.rend(); ++pair) {
        const auto value = makeReference<String>(*pair->second);
        table.putNew(pair->first->GetUnknown(), value->GetUnknown());
    }
    return copy;
}

} // namespace

QueryPairs::QueryPairs(const QueryPairs& other)
    : m_pairs(other.m_pairs ? copyOf(*other.m_pairs) : nullptr), m_unread(other.m_unread),
      m_ordered(other.m_ordered) {}

void QueryPairs::putText(std::u16string_view text) {
    if (!m_unread.isEmpty())
        table();
    m_unread = text;
    if (m_ordered) {
        forEachPiece(text, [&](std::u16string_view key, std::u16string_view value) {
            m_ordered->emplace_back(key, value);
        });
    }
}

void QueryPairs::put(const String& key, const String& value) {
    // Not the texts themselves: they may lie in memory that somebody else changes.
    table().put(makeReference<QueryKey>(key.view()), makeReference<String>(value.view()));
    if (!m_ordered)
        return;
    const QueryKey sought(key);
    const auto isSought = [&](const auto& pair) { return pair.first.equals(sought); };
    const auto first = std::find_if(m_ordered->begin(), m_ordered->end(), isSought);
    if (first == m_ordered->end()) {
        m_ordered->emplace_back(key.view(), value.view());
    } else {
        first->second = value;
        m_ordered->erase(std::remove_if(first + 1, m_ordered->end(), isSought), m_ordered->end());
    }
}

std::optional<std::u16string_view> QueryPairs::find(const String& key) const {
    if (const auto query = shortQuery(); query && ShortQuery::isAscii(key.view()))
        return query->find(key.view());
    const QueryKey sought(key);
    const Reference<String> value = table().get(&sought);
    return value ? std::optional(value->view()) : std::nullopt;
}

bool QueryPairs::removeLast(const String& key) {
    const QueryKey sought(key);
    if (m_ordered)
        std::erase_if(*m_ordered, [&](const auto& pair) { return pair.first.equals(sought); });
    return table().remove(&sought) && table().isEmpty();
}

void QueryPairs::clear() {
    if (m_ordered)
        m_ordered->clear();
    if (!shortQuery() && hashMapOf(table()).getCapacity() != HashMap::DEFAULT_CAPACITY)
        return m_pairs->clear();
    m_pairs.reset(); // so that a short text needs none again
    m_unread = String();
}

/// The unread text, when it is all there is and short.
std::optional<ShortQuery> QueryPairs::shortQuery() const {
    const std::u16string_view text = m_unread.view();
    return !m_pairs && ShortQuery::isShort(text) ? std::optional<ShortQuery>(text) : std::nullopt;
}

/// The pairs, with those of the unread text.
QueryPairs::Map& QueryPairs::table() const {
    if (!m_pairs)
        m_pairs = newTable();
    if (!m_unread.isEmpty()) {
        const std::u16string_view text = m_unread.view();
        if (ShortQuery::hasFewPieces(text)) {
            forEachPiece(text, [&](std::u16string_view key, std::u16string_view value) {
                m_pairs->put(makeReference<QueryKey>(key), makeReference<String>(value));
            });
        } else {
            readMany(text);
        }
        m_unread = String();
    }
    return *m_pairs;
}

/// The same result by way of an ordered index. Whoever writes the text may choose keys that share
/// one hash, and a table that compares each with all before it would take forever.
void QueryPairs::readMany(std::u16string_view text) const {
    HashMap& table = hashMapOf(*m_pairs);
    std::map<std::u16string_view, Reference<String>> values;
    for (const auto& [key, value] : *m_pairs)
        values.emplace(key->getLowerCase().view(), value);
    forEachPiece(text, [&](std::u16string_view keyText, std::u16string_view valueText) {
        const auto key = makeReference<QueryKey>(keyText);
        const auto [place, isNew] = values.try_emplace(key->getLowerCase().view());
        if (isNew) {
            place->second = makeReference<String>(valueText);
            table.putNew(key->GetUnknown(), place->second->GetUnknown());
        } else {
            *place->second = valueText;
        }
    });
}

} // namespace qx::net::detail
