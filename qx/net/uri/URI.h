#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include <qx/core/AnyText.h>
#include <qx/core/Object.h>
#include <qx/core/String.h>
#include <qx/core/TextView.h>
#include <qx/platform/export.h>

namespace qx::net {

namespace detail {
class QueryPairs;
}

/// A URI as its components: scheme, user, password, host, port, path and query pairs, or an opaque
/// part behind the scheme ("urn:x-demo").
///
///     qx::net::URI uri(u"svc://u@h:8080/a/b?x=1&y=2"_qs);
///     uri.setQueryPair(u"name"_qs, u"x y"_qs, true);
///
/// Components are kept in escaped form: "%" and two hexadecimal digits for each byte of UTF-8 that
/// must not stand for itself. With @p escape a setter escapes what it is given, else it takes it
/// unchanged; with @p unescape a getter gives the text without escapes, else as it is kept. A
/// setter makes its component present. The getter of an absent component throws Exception with an
/// empty description, so ask with has...() first; its detail, and so what(), says which.
///
/// The constructor and the setters make some URI of any text; parse is for a text from outside,
/// refuses what is no URI and knows IPv6 addresses. Only half a surrogate pair cannot be escaped:
/// it raises text::charset::InvalidCharacterException. A setter that throws changes nothing. There
/// are no fragments: "#" is a unit like any other. Paths are not normalised and relative
/// references not resolved. Every operation is linear in the length of its text, or nearly so. A
/// URI is used by one thread at a time.
class QX_API URI : public Object {
public:
    class ParseResult;
    /// A key and a value of the query.
    struct QueryPair {
        String key;
        String value;
    };

    /// Without any component.
    URI();
    /// setUri (text, false)
    explicit URI(const String& text);
    /// The same for a text in another form, UTF-8 among them, as all members below that are
    /// templates.
    explicit URI(const OtherText auto& text) : URI(stringOf(text)) {}
    /// A copy with pairs of its own, in the same order.
    URI(const URI& other);
    URI& operator=(const URI& other);
    ~URI() override;

    /// Reads a whole URI and refuses a text that is none. Throws only for want of memory.
    ///
    ///     if (const auto uri = qx::net::URI::parse(text))
    ///         connect(uri->getHostName(), uri->hasPort() ? uri->getPort() : 80);
    ///     else
    ///         complain(uri.getReason()); // "a port has digits only, at position 9"
    ///
    /// The text is in escaped form: what the setters always escape is refused, and so is "%"
    /// without two hexadecimal digits. A scheme is a letter, then letters, digits, "+", "-" and
    /// "."; a text without one begins with "/" or "?". Behind "//" stands the authority, up to the
    /// first "/" or "?", and in it a host, unless a path follows at once ("file:///etc"). An IPv6
    /// address stands in brackets, which belong to the host, and may end with "%25" and a zone. A
    /// port has digits only and is at most 65535. What would not be kept is refused: a fragment, an
    /// empty port, a path that begins with "//" without a host in front.
    ///
    /// The URI keeps the order of its pairs from then on: they are printed as they stand in the
    /// text, repeated keys each time. setQuery adds pairs behind them; setQueryPair changes the
    /// first pair of its key and removes the others of that key, in time linear in the number of
    /// pairs.
    [[nodiscard]] static ParseResult parse(TextView text);
    [[nodiscard]] static ParseResult parse(const Utf8Text auto& text);

    /// Sets the components that @p text has and adds its query pairs; other components stay.
    ///
    /// What stands before the first ":" is the scheme, whatever its units are. Behind "//" stands
    /// the authority, up to the first "/" or, without one, the first "?". The path follows, without
    /// its leading "/", up to the first "?"; then the query.
    void setUri(const String& text, bool escape);
    void setUri(const OtherText auto& text, bool escape) { setUri(stringOf(text), escape); }
    /// The text of all components. A path is printed with a leading "/".
    String toString() const override;
    /// Makes every component absent.
    void removeAll();

    /// Never escaped.
    String getScheme() const;
    void setScheme(const String& scheme);
    void setScheme(const OtherText auto& scheme) { setScheme(stringOf(scheme)); }
    bool hasScheme() const { return m_parts.scheme.has_value(); }
    void removeScheme();

