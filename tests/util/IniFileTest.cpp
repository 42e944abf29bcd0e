#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>

#include <sys/stat.h>

#include <qx/qx.h>

#include "tests/ipc/IpcTesting.h"
#include "tests/support/BlockingThread.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"
#include "tests/support/FailingCalls.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestLocale.h"

namespace {

using namespace qx;
using namespace qx::util;
using namespace qxtest;

namespace fs = std::filesystem;

/// The value of a key as UTF-8, or "(code)" for a negative result.
std::string valueOf(IniFile& ini, const char16_t* set, const char16_t* key) {
    char16_t buffer[600];
    const int32_t result = ini.GetValue(set, key, buffer, std::size(buffer));
    return result < 0 ? "(" + std::to_string(result) + ")" : String(buffer).toUtf8();
}

/// Sets, keys and values in their order: "[Set]key=value;key=value;[Set]".
std::string contentOf(IniFile& ini) {
    std::string content;
    for (const String& set : IniFileSetIterator(ini, u"")) {
        content += "[" + set.toUtf8() + "]";
        for (const String& key : IniFileKeyIterator(ini, set.getData()))
            content += key.toUtf8() + "=" + valueOf(ini, set.getData(), key.getData()) + ";";
    }
    return content;
}

/// The type and the description of the exception that @p body throws.
std::pair<int, String> iniFailureOf(auto&& body) {
    try {
        body();
    } catch (const IniFileException& exception) {
        return {exception.GetType(), exception.getDescription()};
    }
    return {-1, String(u"nothing was thrown")};
}

struct IniFileTest : testing::Test {
    IniFile open() const { return IniFile(path); }
    IniFile open(const std::string& text) const {
        writeFile(path, text);
        return open();
    }
    std::string contentOfText(const std::string& text) const {
        IniFile ini = open(text);
        return contentOf(ini);
    }
    /// What the file holds after a rewriting that changes nothing.
    std::string rewritten(const std::string& text) const {
        IniFile ini = open(text);
        expectEach(result::Ok, {ini.DeleteSet(u"no such set"), ini.getWriteResult()});
        return readFile(path);
    }

    /// Makes the file as it is when nobody has changed it for some time.
    void writeOld(const std::string& text) const {
        writeFile(path, text);
        fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(1));
    }

    TestLocale locale{"C.UTF-8"};
    TemporaryFolder folder{TemporaryFolder::InMemory};
    const std::string path = folder.path("f.ini");
};

const std::string Bom = "\xEF\xBB\xBF";

