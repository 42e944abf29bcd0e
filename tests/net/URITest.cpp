#include <random>

#include <qx/qx.h>

#include "tests/support/DataRows.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"

using namespace qx;
using namespace qx::net;
using namespace std::string_literals;
using qxtest::descriptionOf;
using qxtest::rowsOf;

namespace {

/// Each component that the URI has, as "name=value", joined by blanks.
std::string componentsOf(const URI& uri) {
    std::string text;
    const auto add = [&](bool isPresent, const char* name, const auto& get) {
        if (isPresent)
            text += (text.empty() ? "" : " ") + std::string(name) + "=" + get();
    };
    add(uri.hasScheme(), "scheme", [&] { return uri.getScheme().toUtf8(); });
    add(uri.hasUser(), "user", [&] { return uri.getUser(false).toUtf8(); });
    add(uri.hasPassword(), "password", [&] { return uri.getPassword(false).toUtf8(); });
    add(uri.hasHost(), "host", [&] { return uri.getHost(false).toUtf8(); });
    add(uri.hasPort(), "port", [&] { return std::to_string(uri.getPort()); });
    add(uri.hasPath(), "path", [&] { return uri.getPath(false).toUtf8(); });
    add(uri.hasQuery(), "query", [&] { return uri.getQuery(false).toUtf8(); });
    add(uri.isOpaque(), "opaque", [&] { return uri.getSchemeSpecificPart(false).toUtf8(); });
    return text;
}

} // namespace

TEST(URI, ReadsComponentsAndPrintsThem) {
    for (const auto& row : rowsOf("uris/read.txt")) {
        SCOPED_TRACE(row[0]);
        const URI uri(String::fromUtf8(row[0]));
        EXPECT_EQ(componentsOf(uri), row[1]);
        EXPECT_EQ(uri.toString().toUtf8(), row[row.size() > 2 ? 2 : 0]);
    }
}

TEST(URI, ParsesStrictlyOrTellsWhatIsWrongAndWhere) {
    for (const auto& row : rowsOf("uris/parse.txt")) {
        SCOPED_TRACE(row[0]);
        const auto result = URI::parse(row[0]);
        EXPECT_EQ(result ? componentsOf(*result) : result.getReason().toUtf8(), row[1]);
        EXPECT_TRUE(row[1].ends_with(" " + std::to_string(result.getPosition())) || result);
        if (result)
            EXPECT_EQ(result->toString().toUtf8(), row[row.size() > 2 ? 2 : 0]);
        else
            EXPECT_EQ(descriptionOf([&] { *result; }), row[1]);
    }
}

TEST(URI, KeepsTheOrderOfParsedPairs) {
    URI uri = *URI::parse(u"x://[fe80::1%25e]?z=%41&b=2&a%20=3&B=4&k&z=5");
    EXPECT_EQ(uri.getHostName(), u"fe80::1%e");
    EXPECT_TRUE(URI(u"x:/?key=value"_qs).hasQueryValue(u"key"_qs));
    EXPECT_EQ(uri.getQueryValue(u"b"_qs, false), u"4");
    EXPECT_EQ(uri.getQuery(false), u"z=%41&b=2&a%20=3&B=4&k=k&z=5");
    EXPECT_EQ(uri.getQueryPairs(false)[2].key, u"a%20");
    EXPECT_EQ(uri.getQueryPairs(true)[2].key, u"a ");
    EXPECT_EQ(uri.getQueryPairs(true)[0].value, u"A");
    uri.setQueryPair(u"B"_qs, u"6"_qs, false);
    uri.setQueryPair(u"c"_qs, u"7"_qs, false);
    uri.removeQueryPair(u"Z"_qs);
    uri.setQuery(u"a%20=8"_qs, false);
    const URI copy(uri);
    uri.removeQuery();
    EXPECT_EQ(uri.toString(), u"x://[fe80::1%25e]");
    EXPECT_EQ(copy.getQuery(false), u"b=6&a%20=3&k=k&c=7&a%20=8");
    EXPECT_EQ(URI(u"x://h?b=1&B=2"_qs).getQueryPairs(false).at(0).value, u"2");
    EXPECT_TRUE(URI().getQueryPairs(true).empty());

    for (int failing = 0; failing < 60; ++failing) {
        URI changed = *URI::parse(u"x://h?b=1&B=1&c=2");
        const auto change = [&] { changed.setQueryPair(u"B"_qs, u"9"_qs, false); };
        const int32_t code = (qxtest::FailingAllocator(failing), resultOf(change));
        EXPECT_EQ(changed.getQuery(false), code < 0 ? u"b=1&B=1&c=2" : u"b=9&c=2") << failing;
        EXPECT_EQ(changed.getQueryValue(u"b"_qs, false), code < 0 ? u"1" : u"9") << failing;
    }
}

