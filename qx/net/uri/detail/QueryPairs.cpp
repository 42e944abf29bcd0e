#include "qx/net/uri/detail/QueryPairs.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include <qx/collections/pcom/HashMap.h>

namespace qx::net::detail {

namespace {

using collections::pcom::HashMap;

/// From so many pieces on a text is put with an index of its keys.
constexpr std::ptrdiff_t ManyPieces = ShortQuery::ManyPieces;

HashMap& tableOf(collections::Map<QueryKey, String>& map) {
    return dynamic_cast<HashMap&>(*map.getWrapped());
}

} // namespace

QueryPairs::QueryPairs(const QueryPairs& other) {
    if (other.m_isShort) {
        m_unread = other.m_unread;
        m_isShort = true;
        return;
    }
    auto* const from = other.read();
    if (!from)
        return;
    // A table as long, filled from the end: keys that share a bucket keep their order.
    m_pairs = makeReference<Map>(makeReference<HashMap>(tableOf(*from).getCapacity()));
    using Pair = std::pair<Reference<QueryKey>, Reference<String>>;
    std::vector<Pair> pairs;
    pairs.reserve(static_cast<size_t>(from->getSize()));
    for (const Pair& pair : *from)
        pairs.push_back(pair);
    HashMap& table = tableOf(*m_pairs);
    for (auto pair = pairs.rbegin(); pair != pairs.rend(); ++pair) {
        const auto value = makeReference<String>(*pair->second);
        table.putNew(pair->first->GetUnknown(), value->GetUnknown());
    }
}

void QueryPairs::putText(std::u16string_view text) {
    read();
    m_unread = text;
    m_isShort = !m_pairs && !text.empty() && ShortQuery::isShort(text);
}

void QueryPairs::put(const String& key, const String& value) {
    read();
    pairs().put(makeReference<QueryKey>(key), makeReference<String>(value));
}

std::optional<String> QueryPairs::get(const String& key) const {
    if (isShortFor(key)) {
        std::u16string_view value;
        return ShortQuery(m_unread.view()).find(key.view(), value) ? std::optional<String>(value)
                                                                   : std::nullopt;
    }
    const Reference<String> value = lookUp(key);
    return value ? std::optional<String>(*value) : std::nullopt;
}

bool QueryPairs::contains(const String& key) const {
    std::u16string_view value;
    return isShortFor(key) ? ShortQuery(m_unread.view()).find(key.view(), value)
                           : lookUp(key) != nullptr;
}

/// Whether @p key can be looked up without the table.
bool QueryPairs::isShortFor(const String& key) const {
    return m_isShort && ShortQuery::isAscii(key.view());
}

Reference<String> QueryPairs::lookUp(const String& key) const {
    const auto* const map = read();
    const QueryKey sought(key);
    return map ? map->get(&sought) : nullptr;
}

bool QueryPairs::remove(const String& key) {
    auto* const map = read();
    const QueryKey sought(key);
    return map && map->remove(&sought);
}

bool QueryPairs::isEmpty() const {
    const auto* const map = read();
    return !map || map->isEmpty();
}

void QueryPairs::clear() {
    if (m_isShort) {
        m_unread = String();
        m_isShort = false;
        return;
    }
    auto* const map = read();
    if (map && tableOf(*map).getCapacity() == HashMap::DEFAULT_CAPACITY)
        m_pairs.reset(); // so that a short text needs none again
    else if (map)
        map->clear();
}

QueryPairs::Map& QueryPairs::pairs() const {
    if (!m_pairs)
        m_pairs = makeReference<Map>(makeReference<HashMap>());
    return *m_pairs;
}

/// The pairs, with those of the unread text; null when there never were any.
QueryPairs::Map* QueryPairs::read() const {
    if (!m_unread.isEmpty()) {
        const std::u16string_view text = m_unread.view();
        if (std::count(text.begin(), text.end(), u'&') < ManyPieces) {
            forEachPiece(text, [&](std::u16string_view key, std::u16string_view value) {
                pairs().put(makeReference<QueryKey>(key), makeReference<String>(value));
            });
        } else {
            readMany(text);
        }
        m_unread = String();
        m_isShort = false;
    }
    return m_pairs;
}

/// The same result by way of an ordered index. Whoever writes the text may choose keys that share
/// one hash, and a table that compares each with all before it would take forever.
void QueryPairs::readMany(std::u16string_view text) const {
    HashMap& table = tableOf(pairs());
    std::map<std::u16string_view, Reference<String>> values;
    for (const auto& [key, value] : pairs())
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
