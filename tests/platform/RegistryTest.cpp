#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>

#include <qx/platform/registry.h>

// The two ways to compute the checksum cannot be told apart from outside.
#include "qx/platform/detail/Crc32c.h"

#include "tests/support/ChildProcess.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/TemporaryRegistry.h"

namespace fs = std::filesystem;
using namespace qx;
using namespace qxtest;

namespace {

using Names = std::vector<std::u16string>;

/// Stores the text with its 0 unit.
int32_t trySetText(const std::u16string& path, const std::u16string& name,
                   const std::u16string& text) {
    return QXRegistrySetValue(QX_HKEY_USER, path.c_str(), name.c_str(), QX_REG_STRING, text.c_str(),
                              static_cast<int32_t>((text.size() + 1) * sizeof(char16_t)));
}

void setText(const std::u16string& path, const std::u16string& name, const std::u16string& text) {
    ASSERT_EQ(trySetText(path, name, text), result::Ok);
}

constexpr char16_t Unreadable[] = u"?!";

/// What setText stored.
std::u16string getText(const std::u16string& path, const std::u16string& name = u"") {
    char16_t text[8192];
    int32_t length = sizeof text;
    const int32_t result =
        QXRegistryGetValue(QX_HKEY_USER, path.c_str(), name.c_str(), nullptr, text, &length);
    return result < 0 ? Unreadable : std::u16string(text, static_cast<size_t>(length) / 2 - 1);
}

/// A text has its 0 unit behind it, which is stored as well.
QXRegistryChange change(int32_t kind, const char16_t* path, const char16_t* name = u"",
                        std::u16string_view text = u"1") {
    const auto length = static_cast<int32_t>((text.size() + 1) * sizeof(char16_t));
    return {kind, QX_REG_STRING, path, name, text.data(), length};
}

int32_t apply(std::initializer_list<QXRegistryChange> changes) {
    return QXRegistryApply(QX_HKEY_USER, changes.begin(), static_cast<int32_t>(changes.size()));
}

using Next = int32_t (*)(QXHandle, char16_t*, int32_t*);

/// The names that a walk shows.
Names namesOf(QXHandle walk, Next next) {
    Names names;
    std::u16string name(65536, u'\0');
    auto length = static_cast<int32_t>(name.size());
    for (; next(walk, name.data(), &length) >= 0; length = static_cast<int32_t>(name.size()))
        names.push_back(name.substr(0, static_cast<size_t>(length)));
    EXPECT_EQ(QXRegistryCloseEnum(walk), result::Ok);
    return names;
}

/// Those of a key; none when there is no such key.
template <auto Open, Next Next>
Names namesIn(const std::u16string& path) {
    QXHandle walk;
    return Open(QX_HKEY_USER, path.c_str(), &walk) < 0 ? Names() : namesOf(walk, Next);
}

constexpr auto subkeysOf = namesIn<&QXRegistryOpenKeyEnum, &QXRegistryEnumNextKey>;
constexpr auto valuesOf = namesIn<&QXRegistryOpenValueEnum, &QXRegistryEnumNextValue>;

/// All keys below @p path with their values, one a line.
std::u16string dumpOf(const std::u16string& path = u"") {
    std::u16string dump = path + u'\n';
    for (const auto& name : valuesOf(path))
        dump += u' ' + name + u'=' + getText(path, name) + u'\n';
    for (const auto& name : subkeysOf(path))
        dump += dumpOf(path + u'\\' + name);
    return dump;
}

struct Registry : testing::Test {
    TemporaryRegistry registry;
};

fs::perms modeOf(const std::string& path) { return fs::status(path).permissions(); }

// The types of values and the room that they take are the business of the class.
TEST_F(Registry, RefusesWhatItCannotKeep) {
    const std::u16string longName(65536, u'n');
    std::u16string deepPath;
    for (int i = 0; i < 513; ++i)
        deepPath += u"d\\";
    const auto set = [](const std::u16string& path, const std::u16string& name,
                        ENUM_QX_REG_TYPE type, const void* data, int32_t length) {
        return QXRegistrySetValue(QX_HKEY_USER, path.c_str(), name.c_str(), type, data, length);
    };
    expectEach(static_cast<int32_t>(0x800700CE),
               {set(longName, u"", QX_REG_BYTES, "", 0), set(u"k", longName, QX_REG_BYTES, "", 0),
                set(deepPath, u"", QX_REG_BYTES, "", 0)});
    expectEach(result::InvalidArgument,
               {set(u"k", u"", QX_REG_STRING, "abc", 3), set(u"k", u"", QX_REG_UINT32, "abcde", 5),
                set(u"k", u"", QX_REG_UINT64, "abcd", 4), set(u"k", u"", QX_REG_BYTES, "", -1),
                set(u"k", u"", QX_REG_BYTES, "", (64 << 20) + 1),
                set(u"k", u"", static_cast<ENUM_QX_REG_TYPE>(4), "", 0),
                QXRegistryDeleteKey(static_cast<ENUM_QX_HKEY>(-1), u"k"),
                QXRegistryDeleteKey(static_cast<ENUM_QX_HKEY>(5), u"k"),
                QXRegistryDeleteKey(QX_HKEY_USER, u"\\"), QXRegistrySetFolder("relative")});
    EXPECT_EQ(set(u"k", u"", QX_REG_BYTES, nullptr, 1), result::NullPointer);
    EXPECT_FALSE(fs::exists(registry.folder()));
}

TEST_F(Registry, FindsNamesOfAnyUnitsWithoutRegardToCase) {
    const std::pair<std::u16string, std::u16string> writtenAndAsked[] = {
        {u"..", u".."},
        {u"a/b", u"A/B"},
        {u" \x01\n\xFFFF", u" \x01\n\xFFFF"},
        {u"\xD800", u"\xD800"}, // lone surrogates, the second half before the first
        {u"\xDC00\xD800", u"\xDC00\xD800"},
        {u"\u00C4\u03A9\u0416\u01C5", u"\u00E4\u03C9\u0436\u01C6"}, // the last a title case
        {std::u16string(4000, u'x'), std::u16string(4000, u'X')},
    };
    for (const auto& [name, asked] : writtenAndAsked) {
        setText(u"Values", name, name.substr(0, 9));
        setText(u"Keys\\" + name, u"", name.substr(0, 9));
    }
    setText(u"Values", u"back\\slash", u"a value's name may have it");
    setText(u"Values", std::u16string(65535, u'y'), u"the longest name");
    registry.use();
    for (const auto& [name, asked] : writtenAndAsked) {
        EXPECT_EQ(getText(u"values", asked), name.substr(0, 9));
        EXPECT_EQ(getText(u"KEYS\\" + asked, u""), name.substr(0, 9));
    }
    EXPECT_EQ(subkeysOf(u"Keys").size(), std::size(writtenAndAsked));
    EXPECT_EQ(getText(u"Values", std::u16string(65535, u'Y')), u"the longest name");
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
    EXPECT_EQ(namesOf(walk, &QXRegistryEnumNextKey), (Names{u"A", u"b", u"B2", u"c"}));
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
        EXPECT_EQ(getText(u"Key"), Unreadable);
        EXPECT_EQ(trySetText(u"Key", u"", u""), result::AccessDenied);
        fs::permissions(open, fs::perms::group_write, fs::perm_options::remove);
    }
    registry.use();
    EXPECT_EQ(trySetText(u"Key", u"", u""), result::Ok);
}