TEST_F(IniFileTest, ReadsByTheRules) {
    ASSERT_TRUE(locale.isSet());
    const std::string longValue(600, 'v'), replaced = "\xEF\xBF\xBD";
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"[a]\nk=v", "[a]k=v;"},
        {"[b]\nz=1\nA=2\n[a]\n", "[a][b]A=2;z=1;"},
        {"[a]\r\n \t k = v \r\n", "[a]"},
        {"[a]\r\nk \t= \tv w \t\r\n", "[a]k=v w;"},
        {"[a]\na = b = ; c\n=empty\ne=\n", "[a]=empty;a=b = ; c;e=;"},
        {"[a]\n#k=1\n:k=2\n;k=3\n\n\v=\n\f=\n", "[a]"},
        // Cases of one name: the first letters, the last value.
        {"[a]\nKey=1\nkEY=2\n", "[a]Key=2;"},
        {"[a]\n\xC3\x84=1\n\xC3\xA4=2\n", "[a]\xC3\x84=2;"},
        // Sets that come again are replaced, not merged.
        {"[Net]\nport=1\n[NET]\nhost=x\n", "[Net]host=x;"},
        // Set names are not trimmed and end at the last bracket.
        {"[ a ] x\nk=1\n[b]]c]d\n", "[ a ]k=1;[b]]c]"},
        // A set without a name is kept only if another follows.
        {"[]\nk=1\n[a]\n", "[]k=1;[a]"},
        {"[a]\n[]\nk=1\n", "[a]"},
        // Where reading ends, what was read stays.
        {"[a]\nk=1\n[b\nx=2\n[c]\n", "[a]k=1;"},
        {"[a]\nk=1\nstop\nx=2\n[c]\n", "[a]k=1;"},
        // A line holds 510 bytes; the next piece is a line of its own.
        {"[a]\nk=" + longValue, "[a]k=" + longValue.substr(0, 508) + ";"},
        {"[a]\nk=" + longValue.substr(0, 508) + "x=y\n",
         "[a]k=" + longValue.substr(0, 508) + ";x=y;"},
        {"[a]\nk=" + longValue.substr(0, 508) + " x=y\nl=1",
         "[a]k=" + longValue.substr(0, 508) + ";l=1;"},
        {"[a]\n#" + longValue + "\nk=1\n", "[a]"},
        // A 0 byte ends its line.
        {std::string("[a]\nk=1\0x=\n\0=\nl=2\0", 18), "[a]k=1;l=2;"},
        {std::string("[a\0]\nl=2", 8), ""},
        // Byte order marks, which may stand before any line.
        {Bom + "[\xC3\xA4]\nk=\xE4\xB8\xAD\n", "[\xC3\xA4]k=\xE4\xB8\xAD;"},
        {std::string("[a]\n") + Bom + "k=1\n" + Bom + "\n" + Bom + "#\n", "[a]k=1;"},
        {Bom, ""},
        // Bytes that are no text.
        {"[a]\nk=\xF5\x80\x80\x80\n", "[a]k=" + replaced + replaced + replaced + replaced + ";"},
        {"[a]\nk=\xFF\xC3\n", "[a]k=" + replaced + replaced + ";"},
    };
    for (const auto& [text, content] : cases)
        EXPECT_EQ(contentOfText(text), content) << text;
}

TEST_F(IniFileTest, DecodesAsTheLocaleSaysUnlessAByteOrderMarkWasSeen) {
    const TestLocale latin("de_DE", "ISO-8859-1");
    if (!latin.isSet())
        GTEST_SKIP() << "no such locale";
    EXPECT_EQ(contentOfText("[a]\nk=\xE4\n"), "[a]k=\xC3\xA4;");
    EXPECT_EQ(contentOfText(std::string("[a]\nk=\xE4\n") + Bom + "l=\xC3\xA4\n"),
              "[a]k=\xC3\xA4;l=\xC3\xA4;");
    EXPECT_EQ(rewritten(Bom + "[\xC3\xA4]\n"), "[\xE4]\n\n");
    // So are the texts of the system, which are German where it has them.
    EXPECT_FALSE(describe(ResultException(result::InvalidArgument)).contains(u'\xFFFD'));
    // What the encoding has no form for is refused rather than cut, also when it is there already.
    for (const std::string& text : {std::string("[a]\nk=\xE4\n"), Bom + "[a]\nk=中\n"}) {
        IniFile ini = open(text);
        const std::string before = contentOf(ini);
        expectEach(result::UnmappableCharacter,
                   {ini.AddKey(u"a", u"k", u"M中", true), ini.AddKey(u"a", u"M中", u"", true),
                    ini.AddKey(u"M中", u"k", u"", true)});
        if (text.starts_with(Bom))
            expectEach(result::UnmappableCharacter,
                       {ini.DeleteSet(u"b"), ini.AddKey(u"b", u"k", u"v", true)});
        EXPECT_EQ(readFile(path), text);
        std::filesystem::remove(path); // so that memory alone can undo a change
        EXPECT_EQ(ini.AddKey(u"b", u"k", u"中", true), result::UnmappableCharacter);
        EXPECT_EQ(contentOf(ini), before);
        EXPECT_EQ(ini.AddKey(u"a", u"k", u"ä", true), result::Ok);
        EXPECT_EQ(readFile(path), "[a]\nk=\xE4\n\n");
    }
}

