#include "qx/net/uri/URI.h"

#include <algorithm>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/Number.h>
#include <qx/core/detail/UnitSearch.h>
#include <qx/net/uri/detail/QueryPairs.h>

namespace qx::net {

namespace {

using qx::detail::findUnit;

/// Place of @p unit from @p start on; npos without one.
size_t findFrom(std::u16string_view text, char16_t unit, size_t start) {
    if (start >= text.size())
        return text.npos;
    const size_t place = findUnit(text.substr(start), unit);
    return place == text.npos ? place : start + place;
}

/// The description is empty, so that all is in the detail.
[[noreturn]] void throwAbsent(TextView component) {
    throw withDetail(Exception(), String(u"the URI has no ").append(component));
}

const std::optional<String>& required(const std::optional<String>& component,
                                      const char16_t* name) {
    if (!component)
        throwAbsent(name);
    return component;
}

} // namespace

URI::URI() = default;

URI::URI(const String& text) {
    if (const QueryText query = readUri(m_parts, text.view(), false))
        readQuery(*query, false);
}

URI::URI(const URI& other)
    : Object(other), m_parts(other.m_parts),
      m_query(other.m_query ? std::make_unique<detail::QueryPairs>(*other.m_query) : nullptr) {}

URI& URI::operator=(const URI& other) {
    URI copy(other);
    std::swap(m_parts, copy.m_parts);
    m_query.swap(copy.m_query);
    return *this;
}

URI::~URI() = default;

void URI::setUri(const String& text, bool escape) {
    const String held(text);
    Parts parts(m_parts);
    const QueryText query = readUri(parts, held.view(), escape);
    setParts(std::move(parts), query, escape);
}

String URI::toString() const {
    String text;
    if (hasScheme())
        text.append(*m_parts.scheme).append(u':');
    if (hasSchemeSpecificPart())
        printSchemeSpecificPart(text, false);
    return text;
}

void URI::removeAll() {
    removeScheme();
    removeSchemeSpecificPart();
}

String URI::getScheme() const { return get(required(m_parts.scheme, u"scheme"), false); }

void URI::setScheme(const String& scheme) { m_parts.scheme = String(scheme.view()); }

void URI::removeScheme() { m_parts.scheme.reset(); }

String URI::getUser(bool unescape) const { return get(required(m_parts.user, u"user"), unescape); }

void URI::setUser(const String& user, bool escape) {
    put(m_parts.user, user.view(), escape, ESCAPE_AUTHORITY);
}

void URI::removeUser() { m_parts.user.reset(); }

String URI::getPassword(bool unescape) const {
    return get(required(m_parts.password, u"password"), unescape);
}

void URI::setPassword(const String& password, bool escape) {
    put(m_parts.password, password.view(), escape, ESCAPE_AUTHORITY);
}

void URI::removePassword() { m_parts.password.reset(); }

String URI::getUserInfo(bool unescape) const {
    if (!hasUser())
        throwAbsent(u"user");
    String text;
    printUserInfo(text, unescape);
    return text;
}

void URI::setUserInfo(const String& userInfo, bool escape) {
    const String held(userInfo);
    Parts parts(m_parts);
    readUserInfo(parts, held.view(), escape);
    m_parts = std::move(parts);
}

void URI::removeUserInfo() {
    removeUser();
    removePassword();
}

String URI::getHost(bool unescape) const { return get(required(m_parts.host, u"host"), unescape); }

String URI::getHostName() const {
    const String host = getHost(false);
    const bool isBracketed = host.startsWith(u"[") && host.endsWith(u"]");
    return getUnescapedString(isBracketed ? String(host.view().substr(1, host.view().size() - 2))
                                          : host);
}

void URI::setHost(const String& host, bool escape) {
    put(m_parts.host, host.view(), escape, ESCAPE_AUTHORITY);
}

void URI::removeHost() { m_parts.host.reset(); }

int URI::getPort() const {
    if (!hasPort())
        throwAbsent(u"port");
    return *m_parts.port;
}

void URI::setPort(int port) { m_parts.port = port; }

void URI::removePort() { m_parts.port.reset(); }

String URI::getAuthority(bool unescape) const {
    if (!hasAuthority())
        throwAbsent(u"authority");
    String text;
    printAuthority(text, unescape);
    return text;
}

void URI::setAuthority(const String& authority, bool escape) {
    const String held(authority);
    Parts parts(m_parts);
    readAuthority(parts, held.view(), escape);
    m_parts = std::move(parts);
}

void URI::removeAuthority() {
    removeUserInfo();
    removeHost();
    removePort();
}

String URI::getPath(bool unescape) const { return get(required(m_parts.path, u"path"), unescape); }

void URI::setPath(const String& path, bool escape) {
    put(m_parts.path, path.view(), escape, ESCAPE_PATH);
}

void URI::removePath() { m_parts.path.reset(); }

String URI::getQuery(bool unescape) const {
    String text;
    printQuery(text, unescape);
    return text;
}

std::vector<URI::QueryPair> URI::getQueryPairs(bool unescape) const {
    std::vector<QueryPair> pairs;
    if (!m_query)
        return pairs;
    m_query->forEach([&](std::u16string_view key, std::u16string_view value) {
        QueryPair& pair = pairs.emplace_back(QueryPair{String(key), String(value)});
        if (unescape)
            pair = {getUnescapedString(pair.key), getUnescapedString(pair.value)};
    });
    return pairs;
}

void URI::setQuery(const String& query, bool escape) { readQuery(query.view(), escape); }

void URI::removeQuery() {
    if (m_query)
        m_query->clear();
    m_parts.hasQuery = false;
}

String URI::getQueryValue(const String& key, bool unescape) const {
    const auto value = m_query ? m_query->find(key) : std::nullopt;
    if (!value)
        throwAbsent(u"query value " + key);
    return get(Component(*value), unescape);
}

void URI::setQueryPair(const String& key, const String& value, bool escape) {
    if (escape) {
        queryPairs().put(getEscapedString(key.view(), ESCAPE_QUERY),
                         getEscapedString(value.view(), ESCAPE_QUERY));
    } else {
        queryPairs().put(key, value);
    }
    m_parts.hasQuery = true;
}

bool URI::hasQueryValue(const String& key) const { return m_query && m_query->find(key); }

void URI::removeQueryPair(const String& key) {
    if (m_query && m_query->removeLast(key))
        removeQuery();
}

String URI::getSchemeSpecificPart(bool unescape) const {
    String text;
    printSchemeSpecificPart(text, unescape);
    return text;
}

void URI::setSchemeSpecificPart(const String& part, bool escape) {
    const String held(part);
    Parts parts(m_parts);
    const QueryText query = readSchemeSpecificPart(parts, held.view(), escape);
    setParts(std::move(parts), query, escape);
}

bool URI::hasSchemeSpecificPart() const {
    return hasAuthority() || hasPath() || hasQuery() || isOpaque();
}

void URI::removeSchemeSpecificPart() {
    removeAuthority();
    removePath();
    removeQuery();
    m_parts.opaquePart.reset();
}

void URI::setFragment(const String&) {}

void URI::put(Component& component, std::u16string_view text, bool escape, ESCAPE_PART part) {
    component = escape ? getEscapedString(text, part) : String(text);
}

String URI::get(const Component& component, bool unescape) {
    if (!component)
        throw Exception();
    return unescape ? getUnescapedString(*component) : *component;
}

/// Changes the pairs before what cannot fail, so that either all is set or nothing.
void URI::setParts(Parts parts, QueryText query, bool escape) {
    if (query) {
        readQuery(*query, escape);
        parts.hasQuery = true;
    }
    m_parts = std::move(parts);
}

URI::QueryText URI::readUri(Parts& parts, std::u16string_view text, bool escape) {
    const size_t colon = findUnit(text, u':');
    if (colon != text.npos) {
        parts.scheme = String(text.substr(0, colon));
        text.remove_prefix(colon + 1);
    }
    return readSchemeSpecificPart(parts, text, escape);
}

// Where a path and a query begin is found from the start of the whole part: a "?" in front of the
// first "/" behind an authority is in both the authority and the query.
URI::QueryText URI::readSchemeSpecificPart(Parts& parts, std::u16string_view part, bool escape) {
    if (parts.scheme && !part.starts_with(u'/')) {
        parts.opaquePart = String(part);
        return {};
    }
    const size_t end = part.size();
    const bool hasAuthority = part.starts_with(u"//");
    const size_t authorityStart = hasAuthority ? 2 : 0;
    const size_t mark = findFrom(part, u'?', authorityStart);
    size_t split = 0;
    if (hasAuthority) {
        split = std::min(findFrom(part, u'/', authorityStart), end);
        if (split == end)
            split = std::min(mark, end);
        readAuthority(parts, part.substr(authorityStart, split - authorityStart), escape);
    }
    const bool hasSlash = part.starts_with(u'/');
    if (mark != 0 && (!hasSlash || (split != end && split != mark))) {
        const size_t pathStart = hasSlash ? split + 1 : 0;
        const size_t pathEnd = std::max(std::min(mark, end), pathStart);
        put(parts.path, part.substr(pathStart, pathEnd - pathStart), escape, ESCAPE_PATH);
    }
    if (mark == part.npos)
        return {};
    return part.substr(mark + 1);
}

void URI::readAuthority(Parts& parts, std::u16string_view authority, bool escape) {
    const size_t at = findUnit(authority, u'@');
    if (at != authority.npos) {
        readUserInfo(parts, authority.substr(0, at), escape);
        authority.remove_prefix(at + 1);
    }
    const size_t colon = findUnit(authority, u':');
    if (colon != authority.npos) {
        parts.port = Number::parseInt(authority.substr(colon + 1));
        authority = authority.substr(0, colon);
    }
    if (!authority.empty())
        put(parts.host, authority, escape, ESCAPE_AUTHORITY);
}

void URI::readUserInfo(Parts& parts, std::u16string_view userInfo, bool escape) {
    const size_t colon = findUnit(userInfo, u':');
    put(parts.user, userInfo.substr(0, colon), escape, ESCAPE_AUTHORITY);
    if (colon != userInfo.npos)
        put(parts.password, userInfo.substr(colon + 1), escape, ESCAPE_AUTHORITY);
}

void URI::readQuery(std::u16string_view query, bool escape) {
    if (escape)
        queryPairs().putText(getEscapedQuery(query).view());
    else
        queryPairs().putText(query);
    m_parts.hasQuery = true;
}

void URI::printSchemeSpecificPart(String& text, bool unescape) const {
    if (isOpaque()) {
        text.append(*m_parts.opaquePart);
        return;
    }
    if (hasAuthority()) {
        text.append(u"//");
        printAuthority(text, unescape);
    }
    if (hasPath())
        text.append(u'/').append(getPath(unescape));
    if (hasQuery()) {
        text.append(u'?');
        printQuery(text, unescape);
    }
}

void URI::printAuthority(String& text, bool unescape) const {
    if (hasUser()) {
        printUserInfo(text, unescape);
        text.append(u'@');
    }
    if (hasHost())
        text.append(getHost(unescape));
    if (hasPort())
        text.append(u':').append(*m_parts.port);
}

void URI::printUserInfo(String& text, bool unescape) const {
    text.append(getUser(unescape));
    if (hasPassword())
        text.append(u':').append(*m_parts.password);
}

void URI::printQuery(String& text, bool unescape) const {
    if (!m_query)
        return;
    m_query->print(text, [unescape](String& to, std::u16string_view value) {
        if (unescape)
            to.append(getUnescapedString(String(value)));
        else
            to.append(value);
    });
}

detail::QueryPairs& URI::queryPairs() {
    if (!m_query)
        m_query = std::make_unique<detail::QueryPairs>();
    return *m_query;
}

} // namespace qx::net