TEST_F(Registry, StaysSmallBehindALinkAndKeepsAllInIt) {
    const std::string folder = registry.folder(), elsewhere = folder + "-elsewhere";
    setText(u"Kept\\Sub\\Deep", u"Name", u"v");
    apply({change(QX_REG_CREATE_KEY, u"Kept\\Empty")});
    fs::rename(registry.userFile(), elsewhere);
    fs::create_symlink(elsewhere, registry.userFile());
    writeFile(elsewhere.substr(0, elsewhere.rfind('/') + 1) +
                  ".registry-elsewhere.0123456789ABCDEF.tmp",
              "left by a killed process");
    for (size_t i = 0; i < 30; ++i)
        setText(u"Often", u"", std::u16string(4000 - i, u'x'));
    EXPECT_LT(fs::file_size(elsewhere), 100000u);
    EXPECT_TRUE(fs::is_symlink(registry.userFile()));
    EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(folder).parent_path()), {}), 2);
    for (int reader = 0; reader < 2; ++reader) {
        EXPECT_EQ(subkeysOf(u"Kept"), (Names{u"Empty", u"Sub"}));
        EXPECT_EQ(getText(u"kept\\SUB\\deep", u"name"), u"v");
        EXPECT_EQ(getText(u"Often").size(), 4000u - 29);
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
        changes.push_back(change(QX_REG_SET_VALUE, path.c_str()));
    ASSERT_EQ(QXRegistryApply(QX_HKEY_USER, changes.data(), Keys), result::Ok);
    registry.use();
    EXPECT_EQ(subkeysOf(u"Many").size(), size_t{Keys} / 1000);
    for (const auto& path : paths)
        ASSERT_EQ(getText(path), u"1");
    EXPECT_EQ(QXRegistryDeleteKey(QX_HKEY_USER, u"Many"), result::Ok);
    EXPECT_LT(fs::file_size(registry.userFile()), 1000u); // compacted to nothing
}