TEST_F(IniFileTest, WritesSortedWithoutCommentsAndKeepsWhatItDidNotRead) {
    const std::string unread =
        std::string("stop here\n\n# comment\n [x] \nk=\xFF") + '\0' + "\n[B]";
    const std::pair<std::string, std::string> cases[] = {
        {"[]\nk=v\n[]", "[]\nk=v\n\n[]\n"},
        {"# c\n[b]\ny = 2\nX=1\n\n[A]\nk=v ; c", "[A]\nk=v ; c\n\n[b]\nX=1\ny=2\n\n"},
        {"[b]\nk=1\n[a]\n" + unread, "[a]\n\n[b]\nk=1\n\n" + unread},
        {unread, unread},
        {"[a]\nk=1\n[b\nx=2\n", "[a]\nk=1\n\n[b\nx=2\n"},
        // Bytes that are no text come back as they were.
        {"[\xFF] \xFF\nk = \xFF\xFE\r\n\xE4=1\n", "[\xFF]\nk=\xFF\xFE\n\xE4=1\n\n"},
        {"[A]\n[a] \xFF\nKey=1\nkEY=\xFF\n", "[A]\nKey=\xFF\n\n"},
        {"[a]\n\xC3\xA4 = \xE4\xB8\xAD\n", "[a]\n\xC3\xA4=\xE4\xB8\xAD\n\n"},
        {"[a]\n\xE4=\x9F\n\xFF=\n", "[a]\n\xEF\xBF\xBD=\n\n"}, // would take "=" along
    };
    for (const auto& [text, written] : cases) {
        EXPECT_EQ(rewritten(text), written);
        EXPECT_EQ(rewritten(written), written);
    }
}

TEST_F(IniFileTest, CutsLongTextsInTheFile) {
    IniFile ini = open();
    const std::u16string longText(400, u'x'), wideText(200, u'ä');
    EXPECT_EQ(ini.AddKey(longText.c_str(), longText.c_str(), wideText.c_str(), true), result::Ok);
    EXPECT_EQ(ini.getWriteResult(), result::BufferTooSmall);
    EXPECT_EQ(readFile(path), "[" + std::string(259, 'x') + "]\n" + std::string(254, 'x') + "=" +
                                  String(u'ä', 127).toUtf8() + "\n\n");
    EXPECT_EQ(valueOf(ini, longText.c_str(), longText.c_str()), String(wideText).toUtf8());
}

TEST_F(IniFileTest, FourOperationsReportByResultAndCopyAsMuchAsFits) {
    IniFile ini = open();
    EXPECT_EQ(ini.AddKey(u"Set", u"Key", u"1", false), result::Ok);
    EXPECT_EQ(ini.AddKey(u"Set", u"Key ", u"2", false), result::InvalidArgument);
    // Whether the value could be written or not.
    EXPECT_EQ(ini.AddKey(u"SET", u"KEY", u"2\n", false), result::AlreadyExists);
    EXPECT_EQ(valueOf(ini, u"set", u"key"), "1");
    expectEach(result::Ok,
               {ini.AddKey(u"SET", u"KEY", u"2", true), ini.AddKey(u"Set", u"a", u"3", true),
                ini.AddKey(u"Set", u"b", u"4", true)});
    EXPECT_EQ(readFile(path), "[Set]\na=3\nb=4\nKey=2\n\n");
    expectEach(result::NotFound, {ini.DeleteKey(u"set", u"none"), ini.DeleteKey(u"none", u"key")});
    expectEach(result::Ok, {ini.DeleteKey(u"set", u"key"), ini.DeleteKey(u"set", u"A"),
                            ini.DeleteKey(u"set", u"b")});
    EXPECT_EQ(readFile(path), "[Set]\n\n");
    std::u16string buffer = u"###";
    EXPECT_EQ(ini.GetValue(u"set", u"key", buffer.data(), 4), result::NotFound);
    EXPECT_EQ(buffer[0], u'#');
    expectEach(result::Ok, {ini.DeleteSet(u"none"), ini.DeleteSet(u"SET")});
    EXPECT_EQ(readFile(path), "");
    expectEach(result::NullPointer,
               {ini.AddKey(nullptr, u"k", u"v", true), ini.DeleteKey(u"a", nullptr),
                ini.DeleteSet(nullptr), ini.GetValue(u"a", u"k", nullptr, 1)});
    writeFile(path, "[a]\nk=four\n");
    for (uint64_t room = 0; room <= 6; ++room) {
        buffer.assign(8, u'#');
        EXPECT_EQ(ini.GetValue(u"a", u"k", buffer.data(), room),
                  room >= 5 ? result::Ok : result::BufferTooSmall);
        const auto copied = std::u16string(u"four\0", 5).substr(0, room);
        EXPECT_EQ(buffer, copied + std::u16string(8 - copied.size(), u'#'));
    }
}

