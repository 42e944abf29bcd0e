#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/net/uri/URI.h>

using qx::String;
using qx::net::URI;

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

/// The pairs of a query in an order of their own: a hash map gives back those of one bucket the
/// other way round.
std::vector<std::u16string> sortedPairs(const URI& uri) {
    const String query = uri.getQuery(false);
    std::vector<std::u16string> pairs(1);
    for (const char16_t unit : query.view()) {
        if (unit == u'&')
            pairs.emplace_back();
        else
            pairs.back() += unit;
    }
    std::ranges::sort(pairs);
    return pairs;
}

void requireSameButPairs(const URI& left, const URI& right) {
    require(left.hasScheme() == right.hasScheme() && left.hasUser() == right.hasUser() &&
            left.hasPassword() == right.hasPassword() && left.hasHost() == right.hasHost() &&
            left.hasPort() == right.hasPort() && left.hasPath() == right.hasPath() &&
            left.hasQuery() == right.hasQuery() && left.isOpaque() == right.isOpaque());
    require(!left.hasScheme() || left.getScheme() == right.getScheme());
    require(!left.hasUser() || left.getUserInfo(false) == right.getUserInfo(false));
    require(!left.hasHost() || left.getHost(false) == right.getHost(false));
    require(!left.hasPort() || left.getPort() == right.getPort());
    require(!left.hasPath() || left.getPath(false) == right.getPath(false));
}

void requireSame(const URI& left, const URI& right) {
    requireSameButPairs(left, right);
    require(sortedPairs(left) == sortedPairs(right));
}

/// True for a printed form whose start says what it is: not the path of a URI without authority
/// that looks like one, not nothing at all (which reads as an empty path), not an authority that a
/// "?" seems to end, and not a lost port.
bool isUnambiguous(const URI& uri) {
    if (uri.isOpaque())
        return true;
    if (!uri.hasAuthority()) {
        return !uri.hasPort() && (uri.hasPath() ? !uri.getPath(false).startsWith(u"/")
                                                : uri.hasQuery() && !uri.hasScheme());
    }
    if (uri.getAuthority(false).contains(u'?'))
        return false;
    // Without a path a "/" in the query ends the authority.
    return uri.hasPath() || !uri.getQuery(false).contains(u'/');
}

/// What was printed reads as what it was printed from.
void checkPrinting(const String& text) {
    const URI uri(text);
    const String printed = uri.toString();
    const URI copy(uri);
    require(copy.toString() == printed);
    if (isUnambiguous(uri))
        requireSame(uri, URI(printed));
}

/// True where setUri takes a ":" behind a "/" or "?" for the end of a scheme, a "/" in the query
/// for that of the authority, or a ":" in brackets for that of the host.
bool isReadOtherwise(const URI& parsed, const String& text) {
    return (!parsed.hasScheme() && text.contains(u':')) ||
           (parsed.hasHost() && parsed.getHost(false).startsWith(u"[")) ||
           (parsed.hasHost() && !parsed.hasPath() && parsed.getQuery(false).contains(u'/'));
}

/// What the strict reader accepts it prints and accepts again, and setUri reads the same.
void checkParsing(const String& text) {
    const auto parsed = URI::parse(text);
    if (!parsed) {
        require(!parsed.getReason().isEmpty());
        require(parsed.getPosition() >= 0 && parsed.getPosition() <= text.getLength());
        return;
    }
    const auto again = URI::parse(parsed->toString());
    require(again && again->toString() == parsed->toString());
    requireSame(*parsed, *again);
    if (isReadOtherwise(*parsed, text))
        return;
    const URI plain(text);
    requireSameButPairs(plain, *parsed);
    URI rebuilt;
    for (const auto& [key, value] : parsed->getQueryPairs(false)) {
        rebuilt.setQueryPair(key, value, false);
        require(plain.getQueryValue(key, false) == parsed->getQueryValue(key, false));
    }
    require(sortedPairs(plain) == sortedPairs(rebuilt));
}

/// In brackets stands what the system takes for an IPv6 address, but for zones.
void checkAddress(const String& text) {
    if (text.contains(u'%') || text.contains(u'\0'))
        return;
    in6_addr address;
    require(bool(URI::parse(u"x://[" + text + u"]")) ==
            (inet_pton(AF_INET6, text.toUtf8().c_str(), &address) == 1));
}

/// Escaped text is plain ASCII and reads as before.
void checkEscaping(const String& text) {
    try {
        URI uri;
        uri.setUser(text, true);
        uri.setPath(text, true);
        uri.setQueryPair(text, text, true);
        const String path = uri.getPath(false);
        require(
            std::ranges::all_of(path, [](char16_t unit) { return unit > 0x20 && unit < 0x7F; }));
        require(uri.getUser(true) == text && uri.getPath(true) == text);
        require(uri.getQuery(true).endsWith(text));
    } catch (const qx::Exception&) {
        require(std::ranges::any_of(text, [](char16_t unit) { return (unit & 0xF800) == 0xD800; }));
    }
}

/// Any text can be asked for its unescaped form, or is refused.
void checkUnescaping(const String& text) {
    try {
        URI uri;
        uri.setPath(text, false);
        require(uri.getPath(true).getLength() <= text.getLength());
    } catch (const qx::Exception&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    // Units from bytes, and, after a first byte of 0xFF, from pairs of bytes.
    std::u16string units(data, data + size);
    if (size > 0 && data[0] == 0xFF) {
        units.clear();
        for (std::size_t i = 1; i + 1 < size; i += 2)
            units += static_cast<char16_t>(data[i] | data[i + 1] << 8);
    }
    const String text(units);
    checkPrinting(text);
    checkParsing(text);
    checkAddress(text);
    checkEscaping(text);
    checkUnescaping(text);
    return 0;
}
