#include <atomic>
#include <chrono>
#include <filesystem>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include <qx/core/String.h>
#include <qx/io/FileOutputStream.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

using namespace qxtest;

namespace {

constexpr int Writers = 16;
constexpr int Records = 1000;
constexpr int SlowWrite = 3; // exit status of a writer that had to wait too long

/// Record @p number of @p writer: both numbers, the length, and as many bytes that follow from
/// them.
std::string recordOf(int writer, int number) {
    std::mt19937 random(static_cast<unsigned>(writer * Records + number));
    // Mostly short, sometimes longer than a page.
    const size_t length = random() % (random() % 20 == 0 ? 9000 : 200);
    std::string payload(length, '\0');
    for (char& byte : payload)
        byte = static_cast<char>('a' + random() % 26);
    return "<" + std::to_string(writer) + " " + std::to_string(number) + " " + payload + ">\n";
}

/// Appends its records; arguments: file, number of the writer.
const ChildEntry appendEntry("io.append", [](const std::vector<std::string>& arguments) {
    using Clock = std::chrono::steady_clock;
    const int writer = std::stoi(arguments[1]);
    qx::io::FileOutputStream out(qx::String::fromUtf8(arguments[0]),
                                 qx::io::FileOutputStream::APPEND);
    auto longest = Clock::duration::zero();
    for (int number = 0; number < Records; ++number) {
        const std::string record = recordOf(writer, number);
        const auto start = Clock::now();
        out.write(record.data(), static_cast<int32_t>(record.size()));
        longest = std::max(longest, Clock::now() - start);
    }
    // A second for a dead holder, and some for a busy machine with sixteen writers.
    return longest < std::chrono::seconds(5) ? 0 : SlowWrite;
});

TEST(AppendMode, SixteenProcessesLoseAndTearNothingWhenSomeAreKilled) {
    const TemporaryFolder folder;
    const std::string path = folder.path("log");
    std::filesystem::create_symlink("log", folder.path("link"));
    // The lock between them goes by the name, the file has several.
    const std::string spellings[] = {path, folder.path("./log"), folder.path("link")};
    std::vector<ChildProcess> writers;
    for (int writer = 0; writer < Writers; ++writer)
        writers.emplace_back(
            "io.append", std::vector<std::string>{spellings[writer % 3], std::to_string(writer)});

    std::mt19937 random(std::random_device{}());
    const auto isDoomed = [](int writer) { return writer % 4 == 3; };
    for (int writer = 0; writer < Writers; ++writer) {
        if (!isDoomed(writer))
            continue;
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 60));
        writers[static_cast<size_t>(writer)].kill();
    }
    for (int writer = 0; writer < Writers; ++writer) {
        const int status = writers[static_cast<size_t>(writer)].join();
        EXPECT_TRUE(status == 0 || isDoomed(writer)) << writer << ": " << status;
    }

    const std::string content = readFile(path);
    for (int writer = 0; writer < Writers; ++writer) {
        if (isDoomed(writer))
            continue;
        size_t position = 0;
        for (int number = 0; number < Records; ++number) {
            // Whole, and behind the one before.
            position = content.find(recordOf(writer, number), position);
            ASSERT_NE(position, std::string::npos) << writer << ' ' << number;
        }
    }
}

/// Takes the turn, says so by a file and keeps it; arguments: file, name of the sign.
const ChildEntry holdEntry("io.hold", [](const std::vector<std::string>& arguments) {
    qx::io::FileOutputStream out(qx::String::fromUtf8(arguments[0]),
                                 qx::io::FileOutputStream::APPEND);
    out.wait();
    writeFile(arguments[1], "held");
    for (;;)
        std::this_thread::sleep_for(std::chrono::hours(1));
    return 0;
});

TEST(AppendMode, TurnOfAKilledProcessPassesOn) {
    const TemporaryFolder folder;
    const std::string path = folder.path("log"), sign = folder.path("sign");
    ChildProcess holder("io.hold", {path, sign});
    while (readFile(sign) != "held")
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    qx::io::FileOutputStream out(qx::String::fromUtf8(path), qx::io::FileOutputStream::APPEND);
    std::atomic<bool> wrote = false;
    std::thread writer([&] {
        out.write("x", 1);
        wrote = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(wrote);
    holder.kill();
    writer.join(); // hangs if the turn is lost
    EXPECT_EQ(readFile(path), "x");
}

} // namespace
