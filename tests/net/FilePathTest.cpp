#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

#include <qx/qx.h>

#include "tests/support/DataRows.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/TemporaryFolder.h"

using qx::String;
using qx::net::FilePath;

namespace {

/// What the path is derived to: mount type, then server, volume and path.
std::string derived(const std::string& path) {
    try {
        const FilePath file(String::fromUtf8(path));
        EXPECT_EQ(file.isLocal(), file.getMountType() == 0);
        EXPECT_TRUE(file.getUNCPath().endsWith(file.getPath()));
        return std::to_string(file.getMountType()) + " " + file.getUNCPath().toUtf8();
    } catch (const qx::InvalidPathException& exception) {
        return exception.getDescription().toUtf8();
    }
}

/// A table of mounts in a file of its own, and drives z: and c: mapped to folders.
struct NetFilePath : testing::Test {
    void mount(const std::string& lines) {
        qxtest::writeFile(m_folder.path("mounts"),
                          "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n" + lines);
        ASSERT_GE(QXMountTableSet(m_folder.path("mounts").c_str()), 0);
    }
    void TearDown() override {
        QXMountTableSet(nullptr);
        for (const char drive : {'c', 'z'})
            QXDriveMap(drive, nullptr);
    }

    const qxtest::TemporaryFolder m_folder;
    const std::string m_local = [] {
        char name[260];
        EXPECT_GE(QXGetHostName(name, sizeof name), 0);
        return "0 \\\\" + std::string(name) + "\\";
    }();
};

} // namespace

TEST_F(NetFilePath, SharesAreTakenApart) {
    const FilePath path(String(u"\\\\srv\\share\\dir\\f.txt"));
    EXPECT_EQ(path.getPath(), u"dir\\f.txt");
    EXPECT_EQ(FilePath(path).getUNCPath(), path.toString());
    EXPECT_EQ(FilePath(qx::util::FilePath(path)).getUNCPath(), path.toString());
    qxtest::expectEach(qx::result::NotAvailable, {[&] { path.getNetwarePath(); }});
}

TEST_F(NetFilePath, LocalPathsBelongToThisMachine) {
    mount("");
    EXPECT_EQ(derived("c:\\dir\\f.txt"), m_local + "c$\\dir\\f.txt"); // no such drive
    QXDriveMap('c', m_folder.path().c_str());
    EXPECT_EQ(derived("C:\\dir\\f.txt"), m_local + "C$\\dir\\f.txt");
    EXPECT_EQ(derived("C:f.txt"), m_local + "C$\\f.txt");
    std::string here = std::filesystem::current_path().string().substr(1);
    std::ranges::replace(here, '/', '\\');
    EXPECT_EQ(derived("f.txt"), m_local + "ROOT$\\" + here + "\\f.txt");
}

TEST_F(NetFilePath, MountsNameTheirServers) {
    std::ifstream table(QX_TEST_DATA_DIR "/mounts/mountinfo.txt");
    mount({std::istreambuf_iterator<char>(table), {}});
    QXDriveMap('z', "/net/nfs/deep/down");
    QXDriveMap('y', "/net/home/deep");
    for (auto& row : qxtest::rowsOf("mounts/derived.txt")) { // path, what it is derived to
        if (row[1].starts_with("LOCAL"))
            row[1].replace(0, 5, m_local);
        EXPECT_EQ(derived(row[0]), row[1]) << row[0];
    }
    EXPECT_EQ(FilePath(String(u"z:\\f")).getPath(), u"f");
    EXPECT_THROW(FilePath(String(u"/net/none/f")), qx::ResultException);
    // A link leads to where it points.
    const std::string link = m_folder.path("link");
    ASSERT_EQ(symlink("/net/smb", link.c_str()), 0);
    EXPECT_EQ(derived(link + "/f"), "1 \\\\files\\docs\\sub\\f");
}
