#include <algorithm>
#include <filesystem>
#include <span>

#include <qx/qx.h>

#include "tests/support/DataRows.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestLocale.h"

namespace fs = std::filesystem;
using namespace qx;
using namespace qx::util;
using namespace qxtest;
using namespace std::string_view_literals;

namespace {

FilePath pathOf(std::u16string_view text) { return FilePath(String(text)); }

/// The text of a native path with backslashes.
std::u16string backslashed(const fs::path& path) {
    std::u16string text = path.u16string();
    std::replace(text.begin(), text.end(), u'/', u'\\');
    return text;
}

} // namespace

TEST(FilePath, PartsOfEveryKindOfPathAndRefusalOfMalformedRoots) {
    for (const auto& row : rowsOf("paths/parts.txt", '|')) {
        const String text = String::fromUtf8(row[0]);
        if (row.size() == 2) {
            EXPECT_EQ(descriptionOf<InvalidPathException>([&] { FilePath{text}; }), row[1]) << text;
            continue;
        }
        const FilePath path(text);
        std::vector<std::string> parts{row[0]};
        for (const String& part :
             {path.toString(), path.getDrive(), path.getDirectory(), path.getParentPath(),
              path.getName(), path.getBaseName(), path.getExtension()})
            parts.push_back(part.toUtf8());
        parts.emplace_back(path.isAbsolutePath() ? "absolute" : "relative");
        EXPECT_EQ(parts, row);
        const FilePath again(path.toString());
        EXPECT_EQ(again.toString() + again.getDrive(), path.toString() + path.getDrive());
        EXPECT_EQ(path.isUNCPath(), row[1].starts_with(R"(\\)")) << row[0];
    }
}

TEST(FilePath, ChildPathJoinsWithOneSeparator) {
    const std::pair<const char16_t*, const char16_t*> cases[] = {
        {u"c:/a", u"c:\\a\\n"},     {u"c:/", u"c:\\n"}, {u"/", u"\\n"},
        {u"//s/d", u"\\\\s\\d\\n"}, {u"", u"n"},
    };
    for (const auto& [folder, child] : cases)
        EXPECT_EQ(pathOf(folder).getChildPath(u"n"), child);
    EXPECT_EQ(FilePath(String(u"/a/b\0:/c", 8)).toString(), u"\\a\\b") << "ends at a zero unit";
    EXPECT_EQ(FilePath(String(u"/a/b:c", String::AM_WRAP, 4)).toString(), u"\\a\\b") << "and there";
}

TEST(FilePath, AbsoluteAndCanonicalPathsStartFromTheCurrentFolderOfAnyLength) {
    const CurrentFolder folder;
    for (int depth = 0; depth < 5; ++depth) { // beyond any fixed buffer
        const std::string segment(200, static_cast<char>('a' + depth));
        fs::create_directory(segment);
        fs::current_path(segment);
    }
    const std::u16string above = backslashed(fs::current_path().parent_path()),
                         here = backslashed(fs::current_path()) + u'\\';
    EXPECT_EQ(FilePath::getCurrentDir(), here);
    EXPECT_EQ(FilePath::getTempDir(), backslashed(fs::temp_directory_path() / ""));
    EXPECT_EQ(pathOf(u"a/../b").getAbsolutePath(), here + u"b");
    EXPECT_EQ(pathOf(u"../b").getAbsolutePath(), above + u"\\b");
    EXPECT_EQ(pathOf(u"/b").getAbsolutePath(), u"\\b");
    EXPECT_EQ(pathOf(u"c:b").getAbsolutePath(), u"c:b");

    fs::create_directory("real");
    fs::create_directory_symlink("real", "link");
    EXPECT_EQ(pathOf(u"link/missing").getCanonicalPath(), here + u"real\\missing");
    EXPECT_EQ(pathOf(u"link/x").getAbsolutePath(), here + u"link\\x");
    EXPECT_EQ(pathOf(u"//s/d/x").getCanonicalPath(), u"\\\\s\\d\\x");
}

TEST(PathNormalizer, RemovesWhatEveryShortPathDoesNotNeed) {
    PathNormalizer forward(PathNormalizer::SLASH_FORWARD);
    // The hash of what another implementation, by whole segments, made of all of them.
    uint32_t hash = 2166136261;
    std::u16string path;
    for (size_t length = 0; length <= 9; ++length) {
        path.resize(length);
        for (size_t number = 0; number < size_t{1} << (2 * length); ++number) {
            for (size_t i = 0; i < length; ++i)
                path[i] = u"./\\a"[(number >> (2 * i)) & 3];
            const String normal = forward.normalize(String(path)) + u"\n";
            for (const char16_t unit : normal.view())
                hash = (hash ^ unit) * 16777619;
        }
    }
    EXPECT_EQ(hash, 0x793D2FAEu);
}