TEST_F(IniFileTest, WalksSetsAndTheirChildren) {
    writeFile(path, "[B]\n[A\\y\\z]\n[A]\n[A\\x]\n[AB\\c]\n[a\\Q]\n[A\\Y]\n[A\\y\\a]\n");
    const std::pair<const char16_t*, const char*> cases[] = {
        {u"", "A,AB\\c,A\\Y,A\\x,A\\y\\a,A\\y\\z,B,a\\Q,"},
        {u"A", "Y,x,y,"},
        {u"A\\y", "a,z,"},
        {u"B", ""},
        {u"none", ""}};
    for (const auto& [set, expected] : cases) {
        IniFile ini = open();
        IniFileSetIterator sets(ini, set);
        EXPECT_EQ(sets.getSetName(), set);
        std::string names;
        for (const String& child : sets)
            names += child.toUtf8() + ",";
        EXPECT_EQ(names, expected);
    }
    IniFile ini = open();
    EXPECT_EQ(ini.DeleteSet(u"A"), result::Ok); // with its subsets, by exact letters
    EXPECT_EQ(contentOf(ini), "[AB\\c][B][a\\Q]");
}

TEST_F(IniFileTest, IteratorsEndInAnExceptionAndMissingFilesOnlyWhenAsked) {
    IniFile ini = open("[A\\B]\nk=1\n[C]\nx=1\ny=2\n");
    EXPECT_FALSE(IniFileKeyIterator(ini, u"A").hasNext()) << "there through its subset";
    EXPECT_EQ(iniFailureOf([&] { IniFileKeyIterator(ini, u"none"); }),
              std::pair(int{IniFileException::SET_NOT_FOUND}, String(u"none")));
    IniFileKeyIterator keys(ini, u"c");
    EXPECT_EQ(ini.DeleteSet(u"C"), result::Ok);
    EXPECT_EQ(keys.next(), u"x");
    EXPECT_EQ(keys.next(), u"y");
    EXPECT_EQ(iniFailureOf([&] { keys.next(); }),
              std::pair(int{IniFileException::NO_MORE_ELEMENTS}, String()));
    fs::remove(path);
    EXPECT_EQ(iniFailureOf([&] { IniFile(path, nullptr, 1); }),
              std::pair(int{IniFileException::FILE_NOT_READ}, String::fromUtf8(path)));
    EXPECT_EQ(IniFile(nullptr).DeleteSet(u"a"), result::Ok);
    IniFile unnamed(u"\xD800"); // which has no form
    EXPECT_EQ(unnamed.AddKey(u"a", u"k", u"v", true), result::Ok);
    EXPECT_EQ(unnamed.getWriteResult(), result::UnmappableCharacter);
    EXPECT_EQ(unnamed.view().report().reason, u"unmappable character");
    EXPECT_EQ(valueOf(unnamed, u"a", u"k"), "v");
}

