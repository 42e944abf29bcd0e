#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>

#include <gtest/gtest.h>

#include <qx/util/config/IniFile.h>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestLocale.h"

namespace {

using namespace qx;
using namespace qx::util;
using namespace qxtest;

namespace fs = std::filesystem;

class IniKeptLinesTest : public testing::Test {
protected:
    IniFile open(const std::string& text) const {
        writeFile(path, text);
        return IniFile(path, IniFile::Lines::Kept);
    }
    /// What the file holds after the change, or why it is refused; it then stays as it was.
    template <class Change>
    std::string changed(const std::string& text, Change change) const {
        IniFile ini = open(text);
        if (const int32_t result = change(ini); result < 0) {
            EXPECT_EQ(readFile(path), text);
            return result == result::Fail ? ini.getRefusal().toUtf8() : std::to_string(result);
        }
        EXPECT_EQ(ini.getWriteResult(), result::Ok);
        return readFile(path);
    }

    TestLocale locale{"C.UTF-8"};
    TemporaryFolder folder{TemporaryFolder::InMemory};
    const std::string path = folder.path("f.ini");
};

const std::string Bom = "\xEF\xBB\xBF";

TEST_F(IniKeptLinesTest, TouchesOneLineAndRefusesGuesses) {
    const std::string along = "the \"\\\" at the end of the line before may take it along";
    const auto put = [](const char* set, const char* key, const char* value) {
        return [=](IniFile& ini) { return ini.AddKey(set, key, value, true); };
    };
    const auto remove = [](const char* key) {
        return [=](IniFile& ini) { return ini.DeleteKey("a", key); };
    };
    const auto removeSet = [](IniFile& ini) { return ini.DeleteSet(u"A"); };
    const struct {
        std::string text;
        std::function<int32_t(IniFile&)> change;
        std::string result;
    } cases[] = {
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
        try {
            const T found = ini.get("A", "K", fallback);
            EXPECT_EQ(ini.view().get("A", "K", fallback), found);
            if constexpr (requires { found.count(); })
                return std::to_string(found.count()) + " ";
            else
                return String::format(u"{0} ", found).toUtf8();
        } catch (const IniFileException& e) {
            EXPECT_EQ(e.GetType(), IniFileException::VALUE_NOT_UNDERSTOOD);
            EXPECT_TRUE(e.getDescription().toUtf8().starts_with(path + ": [A] K=\"" + value));
            return "? ";
        }
    };
    EXPECT_EQ(get("-128", int8_t{}) + get("128", int8_t{}) + get("0x7F", int8_t{}) + get("-1", 0u) +
                  get("-0", 0u) + get("", 0) + get("1 2", 0) + get("0x", 0) + get("٣", 0),
              "-128 ? 127 ? 0 ? ? ? ? ");
    EXPECT_EQ(get("+18446744073709551615", uint64_t{}) + get("18446744073709551616", uint64_t{}) +
                  get("-9223372036854775808", int64_t{}) + get("-2.5e1", 0.0) + get("1e39", 0.0f) +
                  get("1.5x", 0.0) + get(" text ", String(u"fallback")),
              "18446744073709551615 ? -9223372036854775808 -25 ? ? text ");
    EXPECT_EQ(get("Yes", false) + get("oFF", true) + get("2", true), "true false ? ");
    EXPECT_EQ(get("1min 30s", seconds()) + get("2h", minutes()) + get("1500 ms", seconds()) +
                  get("1500ms", milliseconds()) + get("90", seconds()) + get("0", seconds()) +
                  get("200000d", seconds()) + get("1s x", seconds()),
              "90 120 ? 1500 ? 0 ? ? ");
}

} // namespace
