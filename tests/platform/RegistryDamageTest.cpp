// Files of the registry that are cut, changed or left unfinished.

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <qx/platform/registry.h>
#include <qx/platform/result.h>

// The two ways to compute the checksum cannot be told apart from outside.
#include "qx/platform/detail/Crc32c.h"

#include "tests/platform/RegistryTesting.h"

namespace fs = std::filesystem;
using namespace qx;
using namespace qxtest;

namespace {

constexpr size_t HeaderBytes = 32;

/// A file, and the sizes and contents that it had on its way.
class RegistryDamage : public testing::Test {
protected:
    struct Stage {
        size_t size;
        std::u16string dump;
    };

    void SetUp() override {
        const QXRegistryChange changes[] = {
            {QX_REG_SET_VALUE, QX_REG_STRING, u"A\\B", u"first", u"1", 4},
            {QX_REG_CREATE_KEY, QX_REG_BYTES, u"A\\Empty", u"", nullptr, 0},
            {QX_REG_SET_VALUE, QX_REG_STRING, u"A\\C", u"second", u"a longer text", 28},
            {QX_REG_DELETE_VALUE, QX_REG_BYTES, u"a\\b", u"First", nullptr, 0},
            {QX_REG_SET_VALUE, QX_REG_STRING, u"A\\B", u"third", u"", 2},
            {QX_REG_DELETE_KEY, QX_REG_BYTES, u"A\\C", u"", nullptr, 0},
        };
        for (const auto& change : changes) {
            ASSERT_EQ(QXRegistryApply(QX_HKEY_USER, &change, 1), result::Ok);
            stages.push_back({fs::file_size(registry.userFile()), dumpOf()});
        }
        whole = readFile(registry.userFile());
    }

    /// Makes the bytes the content of the file, which stays: emptied files are slow to write again.
    void put(const std::string& bytes) const {
        std::fstream(registry.userFile(), std::ios::in | std::ios::out | std::ios::binary) << bytes;
        fs::resize_file(registry.userFile(), bytes.size());
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

    TemporaryRegistry registry;
    std::vector<Stage> stages;
    std::string whole;
};

} // namespace

TEST_F(RegistryDamage, CutAtEveryByteLeavesTheLastWholeStateToGoOnFrom) {
    std::mt19937 random(7);
    for (size_t size = 0; size < whole.size(); ++size) {
        SCOPED_TRACE(size);
        put(whole.substr(0, size));
        registry.use();
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
        for (int reader = 0; reader < 2; ++reader) {
            registry.use();
            if (reader == 0)
                setText(u"Z", u"", u"after");
            ASSERT_EQ(dumpOf(), dumpAt(size) + u"\\Z\n =after\n");
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
            registry.use();
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
    const std::string header = whole.substr(0, HeaderBytes);
    const std::string firstChange = whole.substr(HeaderBytes, first - HeaderBytes);
    const std::string secondChange = whole.substr(first, second - first);
    // The same change in a file of another generation.
    fs::remove(registry.userFile());
    setText(u"A\\B", u"first", u"1");
    const std::string other = readFile(registry.userFile());
    ASSERT_EQ(other.size(), first);
    put(whole.substr(0, second) + secondChange); // once more
    registry.use();
    EXPECT_EQ(dumpOf(), stages[1].dump);
    put(other.substr(0, HeaderBytes) + firstChange);
    registry.use();
    EXPECT_EQ(dumpOf(), u"\n");
    put(header + secondChange + firstChange);
    registry.use();
    EXPECT_EQ(tryRead(), result::Corrupt);
}

TEST_F(RegistryDamage, WriteThatFailsHalfwayLeavesWhatWasThere) {
    const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before;
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    for (const size_t room : {0, 1, 100}) {
        rlimit small = before;
        small.rlim_cur = whole.size() + room;
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
        const int32_t result = trySetText(u"A\\New", u"", std::u16string(200, u'x'));
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
        EXPECT_LT(result, 0);
        EXPECT_EQ(dumpOf(), stages.back().dump);
        EXPECT_EQ(readFile(registry.userFile()), whole);
    }
    std::signal(SIGXFSZ, ignored);
    setText(u"A\\New", u"", u"now");
    EXPECT_EQ(getText(u"A\\New", u""), u"now");
}

TEST(Crc32c, AgreesWithTheTablesAndTheKnownValue) {
    EXPECT_EQ(platform::crc32c(0, "123456789", 9), 0xE3069283u);
    std::mt19937 random(1);
    std::vector<uint8_t> bytes(300);
    std::ranges::generate(bytes, [&] { return static_cast<uint8_t>(random()); });
    for (size_t start = 0; start < 9; ++start) {
        for (size_t length = 0; length < 80; ++length) {
            const auto before = static_cast<uint32_t>(random());
            ASSERT_EQ(platform::crc32c(before, &bytes[start], length),
                      platform::crc32cByTable(before, &bytes[start], length));
        }
        const uint32_t front = platform::crc32c(0, bytes.data(), start * 30);
        EXPECT_EQ(platform::crc32c(front, &bytes[start * 30], 300 - start * 30),
                  platform::crc32cByTable(0, bytes.data(), 300));
    }
}
