#include <qx/platform/registry.h>

#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include <qx/platform/result.h>

#include "tests/platform/RegistryTesting.h"

namespace fs = std::filesystem;
using namespace qx;
using namespace qxtest;

namespace {

class Registry : public testing::Test {
protected:
    TemporaryRegistry registry;
};

fs::perms modeOf(const std::string& path) { return fs::status(path).permissions(); }

using Names = std::vector<std::u16string>;

} // namespace

// The types of values are the business of the class.
TEST_F(Registry, TellsHowMuchRoomAValueTakes) {
    for (const std::string text : {"", "abc"}) {
        const auto size = static_cast<int32_t>(text.size());
        ASSERT_EQ(QXRegistrySetValue(QX_HKEY_USER, u"", u"", QX_REG_BYTES,
                                     size > 0 ? text.data() : nullptr, size),
                  result::Ok);
        registry.use();
        std::string buffer(4, '#');
        int32_t length = 0;
        for (const bool isFirst : {true, false}) { // then there is just enough room
            auto type = QX_REG_STRING;
            EXPECT_EQ(QXRegistryGetValue(QX_HKEY_USER, u"", u"", &type, buffer.data(), &length),
                      isFirst && size > 0 ? result::BufferTooSmall : result::Ok);
            EXPECT_EQ(type, QX_REG_BYTES);
            EXPECT_EQ(length, size);
        }
        EXPECT_EQ(buffer, text + std::string(4 - text.size(), '#'));
    }
}

TEST_F(Registry, RefusesWhatItCannotKeep) {
    const std::u16string longName(65536, u'n');
    std::u16string deepPath;
    for (int i = 0; i < 513; ++i)
        deepPath += u"d\\";
    const auto set = [](const std::u16string& path, const std::u16string& name,
                        ENUM_QX_REG_TYPE type, const void* data, int32_t length) {
        return QXRegistrySetValue(QX_HKEY_USER, path.c_str(), name.c_str(), type, data, length);
    };
    constexpr auto NameTooLong = static_cast<int32_t>(0x800700CE);
    const auto noType = static_cast<ENUM_QX_REG_TYPE>(4);
    EXPECT_EQ(set(longName, u"", QX_REG_BYTES, "", 0), NameTooLong);
    EXPECT_EQ(set(u"k", longName, QX_REG_BYTES, "", 0), NameTooLong);
    EXPECT_EQ(set(deepPath, u"", QX_REG_BYTES, "", 0), NameTooLong);
    EXPECT_EQ(set(u"k", u"", QX_REG_STRING, "abc", 3), result::InvalidArgument);
    EXPECT_EQ(set(u"k", u"", QX_REG_UINT32, "abcde", 5), result::InvalidArgument);
    EXPECT_EQ(set(u"k", u"", QX_REG_UINT64, "abcd", 4), result::InvalidArgument);
    EXPECT_EQ(set(u"k", u"", QX_REG_BYTES, "", -1), result::InvalidArgument);
    EXPECT_EQ(set(u"k", u"", QX_REG_BYTES, nullptr, 1), result::NullPointer);
    EXPECT_EQ(set(u"k", u"", QX_REG_BYTES, "", (64 << 20) + 1), result::InvalidArgument);
    EXPECT_EQ(set(u"k", u"", noType, "", 0), result::InvalidArgument);
    for (int root : {-1, 5}) {
        EXPECT_EQ(QXRegistryDeleteKey(static_cast<ENUM_QX_HKEY>(root), u"k"),
                  result::InvalidArgument);
    }
    EXPECT_EQ(QXRegistryDeleteKey(QX_HKEY_USER, u"\\"), result::InvalidArgument);
    EXPECT_EQ(QXRegistrySetFolder("relative"), result::InvalidArgument);
    EXPECT_FALSE(fs::exists(registry.folder()));
}

TEST_F(Registry, FindsNamesOfAnyUnitsWithoutRegardToCase) {
    const std::pair<std::u16string, std::u16string> writtenAndAsked[] = {
        {u".", u"."},
        {u"..", u".."},
        {u"a/b", u"A/B"},
        {u" ", u" "},
        {u"\x01\n\xFFFF", u"\x01\n\xFFFF"},
        {u"\xD800", u"\xD800"}, // lone surrogates, the second half before the first
        {u"\xDC00\xD800", u"\xDC00\xD800"},
        {u"\u00C4\u03A9\u0416", u"\u00E4\u03C9\u0436"},
        {u"\u01C5", u"\u01C6"}, // title case
        {std::u16string(4000, u'x'), std::u16string(4000, u'X')},
    };
    for (const auto& [name, asked] : writtenAndAsked) {
        setText(u"Values", name, name);
        setText(u"Keys\\" + name, u"", name);
    }
    setText(u"Values", std::u16string(65535, u'y'), u"the longest name");
    setText(u"Values", u"back\\slash", u"a value's name may have it");
    registry.use();
    for (const auto& [name, asked] : writtenAndAsked) {
        EXPECT_EQ(getText(u"values", asked), name);
        EXPECT_EQ(getText(u"KEYS\\" + asked, u""), name);
    }
    EXPECT_EQ(getText(u"Values", std::u16string(65535, u'Y')), u"the longest name");
    EXPECT_EQ(subkeysOf(u"Keys").size(), std::size(writtenAndAsked));
    EXPECT_EQ(valuesOf(u"Values").size(), std::size(writtenAndAsked) + 2);
}

