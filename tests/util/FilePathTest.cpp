#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/util/FilePath.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/TemporaryFolder.h"

namespace fs = std::filesystem;
using qx::String;
using qx::util::FilePath;

namespace {

FilePath pathOf(std::u16string_view text) { return FilePath(String(text)); }

/// The text of a native path with backslashes.
std::u16string backslashed(const fs::path& path) {
    std::u16string text = path.u16string();
    for (char16_t& unit : text)
        if (unit == u'/')
            unit = u'\\';
    return text;
}

/// A new folder of its own as the current folder, while the object lives.
class CurrentFolder {
public:
    CurrentFolder() { fs::current_path(m_folder.path()); }
    ~CurrentFolder() { fs::current_path(m_before); }
    fs::path path() const { return m_folder.path(); }

private:
    fs::path m_before = fs::current_path();
    qxtest::TemporaryFolder m_folder;
};

} // namespace

TEST(FilePath, PartsOfEveryKindOfPath) {
    const struct {
        const char16_t* path;
        const char16_t* normal;
        const char16_t* drive;
        const char16_t* directory;
        const char16_t* parent;
        const char16_t* name;
        const char16_t* base;
        const char16_t* extension;
        bool absolute;
    } cases[] = {
        {u"c:/dir//sub/./f.txt", u"c:\\dir\\sub\\f.txt", u"c:", u"c:\\dir\\sub", u"c:\\dir\\sub",
         u"f.txt", u"f", u".txt", true},
        {u"c:/f", u"c:\\f", u"c:", u"c:\\", u"c:\\", u"f", u"f", u"", true},
        {u"c:/", u"c:\\", u"c:", u"c:\\", u"", u"", u"", u"", true},
        {u"c:", u"c:", u"c:", u"c:", u"", u"", u"", u"", true},
        // relative to the drive's current folder; a dot right behind the root counts
        {u"c:f.x", u"c:f.x", u"c:", u"c:", u"c:", u"f.x", u"f", u".x", true},
        {u"c:.x", u"c:.x", u"c:", u"c:", u"c:", u".x", u"", u".x", true},
        {u"a:b:c", u"a:b:c", u"a:", u"a:", u"a:", u"b:c", u"b:c", u"", true},
        // shares
        {u"//srv/data/a/../b", u"\\\\srv\\data\\b", u"\\\\srv\\data", u"\\\\srv\\data\\",
         u"\\\\srv\\data\\", u"b", u"b", u"", true},
        {u"\\\\srv\\data.v1", u"\\\\srv\\data.v1", u"\\\\srv\\data.v1", u"\\\\srv\\data.v1", u"",
         u"", u"", u"", true},
        {u"\\\\srv\\data\\", u"\\\\srv\\data\\", u"\\\\srv\\data", u"\\\\srv\\data\\", u"", u"",
         u"", u"", true},
        {u"\\\\srv\\d\\x\\y.z", u"\\\\srv\\d\\x\\y.z", u"\\\\srv\\d", u"\\\\srv\\d\\x",
         u"\\\\srv\\d\\x", u"y.z", u"y", u".z", true},
        // a native absolute path has the first backslash for its root
        {u"/home/u/x.tar.gz", u"\\home\\u\\x.tar.gz", u"", u"\\home\\u", u"\\home\\u", u"x.tar.gz",
         u"x.tar", u".gz", true},
        {u"/x", u"\\x", u"", u"\\", u"\\", u"x", u"x", u"", true},
        {u"/", u"\\", u"", u"\\", u"", u"", u"", u"", true},
        // two slashes alone are no share: the second one falls behind the root
        {u"//", u"\\\\", u"", u"\\", u"\\", u"", u"", u"", true},
        // relative
        {u"f.txt", u"f.txt", u"", u"", u"", u"f.txt", u"f", u".txt", false},
        {u"a.b/c", u"a.b\\c", u"", u"a.b", u"a.b", u"c", u"c", u"", false},
        {u"a/", u"a\\", u"", u"a", u"a", u"", u"", u"", false},
        {u".profile", u".profile", u"", u"", u"", u".profile", u"", u".profile", false},
        {u"../x", u"..\\x", u"", u"..", u"..", u"x", u"x", u"", false},
        {u"", u"", u"", u"", u"", u"", u"", u"", false},
        // a colon at the very start is no drive
        {u":x", u":x", u"", u"", u"", u":x", u":x", u"", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::u16string(c.path)));
        const FilePath path = pathOf(c.path);
        EXPECT_EQ(path.toString(), c.normal);
        EXPECT_EQ(path.getDrive(), c.drive);
        EXPECT_EQ(path.getDirectory(), c.directory);
        EXPECT_EQ(path.getParentPath(), c.parent);
        EXPECT_EQ(path.getName(), c.name);
        EXPECT_EQ(path.getBaseName(), c.base);
        EXPECT_EQ(path.getExtension(), c.extension);
        EXPECT_EQ(path.isAbsolutePath(), c.absolute);
        EXPECT_EQ(path.isUNCPath(), std::u16string_view(c.normal).starts_with(u"\\\\"));
    }
}