constexpr size_t HeaderBytes = 32;

/// A file, and the sizes and contents that it had on its way.
struct RegistryDamage : Registry {
    struct Stage {
        size_t size;
        std::u16string dump;
    };

    void SetUp() override {
        const QXRegistryChange changes[] = {
            change(QX_REG_SET_VALUE, u"A\\B", u"first"),
            change(QX_REG_CREATE_KEY, u"A\\Empty"),
            change(QX_REG_SET_VALUE, u"A\\C", u"second", u"a longer text"),
            change(QX_REG_DELETE_VALUE, u"a\\b", u"First"),
            change(QX_REG_SET_VALUE, u"A\\B", u"third", u""),
            change(QX_REG_DELETE_KEY, u"A\\C"),
        };
        for (const auto& each : changes) {
            ASSERT_EQ(apply({each}), result::Ok);
            stages.push_back({fs::file_size(registry.userFile()), dumpOf()});
        }
        whole = readFile(registry.userFile());
    }

    /// Makes the bytes the content of the file, which stays: emptied files are slow to write again.
    /// The next use of the registry is that of a program that has just started.
    void put(const std::string& bytes) const {
        std::fstream(registry.userFile(), std::ios::in | std::ios::out | std::ios::binary) << bytes;
        fs::resize_file(registry.userFile(), bytes.size());
        registry.use();
    }

    int32_t tryRead() const {
        uint64_t version;
        return QXRegistryGetVersion(QX_HKEY_USER, &version);
    }

    /// What a file of the first @p size bytes holds.
    std::u16string dumpAt(size_t size) const {
        std::u16string dump = u"\n";
        for (const Stage& stage : stages) {
            if (stage.size <= size)
                dump = stage.dump;
        }
        return dump;
    }

    std::vector<Stage> stages;
    std::string whole;
};

TEST_F(RegistryDamage, CutAtEveryByteLeavesTheLastWholeStateToGoOnFrom) {
    std::mt19937 random(7);
    for (size_t size = 0; size < whole.size(); ++size) {
        SCOPED_TRACE(size);
        put(whole.substr(0, size));
        if (size < HeaderBytes) {
            ASSERT_EQ(tryRead(), result::Corrupt);
            ASSERT_EQ(trySetText(u"A", u"", u""), result::Corrupt);
            continue;
        }
        ASSERT_EQ(dumpOf(), dumpAt(size));
        // The writer comes back and finishes, in the same instant.
        std::ofstream(registry.userFile(), std::ios::app) << whole.substr(size);
        ASSERT_EQ(dumpOf(), stages.back().dump);
        if (random() % 12 > 0)
            continue;
        // Or the next one cuts the tail off, and what the disk had there before.
        const std::string rest = std::string(random() % 60, 'x') + std::string(random() % 99, '\0');
        put(whole.substr(0, size) + (random() % 2 ? rest : ""));
        setText(u"Z", u"", u"after");
        for (int reader = 0; reader < 2; ++reader) {
            ASSERT_EQ(dumpOf(), dumpAt(size) + u"\\Z\n =after\n");
            registry.use();
        }
    }
}

