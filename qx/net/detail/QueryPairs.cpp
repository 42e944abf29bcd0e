#include "qx/net/detail/QueryPairs.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include <qx/collections/pcom/HashMap.h>
#include <qx/core/detail/UnitSearch.h>

namespace qx::net::detail {

namespace {

using collections::pcom::HashMap;

/// From so many pieces on a text is put with an index of its keys.
constexpr std::ptrdiff_t ManyPieces = 16;

/// Calls @p put (key, value) for each piece of a query text. A piece without "=" is both.
template <class Put>
void forEachPiece(std::u16string_view text, Put&& put) {
    for (bool isLast = false; !isLast;) {
        const size_t end = qx::detail::findUnit(text, u'&');
        const std::u16string_view piece = text.substr(0, end);
        const size_t equals = qx::detail::findUnit(piece, u'=');
        put(piece.substr(0, equals), equals == piece.npos ? piece : piece.substr(equals + 1));
        isLast = end == text.npos;
        if (!isLast)
            text.remove_prefix(end + 1);
    }
}

HashMap& tableOf(collections::Map<QueryKey, String>& map) {
    return dynamic_cast<HashMap&>(*map.getWrapped());
}

} // namespace

QueryPairs::QueryPairs(const QueryPairs& other) {
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
}

void QueryPairs::put(const String& key, const String& value) {
    read();
    pairs().put(makeReference<QueryKey>(key), makeReference<String>(value));
}

Reference<String> QueryPairs::get(const String& key) const {
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

QueryPairs::Map& QueryPairs::pairs() const {
    if (!m_pairs)
        m_pairs = makeReference<Map>(makeReference<HashMap>(101, 0.75F));
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