TEST_F(Registry, WalksInOrderOverTheKeyAsItWas) {
    for (const auto* name : {u"b", u"A", u"c", u"B2"})
        setText(std::u16string(u"Key\\") + name, u"", u"");
    QXHandle walk;
    ASSERT_EQ(QXRegistryOpenKeyEnum(QX_HKEY_USER, u"Key", &walk), result::Ok);
    ASSERT_EQ(QXRegistryDeleteKey(QX_HKEY_USER, u"Key"), result::Ok);
    char16_t name[2];
    int32_t length = 0;
    EXPECT_EQ(QXRegistryEnumNextValue(walk, name, &length), result::InvalidHandle);
    length = 1; // the 0 unit has no room
    EXPECT_EQ(QXRegistryEnumNextKey(walk, name, &length), result::BufferTooSmall);
    EXPECT_EQ(length, 1);
    EXPECT_EQ(namesOf(result::Ok, walk, &QXRegistryEnumNextKey), (Names{u"A", u"b", u"B2", u"c"}));
    EXPECT_EQ(QXRegistryOpenKeyEnum(QX_HKEY_USER, u"Key", &walk), result::NotFound);
    EXPECT_EQ(walk, ~QXHandle{0});
}

TEST_F(Registry, KeepsFirstFormsOfNamesAndDeletesValuesAndSubtrees) {
    EXPECT_EQ(QXRegistryDeleteKey(QX_HKEY_USER, u"Key"), result::NotFound);
    EXPECT_FALSE(fs::exists(registry.folder())); // nothing was made to delete nothing
    setText(u"Key\\Sub\\Deep", u"", u"1");
    setText(u"\\KEY\\\\sub\\", u"Name", u"2");
    setText(u"key\\SUB", u"NAME", u"3");
    setText(u"Keys", u"name", u"4");
    EXPECT_EQ(dumpOf(), u"\n\\Key\n\\Key\\Sub\n Name=3\n\\Key\\Sub\\Deep\n =1\n\\Keys\n name=4\n");
    EXPECT_EQ(QXRegistryDeleteValue(QX_HKEY_USER, u"Key\\Sub", u"nAME"), result::Ok);
    EXPECT_EQ(QXRegistryDeleteValue(QX_HKEY_USER, u"Key\\Sub", u"Name"), result::NotFound);
    EXPECT_EQ(subkeysOf(u"Key\\Sub"), Names{u"Deep"});
    EXPECT_EQ(QXRegistryDeleteKey(QX_HKEY_USER, u"key\\sub"), result::Ok);
    EXPECT_EQ(dumpOf(), u"\n\\Key\n\\Keys\n name=4\n"); // without anything in it, a key stays
}

TEST_F(Registry, AppliesChangesInTheirOrderOrNoneOfThem) {
    setText(u"Old", u"name", u"");
    const auto change = [](int32_t kind, const char16_t* path, const char16_t* name = u"") {
        return QXRegistryChange{kind, QX_REG_BYTES, path, name, "1", 1};
    };
    const QXRegistryChange changes[] = {
        change(QX_REG_DELETE_KEY, u"Old"),
        change(QX_REG_DELETE_KEY, u"Never"),
        change(QX_REG_DELETE_VALUE, u"Absent", u"name"), // makes no key
        change(QX_REG_CREATE_KEY, u"Empty"),
        change(QX_REG_SET_VALUE, u"New", u"kept"),
        change(QX_REG_SET_VALUE, u"New", u"gone"),
        change(QX_REG_DELETE_VALUE, u"New", u"gone"),
        change(99, u"New"),
    };
    uint64_t before, after;
    EXPECT_EQ(QXRegistryApply(QX_HKEY_USER, changes, 8), result::InvalidArgument);
    EXPECT_EQ(subkeysOf(u""), Names{u"Old"});
    QXRegistryGetVersion(QX_HKEY_USER, &before);
    EXPECT_EQ(QXRegistryApply(QX_HKEY_USER, changes, 7), result::Ok);
    EXPECT_EQ(subkeysOf(u""), (Names{u"Empty", u"New"}));
    EXPECT_EQ(valuesOf(u"New"), Names{u"kept"});
    QXRegistryGetVersion(QX_HKEY_USER, &after);
    EXPECT_NE(before, after);
}