TEST(URI, EscapesAsUrllibDoes) {
    for (const auto& row : rowsOf("uris/escapes.txt", ' ')) {
        const std::string &part = row[0], &hex = row[1];
        SCOPED_TRACE(part + hex);
        std::u16string units;
        for (size_t i = 0; i + 4 <= hex.size(); i += 4)
            units += static_cast<char16_t>(std::stoi(hex.substr(i, 4), nullptr, 16));
        const std::string encoded = row[2] == "-" && hex == "-" ? "" : row[2];
        const String text(units);
        URI uri;
        if (part == "authority") {
            uri.setHost(text, true);
            EXPECT_EQ(uri.getHost(false).toUtf8(), encoded);
            EXPECT_EQ(uri.getHost(true), text);
        } else if (part == "query") {
            uri.setQueryPair(text, text, true);
            EXPECT_EQ(uri.getQuery(false).toUtf8(), encoded + "=" + encoded);
            EXPECT_EQ(uri.getQueryValue(String::fromUtf8(encoded), true), text);
        } else {
            uri.setPath(part == "path" ? text : String::fromUtf8(encoded), part == "path");
            EXPECT_EQ(uri.getPath(false).toUtf8(), encoded);
            EXPECT_EQ(uri.getPath(true), text);
        }
    }
}

TEST(URI, UnescapesOddSequencesAsNumbersAreRead) {
    const std::pair<const char16_t*, std::u16string> cases[] = {
        // clang-format off
        {u"%4", u"!"}, {u"ab%c", u"!"}, {u"%41%", u"!"}, {u"%-1%8", u"!"}, // no numbers
        {u"%4g", u"\4"}, {u"%g4", u"\0"s}, {u"% 5", u"\5"},
        {u"%c3%A9", u"\u00E9"}, {u"%FF", u"\uFFFD"}, {u"%E0%81%81", u"A"},
        {u"%F0%9f%98%80", u"\U0001F600"}, {u"\u00E9%41", u"\u00E9A"},
        // clang-format on
    };
    for (const auto& [text, expected] : cases) {
        URI uri;
        uri.setPath(String(text), false);
        std::u16string result = u"!";
        const std::string failure = descriptionOf([&] { result = uri.getPath(true).view(); });
        EXPECT_EQ(failure, expected == u"!" ? "" : "nothing thrown");
        EXPECT_EQ(result, expected) << String(text).toUtf8();
    }
}

TEST(URI, HalfASurrogatePairCannotBeEscaped) {
    const String whole(u"x://u:p@h:80/p?a=1"_qs); // what stands in front of it is not set
    URI uri(whole);
    for (const auto& [set, text] :
         std::initializer_list<std::pair<void (URI::*)(const String&, bool), const char16_t*>>{
             {&URI::setPath, u"a\xD800"},
             {&URI::setPath, u"\xD83D\xD83D\xDE00"},
             {&URI::setPath, u"\xD800z"},
             {&URI::setUri, u"y://v:q@i:81/r?b=\xD800"},
             {&URI::setSchemeSpecificPart, u"//v:q@i:81/r?b=\xD800"},
             {&URI::setAuthority, u"v:q@\xD800:81"},
             {&URI::setUserInfo, u"v:\xD800"}}) {
        EXPECT_THROW((uri.*set)(String(text), true), text::charset::InvalidCharacterException);
        EXPECT_EQ(uri.toString(), whole) << String(text).toUtf8();
    }
}