    /// What stands before "@", without the password.
    String getUser(bool unescape) const;
    void setUser(const String& user, bool escape);
    void setUser(const OtherText auto& user, bool escape) { setUser(stringOf(user), escape); }
    bool hasUser() const { return m_parts.user.has_value(); }
    void removeUser();

    /// What stands behind the ":" of the user information; printed only where there is a user.
    String getPassword(bool unescape) const;
    void setPassword(const String& password, bool escape);
    void setPassword(const OtherText auto& password, bool escape) {
        setPassword(stringOf(password), escape);
    }
    bool hasPassword() const { return m_parts.password.has_value(); }
    void removePassword();

    /// The user, then ":" and the password if there is one, which is never unescaped here.
    String getUserInfo(bool unescape) const;
    /// Splits at the first ":". Without one the password stays as it is.
    void setUserInfo(const String& userInfo, bool escape);
    void setUserInfo(const OtherText auto& userInfo, bool escape) {
        setUserInfo(stringOf(userInfo), escape);
    }
    bool hasUserInfo() const { return hasUser(); }
    void removeUserInfo();

    /// A name or an address, one of IPv6 with its brackets.
    String getHost(bool unescape) const;
    void setHost(const String& host, bool escape);
    void setHost(const OtherText auto& host, bool escape) { setHost(stringOf(host), escape); }
    /// The host as resolvers take it: unescaped, and an IPv6 address without its brackets.
    String getHostName() const;
    bool hasHost() const { return m_parts.host.has_value(); }
    void removeHost();

    int getPort() const;
    /// Takes any number as it is, also one that parse refuses and no connection has.
    void setPort(int port);
    bool hasPort() const { return m_parts.port.has_value(); }
    void removePort();

    /// User information, host and port. Present when there is a host or a user.
    String getAuthority(bool unescape) const;
    /// Behind the first "@" stands the host and behind its first ":" the port, which is read as
    /// Number::parseInt reads it.
    void setAuthority(const String& authority, bool escape);
    void setAuthority(const OtherText auto& authority, bool escape) {
        setAuthority(stringOf(authority), escape);
    }
    bool hasAuthority() const { return hasHost() || hasUser(); }
    void removeAuthority();

    /// Without the leading "/".
    String getPath(bool unescape) const;
    void setPath(const String& path, bool escape);
    void setPath(const OtherText auto& path, bool escape) { setPath(stringOf(path), escape); }
    bool hasPath() const { return m_parts.path.has_value(); }
    void removePath();

    /// The pairs as "key=value", joined by "&", in the order of a hash map, or as they were put
    /// where parse made the URI; only values are unescaped. Empty without a query.
    String getQuery(bool unescape) const;
    /// The pairs in the same order; keys are unescaped too.
    std::vector<QueryPair> getQueryPairs(bool unescape) const;
    /// Adds the pairs of a text, separated by "&". A piece without "=" is key and value at once;
    /// the empty text has no pair. Keys that differ only in letter case are one: it keeps its first
    /// spelling and takes the last value.
    void setQuery(const String& query, bool escape);
    void setQuery(const OtherText auto& query, bool escape) { setQuery(stringOf(query), escape); }
    bool hasQuery() const { return m_parts.hasQuery; }
    void removeQuery();

    /// @param key  as it is kept, that is, escaped; in any letter case
    String getQueryValue(const String& key, bool unescape) const;
    String getQueryValue(const OtherText auto& key, bool unescape) const {
        return getQueryValue(stringOf(key), unescape);
    }
    /// @p escape is for both.
    void setQueryPair(const String& key, const String& value, bool escape);
    template <class Key, class Value>
    requires OtherText<Key, Value>
    void setQueryPair(const Key& key, const Value& value, bool escape) {
        setQueryPair(stringOf(key), stringOf(value), escape);
    }
    bool hasQueryValue(const String& key) const;
    bool hasQueryValue(const OtherText auto& key) const { return hasQueryValue(stringOf(key)); }
    /// Without a pair left there is no query.
    void removeQueryPair(const String& key);
    void removeQueryPair(const OtherText auto& key) { removeQueryPair(stringOf(key)); }

