#ifdef QX_TEST_HAVE_EXPAT

#include <expat.h>
#include <gtest/gtest.h>
#include <random>

#include <qx/io/ByteArrayOutputStream.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/log/XmlLogWriter.h>

#include "tests/log/ProcessorFakes.h"

// The documents of the escaping writer as another parser reads them.

namespace {

using namespace qx;

struct Element {
    std::string name;
    bool hasAttribute = false;
    std::string attribute;
    std::string text;
    bool operator==(const Element&) const = default;
};

/// Elements at the third level of a document, in order; fails the test when it is not well-formed.
std::vector<Element> parse(const std::string& document) {
    struct Reader {
        int depth = 0;
        std::vector<Element> elements;
    } reader;
    XML_Parser parser = XML_ParserCreateNS(nullptr, ' ');
    XML_SetUserData(parser, &reader);
    XML_SetElementHandler(
        parser,
        [](void* data, const char* name, const char** attributes) {
            auto& r = *static_cast<Reader*>(data);
            if (++r.depth != 3)
                return;
            Element element{name, false, {}, {}};
            if (attributes[0]) {
                EXPECT_STREQ(attributes[0], "name");
                EXPECT_EQ(attributes[2], nullptr);
                element.hasAttribute = true;
                element.attribute = attributes[1];
            }
            r.elements.push_back(element);
        },
        [](void* data, const char*) { --static_cast<Reader*>(data)->depth; });
    XML_SetCharacterDataHandler(parser, [](void* data, const char* bytes, int length) {
        auto& r = *static_cast<Reader*>(data);
        if (r.depth == 3)
            r.elements.back().text.append(bytes, static_cast<size_t>(length));
    });
    EXPECT_EQ(XML_Parse(parser, document.data(), static_cast<int>(document.size()), 1),
              XML_STATUS_OK)
        << XML_ErrorString(XML_GetErrorCode(parser)) << " in line "
        << XML_GetCurrentLineNumber(parser) << " of:\n"
        << document;
    XML_ParserFree(parser);
    return reader.elements;
}

/// The text as a document may contain it, in UTF-8.
std::string allowed(std::u16string_view text) {
    std::u16string result;
    for (size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        const bool isPair = unit >= 0xD800 && unit < 0xDC00 && i + 1 < text.size() &&
                            text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
        if (isPair) {
            result += unit;
            result += text[++i];
        } else if ((unit >= 0x20 && unit < 0xD800) || (unit >= 0xE000 && unit < 0xFFFE) ||
                   unit == u'\t' || unit == u'\n' || unit == u'\r') {
            result += unit;
        } else {
            result += u'\uFFFD';
        }
    }
    return String(std::u16string_view(result)).toUtf8();
}

std::string document(const std::vector<Reference<log::LogEntry>>& entries) {
    auto bytes = makeReference<io::ByteArrayOutputStream>();
    auto out = makeReference<io::OutputStreamWriter>(bytes, u"UTF-8");
    auto writer = log::XmlLogWriter::create(out, log::XmlLogWriter::Escaping::WellFormed);
    for (const auto& entry : entries)
        writer->process(entry);
    writer.reset();
    return {reinterpret_cast<const char*>(bytes->getBytes()),
            static_cast<size_t>(bytes->getSize())};
}

Reference<log::LogEntry> entryOf(std::u16string_view name, std::u16string_view value) {
    auto entry = log::LogEntry::create();
    entry->setField(String(name), makeReference<String>(value));
    return entry;
}

TEST(XmlEscaping, MakesLegalElementNamesAndKeepsTheOthersInAnAttribute) {
    const struct {
        std::u16string_view name;
        Element element;
    } cases[] = {
        {u"text", {"text", false, "", " v "}},
        {u"a-b.c_9", {"a-b.c_9", false, "", " v "}},
        {u"text lang=\"en\"", {"text", true, "text lang=\"en\"", " v "}},
        {u"a b='<' b='", {"a", true, "a b='<' b='", " v "}}, // broken attributes
        {u"", {"_", true, "", " v "}},
        {u" x", {"_", true, " x", " v "}},
        {u"9lives", {"_9lives", true, "9lives", " v "}},
        {u"-x", {"_-x", true, "-x", " v "}},
        {u"ns:name", {"ns_name", true, "ns:name", " v "}},
        {u"a\r\n\tb", {"a___b", true, "a\r\n\tb", " v "}},
        {u"gr\u00F6\u00DFe", {"gr__e", true, "gr\u00F6\u00DFe", " v "}},
        {u"></log>", {"____log_", true, "></log>", " v "}},
        {u"\xD800", {"__", true, "\uFFFD", " v "}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(String(c.name).toUtf8());
        EXPECT_EQ(parse(document({entryOf(c.name, u"v")})), std::vector{c.element});
    }
}

TEST(XmlEscaping, EveryUnitComesBackOrBecomesTheReplacementCharacter) {
    std::u16string every;
    for (uint32_t unit = 0; unit < 0x10000; ++unit) {
        every += static_cast<char16_t>(unit);
        every += u'.'; // keeps surrogates apart
    }
    every += u"\U00010000\U0001F600\U0010FFFF]]>&lt;<![CDATA[<!--";
    const auto elements = parse(document({entryOf(u"text", every), entryOf(every, u"")}));
    ASSERT_EQ(elements.size(), 2u);
    EXPECT_EQ(elements[0].text, " " + allowed(every) + " ");
    EXPECT_EQ(elements[1].attribute, allowed(every));
}

TEST(XmlEscaping, RandomEntriesParse) {
    std::mt19937 random(20260212);
    constexpr std::u16string_view Special = u"<>&\"' \t\n\r/=:;!-[]?x\0\1\x1F\x7F\x85\xA0\u2028"
                                            u"\xD800\xD83D\xDC00\xDE00\xFFFD\xFFFE\xFFFF";
    const auto pick = [&random](size_t count) { return random() % count; };
    const auto anyText = [&] {
        std::u16string units(pick(40), u'\0');
        for (char16_t& unit : units)
            unit = pick(4) == 0 ? static_cast<char16_t>(random()) : Special[pick(Special.size())];
        return units;
    };
    std::vector<Reference<log::LogEntry>> entries;
    std::vector<std::string> texts, names;
    for (int i = 0; i < 3000; ++i) {
        const auto name = anyText(), value = anyText();
        entries.push_back(entryOf(name, value));
        names.push_back(allowed(name));
        texts.push_back(" " + allowed(value) + " ");
    }
    const auto elements = parse(document(entries));
    ASSERT_EQ(elements.size(), entries.size());
    for (size_t i = 0; i < elements.size(); ++i) {
        EXPECT_EQ(elements[i].text, texts[i]);
        EXPECT_EQ(elements[i].hasAttribute ? elements[i].attribute : elements[i].name, names[i]);
    }
}

} // namespace

#endif