TEST_F(IniFileTest, NoticesEveryChangeOfOthers) {
    writeFile(path, "[a]\nk=0\n");
    fs::current_path(folder.path());
    IniFile ini("f.ini"), other = open();
    fs::current_path("/");
    FailingCalls calls;
    for (int i = 0; i < 60; ++i) {
        const std::string value = std::to_string(i % 10);
        // In turn: one of the objects, an editor that writes in place, one that replaces. All of
        // the same size and within a tick of the file system's clock, first a fine one, then one of
        // whole seconds.
        calls.setCoarse(i >= 30);
        if (i % 3 == 0) {
            (i % 2 == 0 ? other : ini).AddKey(u"a", u"k", String::fromUtf8(value), true);
        } else if (i % 3 == 1) {
            const auto time = fs::last_write_time(path);
            writeFile(path, "[a]\nk=" + value + "\n\n");
            if (i >= 30)
                fs::last_write_time(path, time);
        } else {
            writeFile(folder.path("new"), "[a]\nk=" + value + "\n\n");
            fs::rename(folder.path("new"), path);
        }
        ASSERT_EQ(valueOf(ini, u"A", u"K"), value) << i;
    }
    fs::remove(path);
    EXPECT_EQ(valueOf(ini, u"a", u"k"), "9") << "kept when the file is gone";
    EXPECT_EQ(ini.AddKey(u"a", u"l", u"1", true), result::Ok);
    EXPECT_EQ(readFile(path), "[a]\nk=9\nl=1\n\n");
}

TEST_F(IniFileTest, CopiesAreIndependentAndViewsStayAsTheyWere) {
    IniFile ini = open("[b]\nk=1\n[a]\nx=1\n");
    const IniFileView view = ini.view();
    IniFile copy = ini;
    fs::remove(path);
    EXPECT_EQ(copy.AddKey(u"a", u"x", u"2", true), result::Ok);
    fs::remove(path);
    EXPECT_EQ(valueOf(ini, u"a", u"x"), "1");
    expectEach(result::Ok, {ini.AddKey(u"a", u"A", u"3", true), ini.DeleteSet(u"b")});
    EXPECT_EQ(view.find(u"A", u"X"), u"1");
    EXPECT_EQ(view.find(u"a", u"A"), std::nullopt);
    EXPECT_TRUE(view.hasSet(u"B"));
    EXPECT_EQ(view.sets(), (std::vector<std::u16string_view>{u"a", u"b"}));
    const util::IniFileView now = ini.view();
    EXPECT_EQ(now.keys(u"A"), (std::vector<std::u16string_view>{u"A", u"x"}));
    copy = ini;
    EXPECT_EQ(contentOf(copy), "[a]A=3;x=1;");
}

