#include "qx/net/uri/URI.h"

#include <algorithm>

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

void clear(String& component, bool& isPresent) {
    component = String();
    isPresent = false;
}

} // namespace

URI::URI() = default;

URI::URI(const String& text) { setUri(text, false); }

URI::URI(const URI& other)
    : Object(other), m_scheme(other.m_scheme), m_user(other.m_user), m_password(other.m_password),
      m_host(other.m_host), m_path(other.m_path), m_opaquePart(other.m_opaquePart),
      m_port(other.m_port), m_hasScheme(other.m_hasScheme), m_hasUser(other.m_hasUser),
      m_hasPassword(other.m_hasPassword), m_hasHost(other.m_hasHost), m_hasPort(other.m_hasPort),
      m_hasPath(other.m_hasPath), m_hasQuery(other.m_hasQuery), m_isOpaque(other.m_isOpaque),
      m_query(other.m_query ? std::make_unique<detail::QueryPairs>(*other.m_query) : nullptr) {}

URI& URI::operator=(const URI& other) {
    URI copy(other);
    m_scheme.swap(copy.m_scheme);
    m_user.swap(copy.m_user);
    m_password.swap(copy.m_password);
    m_host.swap(copy.m_host);
    m_path.swap(copy.m_path);
    m_opaquePart.swap(copy.m_opaquePart);
    m_port = copy.m_port;
    m_hasScheme = copy.m_hasScheme;
    m_hasUser = copy.m_hasUser;
    m_hasPassword = copy.m_hasPassword;
    m_hasHost = copy.m_hasHost;
    m_hasPort = copy.m_hasPort;
    m_hasPath = copy.m_hasPath;
    m_hasQuery = copy.m_hasQuery;
    m_isOpaque = copy.m_isOpaque;
    m_query.swap(copy.m_query);
    return *this;
}

URI::~URI() = default;

void URI::setUri(const String& text, bool escape) {
    const String held(text);
    std::u16string_view rest = held.view();
    const size_t colon = findUnit(rest, u':');
    if (colon != rest.npos) {
        m_scheme = rest.substr(0, colon);
        m_hasScheme = true;
        rest.remove_prefix(colon + 1);
    }
    readSchemeSpecificPart(rest, escape);
}

String URI::toString() const {
    String text;
    if (m_hasScheme)
        text.append(m_scheme).append(u':');
    if (hasSchemeSpecificPart())
        printSchemeSpecificPart(text, false);
    return text;
}

void URI::removeAll() {
    removeScheme();
    removeSchemeSpecificPart();
}

String URI::getScheme() const { return get(m_scheme, m_hasScheme, false); }

void URI::setScheme(const String& scheme) {
    m_scheme = scheme;
    m_hasScheme = true;
}

void URI::removeScheme() { clear(m_scheme, m_hasScheme); }

String URI::getUser(bool unescape) const { return get(m_user, m_hasUser, unescape); }

void URI::setUser(const String& user, bool escape) {
    put(m_user, m_hasUser, user.view(), escape, ESCAPE_AUTHORITY);
}

void URI::removeUser() { clear(m_user, m_hasUser); }

String URI::getPassword(bool unescape) const { return get(m_password, m_hasPassword, unescape); }

void URI::setPassword(const String& password, bool escape) {
    put(m_password, m_hasPassword, password.view(), escape, ESCAPE_AUTHORITY);
}

void URI::removePassword() { clear(m_password, m_hasPassword); }

String URI::getUserInfo(bool unescape) const {
    if (!m_hasUser)
        throw Exception();
    String text;
    printUserInfo(text, unescape);
    return text;
}

void URI::setUserInfo(const String& userInfo, bool escape) {
    const String held(userInfo);
    readUserInfo(held.view(), escape);
}

void URI::removeUserInfo() {
    removeUser();
    removePassword();
}

String URI::getHost(bool unescape) const { return get(m_host, m_hasHost, unescape); }

void URI::setHost(const String& host, bool escape) {
    put(m_host, m_hasHost, host.view(), escape, ESCAPE_AUTHORITY);
}

void URI::removeHost() { clear(m_host, m_hasHost); }

int URI::getPort() const {
    if (!m_hasPort)
        throw Exception();
    return m_port;
}

void URI::setPort(int port) {
    m_port = port;
    m_hasPort = true;
}

void URI::removePort() {
    m_port = -1;
    m_hasPort = false;
}

String URI::getAuthority(bool unescape) const {
    if (!hasAuthority())
        throw Exception();
    String text;
    printAuthority(text, unescape);
    return text;
}

void URI::setAuthority(const String& authority, bool escape) {
    const String held(authority);
    readAuthority(held.view(), escape);
}

void URI::removeAuthority() {
    removeUserInfo();
    removeHost();
    removePort();
}

String URI::getPath(bool unescape) const { return get(m_path, m_hasPath, unescape); }

void URI::setPath(const String& path, bool escape) {
    put(m_path, m_hasPath, path.view(), escape, ESCAPE_PATH);
}

void URI::removePath() { clear(m_path, m_hasPath); }

String URI::getQuery(bool unescape) const {
    String text;
    printQuery(text, unescape);
    return text;
}