TEST(URI, EscapesWhatItReadsOnRequest) {
    URI uri;
    uri.setUri(u"x://u 1:p@h h:8/a b/c?k 1=v+1&b c&=\u00E9"_qs, true);
    EXPECT_EQ(uri.getAuthority(false), u"u%201:p@h%20h:8");
    EXPECT_EQ(uri.getAuthority(true), u"u 1:p@h h:8");
    EXPECT_EQ(uri.getPath(false), u"a%20b%2Fc");
    EXPECT_EQ(uri.getQueryValue(u"K%201"_qs, true), u"v+1");
    EXPECT_EQ(uri.getQueryValue(u"b%20c"_qs, false), u"b%20c");
    EXPECT_EQ(uri.getQueryValue(u""_qs, false), u"%C3%A9");
    // The password is printed as it is kept, alone it is unescaped.
    uri.setPassword(u"p w"_qs, true);
    EXPECT_EQ(uri.getUserInfo(true), u"u 1:p%20w");
    EXPECT_EQ(uri.getPassword(true), u"p w");
}

TEST(URI, AbsentComponentsThrowWithoutDescription) {
    URI uri;
    uri.setFragment(u"f"_qs); // kept by none
    EXPECT_FALSE(uri.hasFragment());
    for (const auto get : {&URI::getUser, &URI::getPassword, &URI::getUserInfo, &URI::getHost,
                           &URI::getAuthority, &URI::getPath})
        EXPECT_EQ(descriptionOf([&] { (uri.*get)(false); }), "");
    qxtest::expectEach("", {[&] { uri.getScheme(); }, [&] { uri.getPort(); },
                            [&] { uri.getQueryValue(u"k"_qs, false); }});
    for (const String& empty :
         {uri.getQuery(true), uri.getSchemeSpecificPart(true), uri.getFragment(), uri.toString()})
        EXPECT_EQ(empty, u"");
}

TEST(URI, RemovesComponentsAndAllOfThem) {
    const String text(u"x://u:p@h:1/a?k=v&l=w"_qs);
    URI uri(text);
    uri.removeUserInfo();
    EXPECT_EQ(uri.toString(), u"x://h:1/a?l=w&k=v");
    uri.removeQueryPair(u"L"_qs);
    uri.removeQueryPair(u"absent"_qs);
    EXPECT_TRUE(uri.hasQuery());
    uri.removeQueryPair(u"k"_qs);
    EXPECT_FALSE(uri.hasQuery());
    uri.removeAuthority();
    EXPECT_EQ(componentsOf(uri), "scheme=x path=a");
    uri.setUri(u"y:opaque"_qs, false);
    uri.removeAll();
    EXPECT_EQ(componentsOf(uri), "");
    EXPECT_EQ(uri.toString(), u"");
    uri.setUri(text, false);
    EXPECT_EQ(uri.getQueryValue(u"K"_qs, false), u"v");
    std::u16string units = u"m"; // of which the URI has a copy
    uri.setQueryPair(String(units.data(), String::AM_WRAP), u"v"_qs, false);
    units = u"?";
    EXPECT_EQ(uri.getQueryValue(u"m"_qs, false), u"v");
}

