#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include <qx/platform/files.h>
#include <qx/platform/result.h>

#include "tests/support/TemporaryFolder.h"

namespace {

using namespace qx;

constexpr int32_t Capacity = 4096;

std::string expand(const std::string& path, int32_t expected = result::Ok) {
    char buffer[Capacity] = "";
    EXPECT_EQ(QXPathExpand(path.c_str(), buffer, Capacity), expected) << path;
    return buffer;
}

/// A folder that is the current one, with `real/inner/`, a file `real/f` and links in it.
class PathTest : public testing::Test {
protected:
    PathTest() : m_previous(std::filesystem::current_path()), m_root(m_folder.path()) {
        namespace fs = std::filesystem;
        fs::current_path(m_root);
        fs::create_directories("real/inner");
        qxtest::writeFile("real/f", "");
        fs::create_symlink("real", "link");
        fs::create_symlink("link/inner/../f", "chain"); // through a link, back up from its target
        fs::create_symlink(m_root + "/real", "absolute");
        fs::create_symlink("nowhere/x", "dangling");
        fs::create_symlink("loop2", "loop1");
        fs::create_symlink("loop1", "loop2");
    }
    ~PathTest() override { std::filesystem::current_path(m_previous); }

    qxtest::TemporaryFolder m_folder;
    std::filesystem::path m_previous;
    std::string m_root;
};

TEST_F(PathTest, ExpandsToAnAbsolutePathWithoutLinks) {
    const struct {
        std::string path, expanded;
    } cases[] = {
        {"/", "/"},
        {"//", "/"},
        {"/..", "/"},
        {"/../../etc/.", "/etc"},
        {".", m_root},
        {"..", std::filesystem::path(m_root).parent_path()},
        {"real//inner/", m_root + "/real/inner"},
        {"real\\.\\inner", m_root + "/real/inner"},
        {"real/../x/./y/..", m_root + "/x"},
        {"link", m_root + "/real"},
        {"link/f", m_root + "/real/f"},
        {"link/no/such", m_root + "/real/no/such"},
        {"link/..", m_root}, // removed as text, before the link is looked at
        {"chain", m_root + "/real/f"},
        {"absolute/inner", m_root + "/real/inner"},
        {"dangling", m_root + "/nowhere/x"},
        {"real/f/below", m_root + "/real/f/below"}, // below a file: nothing there
        {"...", m_root + "/..."},
        {"é", m_root + "/é"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(expand(c.path), c.expanded) << c.path;
}

TEST_F(PathTest, RefusesWhatCannotBeExpanded) {
    expand("", result::NotFound);
    expand("loop1", static_cast<int32_t>(0x80070003));
    expand("c:\\x", result::NotFound);
    expand(std::string(5000, 'x'), static_cast<int32_t>(0x800700CE));
    expand(std::string(4090, 'x'), static_cast<int32_t>(0x800700CE)); // with the current folder
    char buffer[3] = "##";
    EXPECT_EQ(QXPathExpand("/ab", buffer, 3), result::BufferTooSmall);
    EXPECT_EQ(buffer[0], 0);
    EXPECT_EQ(QXPathExpand("/a", buffer, 3), result::Ok);
    EXPECT_STREQ(buffer, "/a");
    EXPECT_EQ(QXPathExpand("/a", buffer, 0), result::BufferTooSmall);
    EXPECT_EQ(QXPathExpand(nullptr, buffer, 3), result::NullPointer);
    std::filesystem::create_directory("gone");
    std::filesystem::current_path("gone");
    std::filesystem::remove(m_root + "/gone");
    EXPECT_EQ(QXGetCurrentDirectory(buffer, 3), result::NotFound);
    expand("x", result::NotFound);
}

TEST_F(PathTest, AMappedDriveStandsForItsFolder) {
    const auto mapped = [this](const char* folder) {
        return QXDriveMap('q', folder != nullptr ? (m_root + folder).c_str() : nullptr);
    };
    expand("q:\\f", result::NotFound);
    ASSERT_EQ(mapped("/real/"), result::Ok);
    EXPECT_EQ(expand("Q:\\f"), m_root + "/real/f");
    EXPECT_EQ(expand("q:/inner/../f"), m_root + "/real/f");
    EXPECT_EQ(expand("q:f"), m_root + "/real/f");
    EXPECT_EQ(expand("q:"), m_root + "/real");
    expand("r:\\f", result::NotFound);
    QXHandle file;
    EXPECT_EQ(QXFileOpen("q:\\f", QX_FILE_READ, 0, &file), result::Ok);
    EXPECT_EQ(QXFileClose(file), result::Ok);

    ASSERT_EQ(mapped("/real/inner"), result::Ok); // replaces
    EXPECT_EQ(expand("q:\\"), m_root + "/real/inner");
    ASSERT_EQ(QXDriveMap('Q', "/"), result::Ok);
    EXPECT_EQ(expand("q:\\etc"), "/etc");
    EXPECT_EQ(expand("q:"), "/");
    ASSERT_EQ(mapped(nullptr), result::Ok);
    expand("q:\\f", result::NotFound);
    EXPECT_EQ(QXDriveMap('1', "/"), result::InvalidArgument);
    EXPECT_EQ(QXDriveMap('q', ""), result::InvalidArgument);
    EXPECT_EQ(QXDriveMap('q', std::string(5000, 'x').c_str()), static_cast<int32_t>(0x800700CE));
}

TEST_F(PathTest, TellsTheCurrentAndTemporaryFolder) {
    char buffer[Capacity];
    EXPECT_EQ(QXGetCurrentDirectory(buffer, Capacity), result::Ok);
    EXPECT_EQ(buffer, m_root);
    EXPECT_EQ(QXGetCurrentDirectory(buffer, static_cast<int32_t>(m_root.size())),
              result::BufferTooSmall);

    const std::string previous = std::filesystem::temp_directory_path();
    const auto temporary = [&buffer](const std::string& variable) {
        ::setenv("TMPDIR", variable.c_str(), 1);
        EXPECT_EQ(QXGetTempDirectory(buffer, Capacity), result::Ok);
        return std::string(buffer);
    };
    EXPECT_EQ(temporary(m_root + "/real//"), m_root + "/real");
    EXPECT_EQ(temporary("/"), "/");
    EXPECT_EQ(temporary(""), "/tmp");
    EXPECT_EQ(temporary("real"), "/tmp");             // relative
    EXPECT_EQ(temporary(m_root + "/real/f"), "/tmp"); // no folder
    ::setenv("TMPDIR", previous.c_str(), 1);
}

} // namespace
