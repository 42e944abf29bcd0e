#include <algorithm>
#include <filesystem>
#include <unistd.h>

#include <qx/net/uri/FilePath.h>
#include <qx/platform/files.h>
#include <qx/platform/net.h>

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

std::string localName() {
    char name[260];
    EXPECT_GE(QXGetHostName(name, sizeof name), 0);
    return name;
}

/// A table of mounts in a file of its own, and drives z: and c: mapped to folders.
class NetFilePath : public testing::Test {
protected:
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
    const std::string m_local = "0 \\\\" + localName() + "\\";
};

} // namespace

TEST_F(NetFilePath, SharesAreTakenApart) {
    EXPECT_EQ(derived("\\\\srv\\share\\dir\\f.txt"), "1 \\\\srv\\share\\dir\\f.txt");
    EXPECT_EQ(derived("//srv/share"), "1 \\\\srv\\share\\");
    EXPECT_EQ(derived("\\\\srv"), "no share name");
    const FilePath path(String(u"\\\\srv\\share\\dir\\f.txt"));
    EXPECT_EQ(path.getPath(), u"dir\\f.txt");
    EXPECT_EQ(FilePath(path).getUNCPath(), path.toString());
    EXPECT_EQ(FilePath(qx::util::FilePath(path)).getUNCPath(), path.toString());
    qxtest::expectThrowsResult(qx::result::NotAvailable, [&] { path.getNetwarePath(); });
}

TEST_F(NetFilePath, LocalPathsBelongToThisMachine) {
    mount("");
    EXPECT_EQ(derived("c:\\dir\\f.txt"), m_local + "c$\\dir\\f.txt"); // no such drive
    QXDriveMap('c', m_folder.path().c_str());
    EXPECT_EQ(derived("C:\\dir\\f.txt"), m_local + "C$\\dir\\f.txt");
    EXPECT_EQ(derived("C:f.txt"), m_local + "C$\\f.txt");
    EXPECT_EQ(derived("/dir/sub/../f.txt"), m_local + "ROOT$\\dir\\f.txt");
    EXPECT_EQ(derived("/"), m_local + "ROOT$\\");
    std::string here = std::filesystem::current_path().string().substr(1);
    std::ranges::replace(here, '/', '\\');
    EXPECT_EQ(derived("f.txt"), m_local + "ROOT$\\" + here + "\\f.txt");
}

TEST_F(NetFilePath, MountsNameTheirServers) {
    mount("40 22 0:40 / /net/nfs rw - nfs4 nas:/export/home rw\n"
          "41 22 0:41 / /net/smb rw shared:5 master:2 - cifs //files/docs/sub rw\n"
          "42 22 0:42 /inner /net/my\\040bind rw - nfs nas:/export rw\n"
          "43 22 0:43 / /net/ssh rw - fuse.sshfs me@host:/srv rw\n"
          "44 22 0:44 / /net/smb/disk rw - ext4 /dev/sdb1 rw\n"
          "45 22 0:45 / /net/root rw - nfs nas:/ rw\n"
          "46 22 0:46 / /net/colon rw - cifs //files/docs: rw\n"
          "47 22 0:47 / /net/none rw - nfs none rw\n"
          "48 22 0:48 / /net/over rw - ext4 /dev/sdc1 rw\n"
          "49 48 0:49 / /net/over rw - nfs nas:/over rw\n"
          "50 22 0:50 / /net/six rw - nfs [2001:db8::1]:/export/data rw\n"
          "51 22 0:51 / /net/home rw - fuse.sshfs me@srv: rw\n"
          "52 22 0:52 / /net/seven rw - fuse.sshfs me@[::1]:a/b@c:d rw\n"
          "53 22\n");
    const struct {
        const char* path;
        std::string derived;
    } cases[] = {
        {"/net/nfs/a/b", "1 \\\\nas\\export\\home\\a\\b"},
        {"/net/nfs", "1 \\\\nas\\export\\home\\"},
        {"/net/nfsx/a", m_local + "ROOT$\\net\\nfsx\\a"},
        {"/net/smb/f", "1 \\\\files\\docs\\sub\\f"},
        {"/net/smb/disk/f", m_local + "ROOT$\\net\\smb\\disk\\f"},
        {"/net/my bind/f", "1 \\\\nas\\export\\inner\\f"},
        {"/net/ssh/f", "1 \\\\host\\srv\\f"},
        {"/net/colon/f", "1 \\\\files\\docs\\f"},
        {"/net/over/f", "1 \\\\nas\\over\\f"},
        {"/net/root/f", "No volume name specified."},
        {"/net/six/f", "1 \\\\[2001:db8::1]\\export\\data\\f"},
        {"/net/seven/f", "1 \\\\[::1]\\a\\b@c:d\\f"},
        {"/net/home/f", "No volume name specified."},
        {"y:\\f", "No volume name specified."},
        {"z:\\f", "1 \\\\nas\\export\\home\\deep\\down\\f"},
    };
    QXDriveMap('z', "/net/nfs/deep/down");
    QXDriveMap('y', "/net/home/deep");
    for (const auto& c : cases)
        EXPECT_EQ(derived(c.path), c.derived) << c.path;
    EXPECT_EQ(FilePath(String(u"z:\\f")).getPath(), u"f");
    EXPECT_THROW(FilePath(String(u"/net/none/f")), qx::ResultException);
    // A link leads to where it points.
    const std::string link = m_folder.path("link");
    ASSERT_EQ(symlink("/net/smb", link.c_str()), 0);
    EXPECT_EQ(derived(link + "/f"), "1 \\\\files\\docs\\sub\\f");
}