TEST(FilePath, RejectsMalformedRoots) {
    const std::pair<const char16_t*, const char*> cases[] = {
        {u"ab:x", "invalid drive"},         {u"/tmp/a:b", "invalid drive"},
        {u":x:y", "invalid drive"},         {u"\\\\srv", "no share name"},
        {u"\\\\srv\\", "no share name"},    {u"\\\\srv\\\\x", "no share name"},
        {u"\\\\\\share", "no server name"}, {u"///", "no server name"},
    };
    for (const auto& [path, message] : cases) {
        EXPECT_EQ(qxtest::descriptionOf<qx::InvalidPathException>([&] { pathOf(path); }), message)
            << testing::PrintToString(std::u16string(path));
    }
}

TEST(FilePath, EndsAtItsFirstZeroUnit) {
    using namespace std::string_view_literals;
    EXPECT_EQ(pathOf(u"/a/b\0:/c"sv).toString(), u"\\a\\b");
}

TEST(FilePath, ChildPathJoinsWithOneSeparator) {
    const std::pair<const char16_t*, const char16_t*> cases[] = {
        {u"c:/a", u"c:\\a\\n"},     {u"c:/", u"c:\\n"}, {u"/", u"\\n"},
        {u"//s/d", u"\\\\s\\d\\n"}, {u"", u"n"},
    };
    for (const auto& [folder, child] : cases)
        EXPECT_EQ(pathOf(folder).getChildPath(u"n"), child);
}

TEST(FilePath, AbsoluteAndCanonicalPathsStartFromTheCurrentFolder) {
    const CurrentFolder folder;
    const std::u16string here = backslashed(folder.path()) + u'\\';
    EXPECT_EQ(FilePath::getCurrentDir(), here);

    EXPECT_EQ(pathOf(u"a/../b").getAbsolutePath(), here + u"b");
    EXPECT_EQ(pathOf(u"../b").getAbsolutePath(), backslashed(folder.path().parent_path()) + u"\\b");
    EXPECT_EQ(pathOf(u"/b").getAbsolutePath(), u"\\b");
    EXPECT_EQ(pathOf(u"c:b").getAbsolutePath(), u"c:b");

    fs::create_directory("real");
    fs::create_directory_symlink("real", "link");
    EXPECT_EQ(pathOf(u"link/missing").getCanonicalPath(), here + u"real\\missing");
    EXPECT_EQ(pathOf(u"link/x").getAbsolutePath(), here + u"link\\x");
    EXPECT_EQ(pathOf(u"//s/d/x").getCanonicalPath(), u"\\\\s\\d\\x");
}

TEST(FilePath, LongFoldersAreNotCutOff) {
    const CurrentFolder folder;
    std::u16string path = backslashed(folder.path());
    // 5 segments of 200: beyond any fixed buffer of 260, within what the system allows
    for (int depth = 0; depth < 5; ++depth) {
        const std::string segment(200, static_cast<char>('a' + depth));
        fs::create_directory(segment);
        fs::current_path(segment);
        path.append(1, u'\\').append(200, static_cast<char16_t>(u'a' + depth));
    }
    EXPECT_EQ(FilePath::getCurrentDir(), path + u'\\');
    EXPECT_EQ(pathOf(u"x").getAbsolutePath(), path + u"\\x");
    EXPECT_EQ(pathOf(u"x").getCanonicalPath(), path + u"\\x");
}

TEST(FilePath, TempDirIsAFolderThatEndsInABackslash) {
    EXPECT_EQ(FilePath::getTempDir(), backslashed(fs::temp_directory_path() / ""));
}