TEST(URI, KeepsTheTableThatAQueryHasGrown) {
    std::u16string few;
    for (char16_t key = u'a'; key <= u'z'; ++key)
        few += std::u16string(u"&") + key + u"bcdef";
    const auto refilled = [&](auto empty) {
        URI uri(u"x://h"_qs);
        for (char16_t key = 0x100; key < 0x200; ++key)
            uri.setQueryPair(String(&key, 1), u""_qs, false);
        empty(uri);
        uri.setQuery(String(few), false);
        return uri.getQuery(false);
    };
    const String expected = refilled([](URI& uri) { uri.removeQuery(); });
    EXPECT_NE(expected, URI(String(u"x://h?" + few)).getQuery(false)) << "another order";
    EXPECT_EQ(refilled([](URI& uri) { uri.removeAll(); }), expected);
    EXPECT_EQ(refilled([](URI& uri) {
                  for (char16_t key = 0x100; key < 0x200; ++key)
                      uri.removeQueryPair(String(&key, 1));
              }),
              expected);
}

// Adding and removing a pair takes a query to the table that a short one does without.
TEST(URI, AQueryIsTheSameHoweverItsPairsCome) {
    std::mt19937 random(11);
    for (int round = 0; round < 2000; ++round) {
        std::u16string text;
        for (auto length = 1 + random() % (round % 50 == 0 ? 1500 : 60); length > 0; --length)
            text += u"aAbB_:==&&&\u00E9"[random() % (round % 8 == 0 ? 12 : 11)];
        URI plain(String(u"x://h?" + text)), tabled(plain), single, twice;
        if (text.size() < 60) { // one more than many might need a larger table
            tabled.setQueryPair(u"other"_qs, u""_qs, false);
            tabled.removeQueryPair(u"other"_qs);
        }
        for (size_t begin = 0, end = 0; end < text.size(); begin = end + 1) {
            end = std::min(text.find(u'&', begin), text.size());
            const auto pair = std::u16string_view(text).substr(begin, end - begin);
            const size_t sign = pair.find(u'='); // a key alone is its own value
            single.setQueryPair(String(pair.substr(0, sign)), String(pair.substr(sign + 1)), false);
        }
        // In two halves, if none is without a piece: pairs that are there already count too.
        const size_t middle = std::min(text.find(u'&', text.size() / 2), text.size() - 1);
        const bool isCut = middle > 0 && middle + 1 < text.size();
        twice.setQuery(String(isCut ? text.substr(0, middle) : text), false);
        if (isCut)
            twice.setQuery(String(text.substr(middle + 1)), false);
        SCOPED_TRACE(String(text).toUtf8());
        for (const URI& uri : {tabled, single, twice})
            ASSERT_EQ(plain.getQuery(false), uri.getQuery(false));
        for (const String& key : {u"a"_qs, u"A_"_qs, u"b:"_qs, u""_qs, u"\u00C9"_qs}) {
            ASSERT_EQ(plain.hasQueryValue(key), tabled.hasQueryValue(key));
            if (plain.hasQueryValue(key)) {
                EXPECT_EQ(plain.getQueryValue(key, true), tabled.getQueryValue(key, true));
            }
            plain.removeQueryPair(key); // which leaves the copies
        }
    }
}

// Whoever sends a URI may choose its keys. In the hash, "a_" and "b:" weigh the same; to compare
// all with all would take longer than a test may.
TEST(URI, KeysOfOneHashTakeNoLongerThanOthers) {
    std::u16string text = u"x:/?";
    for (unsigned number = 0; number < 1u << 18; ++number) {
        for (unsigned bit = 0; bit < 18; ++bit)
            text += number >> bit & 1 ? u"a_" : u"b:";
        text += u'&';
    }
    EXPECT_FALSE(URI(String(text)).hasQueryValue(u"absent"_qs));
}

TEST(QueryKey, IgnoresLetterCaseAndKeepsIt) {
    const QueryKey key(u"N\u00C4me"_qs), same(u"n\u00E4ME"_qs), other(u"names"_qs);
    EXPECT_TRUE(key.equals(static_cast<const Object&>(same)));
    EXPECT_EQ(key.hashCode(), same.hashCode());
    EXPECT_EQ(key.compareTo(same), 0);
    EXPECT_GT(key.compareTo(other), 0);
    EXPECT_EQ(key.view(), u"N\u00C4me");
    EXPECT_THROW(key.compareTo(Object()), CastFailedException);
}