void URI::setQuery(const String& query, bool escape) { readQuery(query.view(), escape); }

void URI::removeQuery() {
    if (m_query)
        m_query->clear();
    m_hasQuery = false;
}

String URI::getQueryValue(const String& key, bool unescape) const {
    const auto value = m_query ? m_query->get(key) : std::nullopt;
    if (!value)
        throw Exception();
    return get(*value, true, unescape);
}

void URI::setQueryPair(const String& key, const String& value, bool escape) {
    if (escape) {
        queryPairs().put(getEscapedString(key.view(), ESCAPE_QUERY),
                         getEscapedString(value.view(), ESCAPE_QUERY));
    } else {
        queryPairs().put(key, value);
    }
    m_hasQuery = true;
}

bool URI::hasQueryValue(const String& key) const { return m_query && m_query->contains(key); }

void URI::removeQueryPair(const String& key) {
    if (m_query && m_query->remove(key) && m_query->isEmpty())
        removeQuery();
}

String URI::getSchemeSpecificPart(bool unescape) const {
    String text;
    printSchemeSpecificPart(text, unescape);
    return text;
}

void URI::setSchemeSpecificPart(const String& part, bool escape) {
    const String held(part);
    readSchemeSpecificPart(held.view(), escape);
}

bool URI::hasSchemeSpecificPart() const {
    return m_hasHost || m_hasUser || m_hasPath || m_hasQuery || m_isOpaque;
}

void URI::removeSchemeSpecificPart() {
    removeAuthority();
    removePath();
    removeQuery();
    clear(m_opaquePart, m_isOpaque);
}

void URI::setFragment(const String&) {}

void URI::put(String& component, bool& isPresent, std::u16string_view text, bool escape,
              ESCAPE_PART part) {
    if (escape)
        component = getEscapedString(text, part);
    else
        component = text;
    isPresent = true;
}

String URI::get(const String& component, bool isPresent, bool unescape) {
    if (!isPresent)
        throw Exception();
    return unescape ? getUnescapedString(component) : component;
}

// Where a path and a query begin is found from the start of the whole part: a "?" in front of the
// first "/" behind an authority is in both the authority and the query.
void URI::readSchemeSpecificPart(std::u16string_view part, bool escape) {
    if (m_hasScheme && !part.starts_with(u'/')) {
        m_opaquePart = part;
        m_isOpaque = true;
        return;
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
        readAuthority(part.substr(authorityStart, split - authorityStart), escape);
    }
    const bool hasSlash = part.starts_with(u'/');
    if (mark != 0 && (!hasSlash || (split != end && split != mark))) {
        const size_t pathStart = hasSlash ? split + 1 : 0;
        const size_t pathEnd = std::max(std::min(mark, end), pathStart);
        put(m_path, m_hasPath, part.substr(pathStart, pathEnd - pathStart), escape, ESCAPE_PATH);
    }
    if (mark != part.npos)
        readQuery(part.substr(mark + 1), escape);
}

void URI::readAuthority(std::u16string_view authority, bool escape) {
    const size_t at = findUnit(authority, u'@');
    if (at != authority.npos) {
        readUserInfo(authority.substr(0, at), escape);
        authority.remove_prefix(at + 1);
    }
    const size_t colon = findUnit(authority, u':');
    if (colon != authority.npos) {
        setPort(Number::parseInt(authority.substr(colon + 1)));
        authority = authority.substr(0, colon);
    }
    if (!authority.empty())
        put(m_host, m_hasHost, authority, escape, ESCAPE_AUTHORITY);
}

void URI::readUserInfo(std::u16string_view userInfo, bool escape) {
    const size_t colon = findUnit(userInfo, u':');
    put(m_user, m_hasUser, userInfo.substr(0, colon), escape, ESCAPE_AUTHORITY);
    if (colon != userInfo.npos)
        put(m_password, m_hasPassword, userInfo.substr(colon + 1), escape, ESCAPE_AUTHORITY);
}

void URI::readQuery(std::u16string_view query, bool escape) {
    if (!query.empty()) {
        if (escape)
            queryPairs().putText(getEscapedQuery(query).view());
        else
            queryPairs().putText(query);
    }
    m_hasQuery = true;
}

void URI::printSchemeSpecificPart(String& text, bool unescape) const {
    if (m_isOpaque) {
        text.append(m_opaquePart);
        return;
    }
    if (hasAuthority()) {
        text.append(u"//");
        printAuthority(text, unescape);
    }
    if (m_hasPath)
        text.append(u'/').append(getPath(unescape));
    if (m_hasQuery) {
        text.append(u'?');
        printQuery(text, unescape);
    }
}

void URI::printAuthority(String& text, bool unescape) const {
    if (m_hasUser) {
        printUserInfo(text, unescape);
        text.append(u'@');
    }
    if (m_hasHost)
        text.append(getHost(unescape));
    if (m_hasPort)
        text.append(u':').append(m_port);
}

void URI::printUserInfo(String& text, bool unescape) const {
    text.append(getUser(unescape));
    if (m_hasPassword)
        text.append(u':').append(m_password);
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
