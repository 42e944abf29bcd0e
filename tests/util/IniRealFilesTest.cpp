// What the rules make of files that real programs are configured with.

#include <gtest/gtest.h>

#include <qx/platform/result.h>

#include "tests/support/TestLocale.h"
#include "tests/util/IniTesting.h"

using namespace qx;
using namespace qx::util;
using namespace qxtest;

namespace {

struct RealFile {
    const char* name;
    size_t sets, keys;
    const char* unreadFrom; ///< the line that ends the reading, with all behind it; null: none
    /// One key as a sample.
    const char16_t *set, *key;
    const char* value;
};

// The rules drop the comments of every file, and where it says so:
const RealFile Files[] = {
    {"50-server.cnf", 5, 6, nullptr, u"mysqld", u"bind-address", "127.0.0.1"},
    {"NetworkManager.service", 3, 17, nullptr, u"Service", u"Type", "dbus"},
    {"apt-daily.timer", 3, 5, nullptr, u"timer", u"oncalendar", "*-*-* 6,18:00"},
    // Names in many languages.
    {"htop.desktop", 1, 66, nullptr, u"Desktop Entry", u"GenericName[ru]",
     "\xD0\x9C\xD0\xBE\xD0\xBD\xD0\xB8\xD1\x82\xD0\xBE\xD1\x80 "
     "\xD0\xBF\xD1\x80\xD0\xBE\xD1\x86\xD0\xB5\xD1\x81\xD1\x81\xD0\xBE\xD0\xB2"},
    // "quick" has no "=": of the three keys none is read.
    {"mysqldump.cnf", 1, 0, "quick\nquote-names\nmax_allowed_packet\t= 16M\n", u"", u"", nullptr},
    // Four keys before the first set; ten indented lines; comments behind values are values. Set
    // names keep their blanks.
    {"openssl.cnf", 23, 114, nullptr, u" CA_default ", u"dir",
     "./demoCA\t\t# Where everything is kept"},
    // Extensions switched off by ";" are comments. Quotes stay.
    {"php.ini", 35, 100, nullptr, u"PHP", u"Output_Buffering", "4096"},
    {"pulseaudio.desktop", 1, 105, nullptr, u"desktop entry", u"Exec", "start-pulseaudio-x11"},
    // All keys are indented: the sets have none.
    {"smb.conf", 4, 0, nullptr, u"", u"", nullptr},
    // Of keys that stand twice, here ExecReload, the last.
    {"ssh.service", 3, 16, nullptr, u"Service", u"ExecReload", "/bin/kill -HUP $MAINPID"},
    // Comments behind values are values.
    {"supervisord.conf", 4, 12, nullptr, u"rpcinterface:supervisor",
     u"supervisor.rpcinterface_factory", "supervisor.rpcinterface:make_main_rpcinterface"},
};

size_t countKeys(const IniFileView& view) {
    size_t count = 0;
    for (const auto set : view.sets())
        count += view.keys(set).size();
    return count;
}

TEST(IniRealFiles, AreReadAndRewrittenWithAllTheirKeys) {
    const TestLocale locale("C.UTF-8");
    const MemoryFolder folder;
    for (const RealFile& file : Files) {
        SCOPED_TRACE(file.name);
        const std::string text = readFile(std::string(QX_TEST_DATA_DIR "/ini/") + file.name);
        ASSERT_FALSE(text.empty());
        const std::string path = folder.path(file.name);
        writeFile(path, text);
        IniFile ini(wide(path).c_str(), nullptr, 1);
        const IniFileView view = ini.view();
        EXPECT_EQ(view.sets().size(), file.sets);
        EXPECT_EQ(countKeys(view), file.keys);
        if (file.value) {
            EXPECT_EQ(valueOf(ini, file.set, file.key), file.value);
        }

        const std::string content = contentOf(ini);
        EXPECT_EQ(ini.AddKey(u"added set", u"key", u"value", false), result::Ok);
        EXPECT_EQ(ini.getWriteResult(), result::Ok);
        if (file.unreadFrom) {
            EXPECT_TRUE(readFile(path).ends_with(std::string("\n\n") + file.unreadFrom));
        }
        IniFile again(wide(path).c_str(), nullptr, 1);
        EXPECT_EQ(again.DeleteSet(u"added set"), result::Ok);
        EXPECT_EQ(contentOf(again), content);
    }
}

} // namespace
