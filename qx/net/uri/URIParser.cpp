// The strict reader of URIs.

#include "qx/net/uri/URI.h"

#include <algorithm>
#include <cstddef>

#include <qx/core/Exception.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/net/uri/detail/EscapedForm.h>
#include <qx/net/uri/detail/QueryPairs.h>
#include <qx/platform/detail/HexDigits.h>

namespace qx::net {

namespace {

using Text = std::u16string_view;

constexpr uint32_t MostPort = 65535;

bool isDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

bool isLetter(char16_t unit) { return (unit | 0x20) >= u'a' && (unit | 0x20) <= u'z'; }

bool isOfScheme(char16_t unit) {
    return isLetter(unit) || isDigit(unit) || unit == u'+' || unit == u'-' || unit == u'.';
}

/// How many units at the start of @p text are @p isWanted.
template <class IsWanted>
size_t countOf(Text text, IsWanted isWanted) {
    return static_cast<size_t>(std::ranges::find_if_not(text, isWanted) - text.begin());
}

/// The number of @p digits; any above @p most when it is more than that.
uint32_t numberOf(Text digits, uint32_t most) {
    uint32_t number = 0;
    for (const char16_t digit : digits)
        number = std::min(number * 10 + (digit - u'0'), most + 1);
    return number;
}

/// Four decimal numbers below 256 without leading zeros, joined by ".".
bool isInet4(Text text) {
    for (int part = 0; part < 4; ++part) {
        if (part > 0) {
            if (!text.starts_with(u'.'))
                return false;
            text.remove_prefix(1);
        }
        const size_t length = countOf(text, isDigit);
        if (length == 0 || (length > 1 && text[0] == u'0') ||
            numberOf(text.substr(0, length), 255) > 255)
            return false;
        text.remove_prefix(length);
    }
    return text.empty();
}

/// Eight groups of up to four hexadecimal digits, joined by ":". "::" stands once for a group of
/// zeros or more, and an IPv4 address for the last two groups.
bool isInet6(Text text) {
    int groups = 0;
    bool hasGap = false;
    while (!text.empty()) {
        if (text.starts_with(u"::")) {
            if (hasGap)
                return false;
            hasGap = true;
            text.remove_prefix(2);
            if (text.empty())
                break;
        } else if (groups > 0) {
            text.remove_prefix(1); // the ":" at which the last group ended
        }
        if (isInet4(text)) {
            groups += 2;
            break;
        }
        const size_t length =
            countOf(text, [](char16_t unit) { return qx::platform::hexValue(unit) >= 0; });
        if (length == 0 || length > 4 || (length < text.size() && text[length] != u':'))
            return false;
        text.remove_prefix(length);
        ++groups;
    }
    return hasGap ? groups < 8 : groups == 8;
}

/// What stands in brackets: an IPv6 address, and perhaps an escaped "%" and the name of a zone.
bool isAddress(Text text) {
    const size_t zone = std::min(text.find(u'%'), text.size());
    const Text name = text.substr(zone);
    return isInet6(text.substr(0, zone)) &&
           (name.empty() || (name.size() > 3 && name.starts_with(u"%25") &&
                             detail::findUnescaped(name) == name.npos));
}

/// The same text, for a setter that copies it.
String wrapped(Text text) {
    return String(text.data(), String::AM_WRAP, static_cast<int32_t>(text.size()));
}

/// Reads a text into an empty URI. What returns false has noted the reason and the place.
class Parser {
public:
    Parser(Text text, URI& uri) : m_text(text), m_uri(uri) {}

    bool read() {
        Text rest = m_text;
        if (rest.empty())
            return refuse(rest, u"the text is empty");
        if (rest[0] != u'/' && rest[0] != u'?') {
            if (!readScheme(rest))
                return false;
            if (!rest.starts_with(u'/'))
                return readOpaquePart(rest);
        }
        if (rest.starts_with(u"//")) {
            rest.remove_prefix(2);
            const Text authority = rest.substr(0, rest.find_first_of(u"/?"));
            rest.remove_prefix(authority.size());
            if (!(authority.empty() && rest.starts_with(u'/')) && !readAuthority(authority))
                return false;
        }
        return readPathAndQuery(rest);
    }

    const String& getReason() const { return m_reason; }
    size_t getPosition() const { return m_position; }

private:
    bool refuse(Text place, TextView reason) {
        m_position = static_cast<size_t>(place.data() - m_text.data());
        m_reason.append(reason).append(u", at position ").append(m_position);
        return false;
    }

    bool isEscaped(Text component) {
        const size_t place = detail::findUnescaped(component);
        if (place == component.npos)
            return true;
        const Text rest = component.substr(place);
        if (rest[0] == u'#')
            return refuse(rest, u"\"#\": a fragment is not kept");
        if (rest[0] == u'%')
            return refuse(rest, u"two hexadecimal digits follow a \"%\"");
        if (rest[0] > u' ' && rest[0] < 0x7F)
            return refuse(rest, u"\"" + String(rest[0]) + u"\" must be escaped");
        char16_t digits[4];
        qx::platform::writeHex<4>(rest[0], digits);
        return refuse(rest, u"U+" + String(Text(digits, 4)) + u" must be escaped");
    }