TEST(PathNormalizer, WritesOneKindOfSlash) {
    EXPECT_EQ(PathNormalizer(PathNormalizer::SLASH_BACKWARD).normalize(u"a/b\\../..c/./"),
              u"a\\..c\\");
    PathNormalizer normalizer(PathNormalizer::SLASH_DEFAULT);
    EXPECT_EQ(normalizer.normalize(u"../../x"), u"..\\..\\x");
    normalizer.setSlashType(PathNormalizer::SLASH_FORWARD);
    EXPECT_EQ(normalizer.normalize(u"a\\b"), u"a/b");
    EXPECT_EQ(normalizer.normalize(String(u"a/.\0/b"sv)), u"a/") << "ends at its first zero unit";
    EXPECT_EQ(normalizer.normalize(String(u'a', 100'000)).getLength(), 100'000);
    constexpr auto Unknown = static_cast<PathNormalizer::SLASH_TYPE>(3);
    EXPECT_EQ(descriptionOf([&] { normalizer.setSlashType(Unknown); }),
              "Invalid slash type specified.");
    EXPECT_THROW(PathNormalizer{Unknown}, Exception);
    EXPECT_EQ(normalizer.normalize(u"a\\b"), u"a/b");
}

TEST(SystemName, IsConvertedAsItIsOrRefused) {
    constexpr char Converted[] = "nothing thrown";
    const struct {
        const char* codeSet; ///< of a German locale; null for the C locale
        String text;
        std::string name;
        std::string textRefusal, nameRefusal; ///< how they begin
    } rows[] = {
        {nullptr, u"ä€\uFFFD😀"_qs, "ä€\uFFFD😀", Converted, Converted},
        {nullptr, u"a\xD800"_qs, "\xE4.dat",
         "\"a\uFFFD\" has no form in the default encoding UTF-8",
         "\"\\xE4.dat\" is no text in the default encoding UTF-8"},
        {nullptr, String(u"a\0b", 3), "a\xED\xA0\x80", "\"a",
         "\"a\\xED\\xA0\\x80\" is"},                                    // a surrogate
        {nullptr, u"\xDC00"_qs, "\xC0\xAF", "\"", "\"\\xC0\\xAF\" is"}, // over-long
        {"ISO-8859-1", u"ä\u0080"_qs, "\xE4\x80", Converted, Converted},
        {"ISO-8859-1", u"ł"_qs, "a", "\"ł\" has no form in the default encoding ISO-8859-1",
         Converted},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const TestLocale locale = row.codeSet ? TestLocale("de_DE", row.codeSet) : TestLocale("C");
        if (!locale.isSet())
            continue;
        const auto toName = [&] { EXPECT_EQ(toSystemName(row.text), row.name); };
        const auto fromName = [&] {
            EXPECT_EQ(toSystemName(fromSystemName(row.name.c_str())), row.name);
        };
        EXPECT_TRUE(descriptionOf(toName).starts_with(row.textRefusal)) << descriptionOf(toName);
        EXPECT_TRUE(descriptionOf(fromName).starts_with(row.nameRefusal))
            << descriptionOf(fromName);
        if (row.textRefusal != Converted)
            expectEach(result::UnmappableCharacter, {toName});
        if (row.textRefusal != Converted && row.codeSet) {
            expectEach(result::UnmappableCharacter, {[&] { io::FileOutputStream(row.text, false); },
                                                     [&] { io::FileInputStream{row.text}; }});
        }
    }
    EXPECT_EQ(fromSystemName(nullptr), String());
    const String longest(u'a', 20'000'000); // values of INI files are converted in the same way
    EXPECT_EQ(toSystemName(longest).size(), 20'000'000u);
    const CurrentFolder folder;
    fs::create_directory("\xFF");
    fs::current_path("\xFF");
    expectEach(result::UnmappableCharacter, {[] { FilePath::getCurrentDir(); }});
}

// Calls given texts, names and bytes as the standard library has them.
TEST(StandardText, NamesFilesUnlessItWouldMeanSomethingElse) {
    const std::string utf8 = "k\xC3\xA4se";
    const String text(u"k\u00E4se");
    const TemporaryFolder folder;
    const fs::path path = folder.path(utf8);
    const std::vector<std::byte> bytes(3, std::byte{'-'});
    io::FileOutputStream(path, false).write(std::span(bytes));
    io::FileOutputStream(path.native(), true).write(u8"!");
    EXPECT_EQ(readFile(path), "---!");
    signed char first[4];
    EXPECT_EQ(io::FileInputStream(path.u16string()).read(first, 4), 4);
    EXPECT_EQ(util::FilePath(path).getName(), text);
    const char data[] = {1, 0, 2};
    EXPECT_EQ(ByteView(data).length() + ByteView("a\0b").length(), 6);

    for (const auto name : {"\xFF"sv, "a\0b"sv})
        EXPECT_THROW(io::FileInputStream(fs::path(name)), ResultException);
    EXPECT_THROW(io::FileInputStream("\xFF"), text::charset::InvalidCharacterException);
    util::IniFile ini(path);
    EXPECT_THROW(ini.AddKey("a\0b"sv, "key", "value", true), ResultException);
    EXPECT_EQ(ini.AddKey(u"set", utf8, text, true), result::Ok);
    EXPECT_EQ(ini.find("set", text), text);
    io::PrintWriter(makeReference<io::NullWriter>()).println(std::string_view());
}