TEST_F(IniFileTest, GivesTheMemoryOfReplacedValuesBack) {
    IniFile ini(folder.path("missing/f")); // cannot be written: memory alone
    const std::u16string value(200, u'v');
    const auto replace = [&](int times) {
        for (; times > 0; --times)
            ini.AddKey(u"a", u"k", value.c_str(), true);
        return liveBlocks();
    };
    const int64_t before = replace(1000);
    EXPECT_LE(replace(10'000), before);
}

TEST_F(IniFileTest, KeepsAChangeInMemoryWhateverStepOfWritingFails) {
    // A file that was changed just now is read again each time.
    for (const int age : {0, 1}) {
        for (int step = 0; step < 9; ++step) {
            const int error = step % 2 == 0 ? ENOSPC : EACCES;
            SCOPED_TRACE(testing::Message() << age << ": " << error << " at " << step);
            age == 0 ? writeFile(path, "[a]\nk=old\n") : writeOld("[a]\nk=old\n");
            IniFile ini(path, uniqueName("ini").c_str());
            {
                const FailingCalls failing(age == 0 ? step + 1 : step, error);
                EXPECT_EQ(ini.AddKey(u"a", u"k", u"new", true), result::Ok);
            }
            EXPECT_LT(ini.getWriteResult(), 0);
            EXPECT_EQ(valueOf(ini, u"a", u"k"), "new");
            // The last step makes the name durable that the file has already.
            EXPECT_EQ(readFile(path), step < 8 ? "[a]\nk=old\n" : "[a]\nk=new\n\n");
            EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1);
            expectEach(result::Ok, {ini.AddKey(u"b", u"l", u"1", true), ini.getWriteResult()});
            EXPECT_EQ(readFile(path), "[a]\nk=new\n\n[b]\nl=1\n\n");
        }
    }
}

TEST_F(IniFileTest, HasChangedNothingWhenAChangeFailsForMemory) {
    for (int failing = 0; failing < 60; ++failing) {
        IniFile ini = open("[a]\nk=v\n");
        const int32_t code = (FailingAllocator(failing), ini.AddKey(u"b", u"l", u"1", true));
        EXPECT_EQ(contentOf(ini), code < 0 ? "[a]k=v;" : "[a]k=v;[b]l=1;") << failing;
    }
}

TEST_F(IniFileTest, NeverReplacesAFileThatItCouldNotRead) {
    const std::string text = "[a]\nk=v\n";
    writeOld(text);
    std::optional<IniFile> ini;
    {
        const FailingCalls failing(0, EMFILE); // at the opening
        ini.emplace(path);
    }
    const int32_t code = (FailingCalls(0, EMFILE), ini->AddKey(u"b", u"l", u"1", true));
    EXPECT_EQ(code, result::TooManyFiles) << "and nothing is changed";
    {
        const FailingCalls failing(0, EACCES); // at the next one, for reading again
        EXPECT_EQ(ini->AddKey(u"b", u"l", u"1", true), result::Ok);
    }
    EXPECT_EQ(ini->getWriteResult(), result::AccessDenied);
    EXPECT_EQ(readFile(path), text);
    EXPECT_EQ(contentOf(*ini), "[a]k=v;") << "as soon as it can be read";
    fs::remove(path);
    ASSERT_EQ(::mkfifo(path.c_str(), 0666), 0); // nobody writes to it, so it would be waited for
    EXPECT_EQ(ini->AddKey(u"b", u"l", u"1", true), result::Ok);
    EXPECT_EQ(ini->getWriteResult(), result::AccessDenied);
    IniFile("/dev/null", nullptr, 1); // is none at all, and no error
}

TEST_F(IniFileTest, ThreadsMayShareAnObjectThatHasASemaphore) {
    IniFile ini(path, uniqueName("ini").c_str());
    inThreads(4, [&ini](int thread) {
        for (int i = 0; i < 50; ++i) {
            const String key = String(u"k").append(thread * 50 + i);
            EXPECT_EQ(ini.AddKey(u"set", key, u"value", false), 0);
            EXPECT_EQ(ini.find(u"set", key), u"value"_qs);
        }
    });
    const util::IniFileView view = ini.view();
    EXPECT_EQ(view.keys(u"set").size(), 200u);
}

struct IniKeptLinesTest : IniFileTest {
    IniFile open(const std::string& text) const {
        writeFile(path, text);
        return IniFile(path, IniFile::Lines::Kept);
    }
    /// What the file holds after the change, or why it is refused; it then stays as it was.
    std::string changed(const std::string& text, auto change) const {
        IniFile ini = open(text);
        if (const int32_t result = change(ini); result < 0) {
            EXPECT_EQ(readFile(path), text);
            return result == result::Fail ? ini.getRefusal().toUtf8() : std::to_string(result);
        }
        EXPECT_EQ(ini.getWriteResult(), result::Ok);
        return readFile(path);
    }
};

TEST_F(IniKeptLinesTest, TouchesOneLineAndRefusesGuesses) {
    const std::string along = "the \"\\\" at the end of the line before may take it along";
    const auto put = [](const char* set, const char* key, const char* value) {
        return [=](IniFile& ini) { return ini.AddKey(set, key, value, true); };
    };
    const auto remove = [](const char* key) {
        return [=](IniFile& ini) { return ini.DeleteKey("a", key); };
    };
    const auto removeSet = [](IniFile& ini) { return ini.DeleteSet(u"A"); };
    const std::tuple<std::string, std::function<int32_t(IniFile&)>, std::string> cases[] = {
        // Where it stands, with the blanks and the line end that are there.
        {"# c\r\n[B]\r\nk  =  1 \r\n;d\r\n[a]\r\n", put("b", "K", "2"),
         "# c\r\n[B]\r\nk  =  2\r\n;d\r\n[a]\r\n"},
        {"[a]\nk=1 \\\n  2 \\\nthree\n# c\nl=1", put("a", "k", " 4 "), "[a]\nk=4\n# c\nl=1"},
        // New keys behind the last line of the last such set, new sets at the end.
        {"[a]\n[a]\nk = 1\n\n# b\n[b]\nk=1", put("A", "l", "2"),
         "[a]\n[a]\nk = 1\nl = 2\n\n# b\n[b]\nk=1"},
        {"[b]\nk=1", put("a\\b", "l", "2\\"), "[b]\nk=1\n\n[a\\b]\nl=2\\\n"},
        {"[a]\nk=1 \\\n 2\nd=C:\\\n", put("a", "l", "2"), "[a]\nk=1 \\\n 2\nl=2\nd=C:\\\n"},
        {Bom + "[a]\nk=ä\n", put("a", "k", "ö"), Bom + "[a]\nk=ö\n"},
        {"[a]\nk=\xFF\nl=1\n", put("a", "l", "ö"), "[a]\nk=\xFF\nl=ö\n"},
        // Comments go only with the set that they are in.
        {"# c\n[a]\n# d\nk=1\n2\n\n[b]\n", remove("K"), "# c\n[a]\n# d\n2\n\n[b]\n"},
        {"[c]\nx=1\n# c\n[a]\n# d\nk=1\n# e\n\n# f\n[A]\n\n[ab]\n[A\\b]\n# g", removeSet,
         "[c]\nx=1\n# c\n# f\n[ab]\n"},
        {Bom + "[a]\nk=ä\n[b]\nk=ö\n", removeSet, Bom + "[b]\nk=ö\n"},
        // What would be a guess.
        {"[a]\nk=1\n[b]\n[A]\nK=2\n", put("a", "k", "3"),
         "line 5: the key stands in line 2 already"},
        {"[a]\nk=1 \\\n# c\n 2\n", remove("k"), "line 3: a comment between the lines of the value"},
        {"[a]\nd=C:\\\nk=1\n", remove("d"), "line 3: " + along},
        {"[a]\nk=1\n  2\n", put("a", "k", "3"),
         "line 3: it is indented, and may belong to the value before it"},
        {"[a]\n  k: 1\n", put("a", "k", "3"),
         "line 2: it may be the key too, but has not its form"},
        {std::string("[a]\nk=1\0\n", 9), remove("k"), "line 2: a byte 0, so that this is no text"},
    };
    for (const auto& [text, change, result] : cases)
        EXPECT_EQ(changed(text, change), result) << text;
    IniFile ini = open("[a]\nk=1 \\\n \\\n\t2\nstop\n[b\nl=1\n[A]\nm=1\n");
    EXPECT_EQ(ini.find("a", "k"), u"1   2");
    EXPECT_EQ(ini.find("A", "M"), u"1");
    EXPECT_EQ(ini.find("a", "l"), std::nullopt);
    EXPECT_EQ(ini.view().report().line, 5);
    EXPECT_EQ(IniFile("/").view().report().isComplete(), false);
}

TEST_F(IniKeptLinesTest, OneLineOfARealFileDiffers) {
    const auto linesOf = [](const std::string& text) {
        return String::fromUtf8(text).split(u"\n");
    };
    int done = 0, refused = 0;
    for (const auto& file : fs::directory_iterator(QX_TEST_DATA_DIR "/ini")) {
        SCOPED_TRACE(file.path());
        const std::string text = readFile(file.path());
        const auto before = linesOf(text);
        const IniFileView view = open(text).view();
        for (const auto set : view.sets()) {
            for (const auto key : view.keys(set)) {
                const auto after = linesOf(changed(
                    text, [&](IniFile& ini) { return ini.AddKey(set, key, u"other", true); }));
                if (after.size() == 1) {
                    ++refused;
                    continue;
                }
                const auto [left, right] = std::ranges::mismatch(before, after);
                EXPECT_TRUE(right->endsWith(u"other") || right->endsWith(u"other\r"));
                EXPECT_TRUE(std::equal(right + 1, after.end(),
                                       before.end() - (after.end() - right - 1), before.end()));
                ++done;
            }
        }
    }
    EXPECT_EQ(std::pair(done, refused), std::pair(440, 2));
}

TEST_F(IniKeptLinesTest, TakesValuesAsWhatIsAskedFor) {
    using namespace std::chrono;
    // The value with a blank behind it, "?" for one that is not understood.
    const auto get = [this]<class T>(const std::string& value, T fallback) -> std::string {
        IniFile ini = open("[a]\nk=" + value + "\n");
        EXPECT_EQ(ini.get("a", "none", fallback), fallback);
        std::string text = "? ";
        const auto [type, description] = iniFailureOf([&] {
            const T found = ini.get("A", "K", fallback);
            EXPECT_EQ(ini.view().get("A", "K", fallback), found);
            if constexpr (requires { found.count(); })
                text = std::to_string(found.count()) + " ";
            else
                text = String::format(u"{0} ", found).toUtf8();
        });
        EXPECT_TRUE(type < 0 || (type == IniFileException::VALUE_NOT_UNDERSTOOD &&
                                 description.toUtf8().starts_with(path + ": [A] K=\"" + value)));
        return text;
    };
    EXPECT_EQ(get("-128", int8_t{}) + get("128", int8_t{}) + get("0x7F", int8_t{}) + get("-1", 0u) +
                  get("-0", 0u) + get("", 0) + get("1 2", 0) + get("0x", 0) + get("٣", 0),
              "-128 ? 127 ? 0 ? ? ? ? ");
    EXPECT_EQ(get("+18446744073709551615", uint64_t{}) + get("18446744073709551616", uint64_t{}) +
                  get("-9223372036854775808", int64_t{}) + get("-2.5e1", 0.0) + get("1e39", 0.0f) +
                  get("3.4028235e+38", 0.0f) + get("1.5x", 0.0) +
                  get(" text ", String(u"fallback")),
              "18446744073709551615 ? -9223372036854775808 -25 ? 3.40282e+38 ? text ");
    EXPECT_EQ(get("Yes", false) + get("oFF", true) + get("2", true), "true false ? ");
    EXPECT_EQ(get("1min 30s", seconds()) + get("2h", minutes()) + get("1500 ms", seconds()) +
                  get("1500ms", milliseconds()) + get("90", seconds()) + get("0", seconds()) +
                  get("200000d", seconds()) + get("106752d", nanoseconds()) +
                  get("1s x", seconds()),
              "90 120 ? 1500 ? 0 17280000000 ? ? ");
    EXPECT_EQ(get("3000000h 60min", hours()) + get("9223372036854775807s", seconds()) +
                  get("9223372036854775807s 1s", seconds()) +
                  get("110000d", duration<uint64_t, std::nano>()),
              "3000001 9223372036854775807 ? 9504000000000000000 ");
}

} // namespace