TEST_F(Registry, FilesAreForTheirOwnerWhateverTheUmask) {
    const mode_t before = ::umask(0);
    setText(u"Key", u"", u"");
    ::umask(0777);
    QXRegistrySetValue(QX_HKEY_CONFIG, u"Key", u"", QX_REG_BYTES, "", 0);
    ::umask(before);
    EXPECT_EQ(modeOf(registry.folder()), fs::perms(0700));
    EXPECT_EQ(modeOf(registry.userFile()), fs::perms(0600));
    EXPECT_EQ(modeOf(registry.folder() + "/config-64.qxreg"), fs::perms(0600));

    // Whoever may write the file or exchange it may choose what the user's programs load.
    for (const std::string& open : {registry.userFile(), registry.folder()}) {
        SCOPED_TRACE(open);
        fs::permissions(open, fs::perms::group_write, fs::perm_options::add);
        registry.use();
        EXPECT_EQ(getText(u"Key", u""), std::nullopt);
        EXPECT_EQ(trySetText(u"Key", u"", u""), result::AccessDenied);
        fs::permissions(open, fs::perms::group_write, fs::perm_options::remove);
    }
    registry.use();
    EXPECT_EQ(trySetText(u"Key", u"", u""), result::Ok);
}

TEST_F(Registry, StaysSmallBehindALinkAndKeepsAllInIt) {
    const std::string folder = registry.folder(), elsewhere = folder + "-elsewhere";
    setText(u"Kept\\Sub\\Deep", u"Name", u"v");
    const QXRegistryChange empty{QX_REG_CREATE_KEY, QX_REG_BYTES, u"Kept\\Empty", u"", nullptr, 0};
    QXRegistryApply(QX_HKEY_USER, &empty, 1);
    fs::rename(registry.userFile(), elsewhere);
    fs::create_symlink(elsewhere, registry.userFile());
    writeFile(elsewhere.substr(0, elsewhere.rfind('/') + 1) +
                  ".registry-elsewhere.0123456789ABCDEF.tmp",
              "left by a killed process");
    const std::string block(8000, 'x');
    for (int i = 0; i < 30; ++i)
        QXRegistrySetValue(QX_HKEY_USER, u"Often", u"", QX_REG_BYTES, block.data(), 8000 - i);
    EXPECT_LT(fs::file_size(elsewhere), 100000u);
    EXPECT_TRUE(fs::is_symlink(registry.userFile()));
    EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(folder).parent_path()), {}), 2);
    for (int reader = 0; reader < 2; ++reader) {
        EXPECT_EQ(subkeysOf(u"Kept"), (Names{u"Empty", u"Sub"}));
        EXPECT_EQ(getText(u"kept\\SUB\\deep", u"name"), u"v");
        int32_t length = 0;
        QXRegistryGetValue(QX_HKEY_USER, u"Often", u"", nullptr, nullptr, &length);
        EXPECT_EQ(length, 8000 - 29);
        registry.use();
    }
    fs::remove(elsewhere);
    EXPECT_EQ(trySetText(u"Key", u"", u""), result::NotFound) << "the link leads nowhere";
}

TEST_F(Registry, HoldsAHundredThousandKeys) {
    constexpr int Keys = 100000;
    std::vector<std::u16string> paths;
    std::vector<QXRegistryChange> changes;
    for (int i = 0; i < Keys; ++i)
        paths.push_back(u"Many\\" + std::u16string{static_cast<char16_t>(0x3400 + i / 1000), u'\\',
                                                   static_cast<char16_t>(0x3400 + i % 1000)});
    for (const auto& path : paths)
        changes.push_back({QX_REG_SET_VALUE, QX_REG_UINT32, path.c_str(), u"n", "1234", 4});
    ASSERT_EQ(QXRegistryApply(QX_HKEY_USER, changes.data(), Keys), result::Ok);
    registry.use();
    EXPECT_EQ(subkeysOf(u"Many").size(), size_t{Keys} / 1000);
    int32_t length = 0;
    for (const auto& path : paths)
        ASSERT_EQ(QXRegistryGetValue(QX_HKEY_USER, path.c_str(), u"n", nullptr, nullptr, &length),
                  result::Ok);
    EXPECT_EQ(QXRegistryDeleteKey(QX_HKEY_USER, u"Many"), result::Ok);
    EXPECT_LT(fs::file_size(registry.userFile()), 1000u); // compacted to nothing
}

TEST(RegistryFolder, FollowsTheUsersEnvironment) {
    char buffer[4096];
    const char* const before = std::getenv("XDG_DATA_HOME");
    const std::string saved = before != nullptr ? before : "";
    ::setenv("XDG_DATA_HOME", "/data", 1);
    EXPECT_EQ(QXRegistryGetFolder(buffer, sizeof buffer), result::Ok);
    EXPECT_STREQ(buffer, "/data/qx/registry");
    ::setenv("XDG_DATA_HOME", "relative", 1); // not taken
    EXPECT_EQ(QXRegistryGetFolder(buffer, sizeof buffer), result::Ok);
    EXPECT_TRUE(std::string(buffer).ends_with("/.local/share/qx/registry")) << buffer;
    ::setenv("XDG_DATA_HOME", saved.c_str(), 1); // an empty one is none
    EXPECT_EQ(QXRegistryGetFolder(buffer, 3), result::BufferTooSmall);
}