TEST_F(RegistryDamage, FlippedBitIsReportedOrUndoesTheLastChangeAlone) {
    const size_t lastChange = stages[stages.size() - 2].size;
    for (size_t at = 0; at < whole.size(); ++at) {
        for (int bit = 0; bit < 8; ++bit) {
            SCOPED_TRACE(std::to_string(at) + " " + std::to_string(bit));
            std::string bytes = whole;
            bytes[at] = static_cast<char>(bytes[at] ^ 1 << bit);
            put(bytes);
            if (at >= lastChange) {
                ASSERT_EQ(dumpOf(), dumpAt(lastChange));
                continue;
            }
            ASSERT_EQ(tryRead(), result::Corrupt);
            if (bit == 0) { // the bytes are still there for somebody who can mend them
                ASSERT_EQ(trySetText(u"A", u"", u""), result::Corrupt);
                ASSERT_EQ(readFile(registry.userFile()), bytes);
            }
        }
    }
}

TEST_F(RegistryDamage, NothingIsTakenFromAnotherPlaceOrFile) {
    const size_t first = stages[0].size, second = stages[1].size;
    const std::string firstChange = whole.substr(HeaderBytes, first - HeaderBytes);
    const std::string secondChange = whole.substr(first, second - first);
    // The same change in a file of another generation.
    fs::remove(registry.userFile());
    setText(u"A\\B", u"first", u"1");
    const std::string other = readFile(registry.userFile());
    ASSERT_EQ(other.size(), first);
    put(whole.substr(0, second) + secondChange); // once more
    EXPECT_EQ(dumpOf(), stages[1].dump);
    put(other.substr(0, HeaderBytes) + firstChange);
    EXPECT_EQ(dumpOf(), u"\n");
    put(whole.substr(0, HeaderBytes) + secondChange + firstChange);
    EXPECT_EQ(tryRead(), result::Corrupt);
}

TEST_F(RegistryDamage, WriteThatFailsHalfwayLeavesWhatWasThere) {
    for (const size_t room : {0U, 1U, 100U}) {
        withFileSizeLimit(whole.size() + room, [&] {
            EXPECT_LT(trySetText(u"A\\New", u"", std::u16string(200, u'x')), 0);
        });
        EXPECT_EQ(dumpOf(), stages.back().dump);
        EXPECT_EQ(readFile(registry.userFile()), whole);
    }
    setText(u"A\\New", u"", u"now");
    EXPECT_EQ(getText(u"A\\New"), u"now");
}

TEST(Crc32c, AgreesWithTheTablesAndTheKnownValue) {
    EXPECT_EQ(platform::crc32c(platform::crc32c(0, "123456", 6), "789", 3), 0xE3069283u);
    std::mt19937 random(1);
    std::vector<uint8_t> bytes(300);
    std::ranges::generate(bytes, [&] { return static_cast<uint8_t>(random()); });
    for (size_t start = 0; start < 9; ++start) {
        for (size_t length = 0; length < 290; ++length) {
            const auto before = static_cast<uint32_t>(random());
            ASSERT_EQ(platform::crc32c(before, &bytes[start], length),
                      platform::crc32cByTable(before, &bytes[start], length));
        }
    }
}

// A thread that waits for the file of a stopped process kept the lock that forks wait for.
TEST(RegistryProcesses, AStoppedWriterHoldsUpNoFork) {
    const TemporaryRegistry registry;
    setText(u"Before", u"", u"all");
    const int file = open(registry.userFile().c_str(), O_RDWR | O_CLOEXEC);
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(file, F_OFD_SETLK, &whole), 0);
    std::thread writer([] { setText(u"After", u"", u"all"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(holdsInFork([] { return getText(u"Before") == u"all"; }));
    EXPECT_EQ(getText(u"After"), Unreadable);
    whole.l_type = F_UNLCK;
    EXPECT_EQ(fcntl(file, F_OFD_SETLK, &whole), 0);
    writer.join();
    EXPECT_EQ(getText(u"After"), u"all");
    whole.l_type = F_RDLCK; // which takes no right to write
    EXPECT_EQ(fcntl(file, F_OFD_SETLK, &whole), 0);
    EXPECT_EQ(apply({change(QX_REG_SET_VALUE, u"After")}), result::Busy);
    close(file);
}

} // namespace