    /// Everything behind the scheme and its ":"; empty when there is nothing.
    String getSchemeSpecificPart(bool unescape) const;
    /// Reads authority, path and query. A text that does not begin with "/" behind a scheme is kept
    /// whole instead, never escaped, and is what the URI prints from then on.
    void setSchemeSpecificPart(const String& part, bool escape);
    void setSchemeSpecificPart(const OtherText auto& part, bool escape) {
        setSchemeSpecificPart(stringOf(part), escape);
    }
    bool hasSchemeSpecificPart() const;
    void removeSchemeSpecificPart();
    bool isOpaque() const { return m_parts.opaquePart.has_value(); }

    /// No fragment is stored: always empty.
    String getFragment() const { return String(); }
    /// Does nothing.
    void setFragment(const String& fragment);
    bool hasFragment() const { return false; }

private:
    /// Which units are escaped beside those that always are.
    enum ESCAPE_PART {
        ESCAPE_AUTHORITY = 0,
        ESCAPE_PATH = 1,
        ESCAPE_QUERY = 2,
    };
    /// In escaped form; nothing when it is absent.
    using Component = std::optional<String>;
    /// All but the pairs of the query.
    struct Parts {
        Component scheme;
        Component user;
        Component password;
        Component host;
        std::optional<int32_t> port;
        /// Without its leading "/".
        Component path;
        bool hasQuery = false;
        Component opaquePart;
    };
    using QueryText = std::optional<std::u16string_view>;

    static String getEscapedString(std::u16string_view text, ESCAPE_PART part);
    static String getUnescapedString(const String& text);
    static String getEscapedQuery(std::u16string_view query);
    static void put(Component& component, std::u16string_view text, bool escape, ESCAPE_PART part);
    static String get(const Component& component, bool unescape);
    /// These set the components that a text has, and give its query where it has one.
    static QueryText readUri(Parts& parts, std::u16string_view text, bool escape);
    static QueryText readSchemeSpecificPart(Parts& parts, std::u16string_view part, bool escape);
    static void readAuthority(Parts& parts, std::u16string_view authority, bool escape);
    static void readUserInfo(Parts& parts, std::u16string_view userInfo, bool escape);
    void readQuery(std::u16string_view query, bool escape);
    void setParts(Parts parts, QueryText query, bool escape);
    void printSchemeSpecificPart(String& text, bool unescape) const;
    void printAuthority(String& text, bool unescape) const;
    void printUserInfo(String& text, bool unescape) const;
    void printQuery(String& text, bool unescape) const;
    detail::QueryPairs& queryPairs();

    Parts m_parts;
    /// The pairs. Null until there is a query; empty, but with the table that they had, once they
    /// are removed.
    std::unique_ptr<detail::QueryPairs> m_query;
};

/// What URI::parse makes of a text: the URI, or the reason why it is none.
class QX_API URI::ParseResult {
public:
    /// True when there is a URI.
    explicit operator bool() const noexcept { return m_uri.has_value(); }

    /// The URI.
    /// @throws Exception with the reason as its description when the text was refused
    const URI& value() const&;
    URI& value() & { return const_cast<URI&>(std::as_const(*this).value()); }
    URI value() && { return value(); }
    /// The URI, or @p fallback when the text was refused.
    URI valueOr(const URI& fallback) const { return m_uri.value_or(fallback); }
    const URI& operator*() const& { return value(); }
    URI& operator*() & { return value(); }
    URI operator*() && { return value(); }
    const URI* operator->() const { return &value(); }
    URI* operator->() { return &value(); }

    /// What is wrong and where, with at most one unit of the text, which may hold a password; empty
    /// when there is a URI.
    const String& getReason() const noexcept { return m_reason; }
    /// Units in front of what is wrong; -1 when there is a URI.
    int32_t getPosition() const noexcept { return m_position; }

private:
    friend class URI;

    std::optional<URI> m_uri;
    String m_reason;
    int32_t m_position = -1;
};

URI::ParseResult URI::parse(const Utf8Text auto& text) { return parse(AnyText(text).view()); }

} // namespace qx::net

using CQXURI = qx::net::URI;
