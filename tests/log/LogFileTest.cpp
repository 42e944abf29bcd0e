#include <filesystem>
#include <random>

#include <qx/log/LogFile.h>

#include "tests/log/ProcessorFakes.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace qx;
using namespace qxtest;
using log::LogFile;

class LogFiles : public testing::Test {
protected:
    /// "log.<number>" if there is one, from the oldest to the newest, then "log".
    std::vector<std::string> contents() const {
        std::vector<std::string> all;
        for (int number = 20; number > 0; --number) {
            const std::string file = path + "." + std::to_string(number);
            if (std::filesystem::is_regular_file(file))
                all.push_back(readFile(file));
        }
        all.push_back(readFile(path));
        return all;
    }
    static std::string joined(const std::vector<std::string>& parts) {
        std::string all;
        for (const auto& part : parts)
            all += part;
        return all;
    }
    static void write(LogFile& file, const std::string& bytes) {
        file.write(reinterpret_cast<const signed char*>(bytes.data()),
                   static_cast<int32_t>(bytes.size()));
    }

    const TemporaryFolder folder{TemporaryFolder::InMemory};
    const std::string path = folder.path("log");
};

TEST_F(LogFiles, BeginsTheNextOneAtALineEndAndKeepsSoMany) {
    std::mt19937 random(1);
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        const int64_t limit = std::array{1, 50, 300}[static_cast<size_t>(round % 3)];
        const int kept = round % 4 + 1;
        std::string all, pending;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            std::filesystem::remove(entry);
        auto file = makeReference<LogFile>(path, log::LogFileOptions{limit, kept, round % 2 == 0});
        for (int line = 0; line < 100; ++line) {
            pending += std::string(random() % 90, static_cast<char>('a' + line % 26)) + "\n";
            if (random() % 3 == 0) { // many lines, or parts of them
                const size_t count = random() % 2 ? pending.size() : random() % pending.size();
                write(*file, pending.substr(0, count));
                all += pending.substr(0, count);
                pending.erase(0, count);
            }
            if (line % 40 == 39 && (all.empty() || all.back() == '\n'))
                file = makeReference<LogFile>(path, log::LogFileOptions{limit, kept, false});
        }
        const auto files = contents();
        EXPECT_TRUE(all.ends_with(joined(files)));
        EXPECT_LE(files.size(), static_cast<size_t>(kept) + 1);
        for (const auto& content : files) {
            EXPECT_TRUE(content.ends_with('\n') || &content == &files.back());
            const size_t lastLine =
                content.size() < 2 ? 0 : content.rfind('\n', content.size() - 2);
            EXPECT_TRUE(static_cast<int64_t>(lastLine + 1) <= limit || lastLine + 1 == 0);
        }
        EXPECT_EQ(file->getFailedCount(), 0u);
    }
}

TEST_F(LogFiles, CostNoLineWhenTheyCannotBeRenamedOrOpened) {
    const auto file = makeReference<LogFile>(path, log::LogFileOptions{.limit = 100, .kept = 1});
    std::filesystem::create_directories(path + ".1/full"); // in the place of the first one
    std::string all;
    const auto log = [&](int count) {
        for (int i = 0; i < count; ++i) {
            write(*file, std::to_string(i) + "\n");
            all += std::to_string(i) + "\n";
        }
    };
    log(1500);
    EXPECT_EQ(readFile(path), all);
    EXPECT_EQ(file->getFailedCount(), 2u) << "tried again from time to time";
    EXPECT_LT(file->getFirstFailure(), 0);
    std::filesystem::remove_all(path + ".1");
    log(1000);
    EXPECT_GT(file->getRotatedCount(), 0u);
    EXPECT_TRUE(all.ends_with(joined(contents())));
    EXPECT_EQ(file->getFailedCount(), 2u);
    write(*file, "cut");
    const auto again = makeReference<LogFile>(path);
    write(*again, "next\n");
    EXPECT_TRUE(readFile(path).ends_with("cut\nnext\n")) << "a line that was cut ends";
}

} // namespace