    /// Takes the scheme and its ":" from the start of @p rest.
    bool readScheme(Text& rest) {
        const size_t end = rest.find_first_of(u":/?");
        if (end == rest.npos || rest[end] != u':')
            return refuse(rest, u"a text without scheme begins with \"/\" or \"?\"");
        const size_t length = countOf(rest, isOfScheme);
        if (!isLetter(rest[0]))
            return refuse(rest, u"a scheme begins with a letter");
        if (length != end)
            return refuse(rest.substr(length),
                          u"a scheme has letters, digits, \"+\", \"-\" and \".\" only");
        m_uri.setScheme(wrapped(rest.substr(0, end)));
        rest.remove_prefix(end + 1);
        return true;
    }

    bool readOpaquePart(Text part) {
        if (!isEscaped(part))
            return false;
        m_uri.setSchemeSpecificPart(wrapped(part), false);
        return true;
    }

    bool readAuthority(Text authority) {
        const size_t at = authority.find(u'@');
        if (at != authority.npos) {
            const Text user = authority.substr(0, at);
            if (!isEscaped(user))
                return false;
            const size_t colon = user.find(u':');
            m_uri.setUser(wrapped(user.substr(0, colon)), false);
            if (colon != user.npos)
                m_uri.setPassword(wrapped(user.substr(colon + 1)), false);
            authority.remove_prefix(at + 1);
            const size_t second = authority.find(u'@');
            if (second != authority.npos)
                return refuse(authority.substr(second), u"a second \"@\" must be escaped");
        }
        const bool isBracketed = authority.starts_with(u'[');
        const size_t end = isBracketed ? authority.find(u']') + 1 : authority.find(u':');
        const Text host = authority.substr(0, end);
        const Text rest = authority.substr(host.size());
        if (isBracketed ? !checkBrackets(host, rest) : !checkName(host, rest))
            return false;
        // A resolver would take what stands in front of it for the whole name.
        const size_t zero = host.find(u"%00");
        if (zero != host.npos)
            return refuse(host.substr(zero), u"a host has no U+0000");
        m_uri.setHost(wrapped(host), false);
        return rest.empty() || readPort(rest.substr(1));
    }

    /// @param host  from its "[" to its "]", empty without one
    bool checkBrackets(Text host, Text rest) {
        if (host.empty())
            return refuse(rest, u"\"[\" without \"]\"");
        if (!isAddress(host.substr(1, host.size() - 2)))
            return refuse(host.substr(1), u"no IPv6 address in the brackets");
        if (!rest.empty() && rest[0] != u':')
            return refuse(rest, u"only \":\" and a port may follow \"]\"");
        return true;
    }

    /// @param rest  empty or from the first ":" on
    bool checkName(Text host, Text rest) {
        if (rest.rfind(u':') != 0 && !rest.empty())
            return refuse(host, u"an IPv6 address stands in brackets");
        if (host.empty())
            return refuse(host, u"the host is missing");
        return isEscaped(host);
    }

    bool readPort(Text port) {
        const size_t length = countOf(port, isDigit);
        if (length < port.size())
            return refuse(port.substr(length), u"a port has digits only");
        if (port.empty())
            return refuse(port, u"the port is missing");
        const uint32_t number = numberOf(port, MostPort);
        if (number > MostPort)
            return refuse(port, u"a port is at most 65535");
        m_uri.setPort(static_cast<int>(number));
        return true;
    }

    /// @param rest  begins with "/" or "?", or is empty
    bool readPathAndQuery(Text rest) {
        const Text path = rest.substr(0, rest.find(u'?'));
        // It would be printed like an authority.
        if (!m_uri.hasHost() && path.starts_with(u"//"))
            return refuse(path, u"a path without a host must not begin with \"//\"");
        if (!isEscaped(rest))
            return false;
        if (!path.empty())
            m_uri.setPath(wrapped(path.substr(1)), false);
        if (path.size() < rest.size())
            m_uri.setQuery(wrapped(rest.substr(path.size() + 1)), false);
        return true;
    }

    Text m_text;
    URI& m_uri;
    String m_reason;
    size_t m_position = 0;
};

} // namespace

URI::ParseResult URI::parse(TextView text) {
    ParseResult result;
    URI& uri = result.m_uri.emplace();
    uri.queryPairs().keepOrder();
    Parser parser(text, uri);
    if (!parser.read()) {
        result.m_uri.reset();
        result.m_reason = parser.getReason();
        result.m_position = qx::detail::checkedSize(static_cast<int64_t>(parser.getPosition()));
    }
    return result;
}

const URI& URI::ParseResult::value() const& {
    if (!m_uri)
        throw Exception(m_reason);
    return *m_uri;
}

} // namespace qx::net
