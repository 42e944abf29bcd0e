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

using Ordered = std::vector<std::pair<QueryKey, String>>;

auto hasKey(const QueryKey& key) {
    return [&key](const Ordered::value_type& pair) { return pair.first.equals(key); };
}

struct Places {
    Ordered::iterator first;
    std::ptrdiff_t count = 0;
};

/// Where the first of the pairs with the key lies, or the end, and how many there are. The lower
/// case of all keys is made by that, so that comparing them again takes no memory.
Places placesOf(Ordered& pairs, const QueryKey& key) {
    const auto first = std::find_if(pairs.begin(), pairs.end(), hasKey(key));
    if (first == pairs.end())
        return {first};
    return {first, 1 + std::count_if(first + 1, pairs.end(), hasKey(key))};
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
      m_keepsOrder(other.m_keepsOrder), m_ordered(other.m_ordered) {}

void QueryPairs::putText(std::u16string_view text) {
    if (!m_unread.isEmpty())
        table();
    auto ordered = m_ordered; // most often empty
    if (ordered) {
        forEachPiece(text, [&](std::u16string_view key, std::u16string_view value) {
            ordered->emplace_back(key, value);
        });
    }
    m_unread = text;
    m_ordered.swap(ordered);
}

void QueryPairs::put(const String& key, const String& value) {
    // Not the texts themselves: they may lie in memory that somebody else changes.
    const auto ownKey = makeReference<QueryKey>(key.view());
    const auto ownValue = makeReference<String>(value.view());
    if (!m_keepsOrder) {
        table().put(ownKey, ownValue);
        return;
    }
    makeOrdered();
    const auto [first, count] = placesOf(*m_ordered, *ownKey);
    if (count == 0 && m_ordered->size() == m_ordered->capacity())
        m_ordered->reserve(2 * m_ordered->size() + 1);
    table().put(ownKey, ownValue);
    // What follows takes no memory, so that the table and the order always tell the same.
    if (count == 0) {
        m_ordered->emplace_back(*ownKey, *ownValue);
        return;
    }
    first->second.setAddRef(*ownValue);
    if (count > 1)
        m_ordered->erase(std::remove_if(first + 1, m_ordered->end(), hasKey(*ownKey)),
                         m_ordered->end());
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
    if (m_keepsOrder)
        makeOrdered();
    const Places places = m_ordered ? placesOf(*m_ordered, sought) : Places{};
    const bool isRemoved = table().remove(&sought) != nullptr;
    if (places.count == 1)
        m_ordered->erase(places.first);
    else if (places.count > 1)
        std::erase_if(*m_ordered, hasKey(sought));
    return isRemoved && m_pairs->isEmpty();
}

void QueryPairs::clear() {
    const bool hasGrown =
        !shortQuery() && hashMapOf(table()).getCapacity() != HashMap::DEFAULT_CAPACITY;
    m_ordered.reset();
    if (hasGrown)
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
        if (m_keepsOrder)
            makeOrdered();
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

/// Makes the list of the pairs in their order, which are all in the unread text until then.
void QueryPairs::makeOrdered() const {
    if (m_ordered)
        return;
    Ordered ordered;
    forEachPiece(m_unread.view(), [&](std::u16string_view key, std::u16string_view value) {
        ordered.emplace_back(key, value);
    });
    m_ordered = std::move(ordered);
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
