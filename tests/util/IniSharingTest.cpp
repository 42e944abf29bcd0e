// Many processes change one INI file through one semaphore, some of them killed at any moment.

#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "tests/ipc/IpcTesting.h"
#include "tests/support/ChildProcess.h"
#include "tests/util/IniTesting.h"

using namespace qx;
using namespace qx::util;
using namespace qxtest;

namespace {

constexpr int Writers = 8;
constexpr int MostWriters = 64;

struct Progress {
    std::atomic<int> acknowledged[MostWriters]; // keys whose AddKey has returned
    std::atomic<bool> stop;
};

std::u16string keyName(int writer, int number) {
    return wide("k" + std::to_string(writer) + "." + std::to_string(number));
}

/// Arguments: file, semaphore, shared memory, number of the writer.
const ChildEntry writer("IniWriter", [](const std::vector<std::string>& arguments) {
    SharedStruct<Progress> progress(arguments[2]);
    const int number = std::stoi(arguments[3]);
    IniFile ini(wide(arguments[0]).c_str(), arguments[1].c_str());
    for (int i = 0; !progress->stop; ++i) {
        CHECK_IN_CHILD(ini.AddKey(u"set", keyName(number, i).c_str(), u"value", false) == 0);
        CHECK_IN_CHILD(ini.getWriteResult() == 0);
        ++progress->acknowledged[number];
    }
    return 0;
});

class IniSharing : public testing::Test {
protected:
    ChildProcess start(int number) const {
        return ChildProcess("IniWriter", {path, semaphore, memory, std::to_string(number)});
    }

    /// Holds that the file, read without the lock, is whole: a written file ends in an empty line.
    void expectWhole() {
        const std::string text = readFile(path);
        if (!text.empty()) {
            ASSERT_TRUE(text.starts_with("[set]\n") && text.ends_with("=value\n\n")) << text;
        }
    }

    MemoryFolder folder;
    const std::string path = folder.path("f.ini");
    const std::string semaphore = uniqueName("ini");
    const std::string memory = uniqueName("progress");
    SharedStruct<Progress> progress{memory};
};

TEST_F(IniSharing, ThreadsMayShareAnObjectThatHasASemaphore) {
    constexpr int Threads = 4, KeysOfThread = 50;
    IniFile ini(wide(path).c_str(), semaphore.c_str());
    std::vector<std::thread> threads;
    for (int t = 0; t < Threads; ++t) {
        threads.emplace_back([&ini, t] {
            for (int i = 0; i < KeysOfThread; ++i) {
                const std::u16string key = keyName(t, i);
                EXPECT_EQ(ini.AddKey(u"set", key.c_str(), u"value", false), 0);
                EXPECT_EQ(ini.view().find(u"set", key), u"value");
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(ini.view().keys(u"set").size(), static_cast<size_t>(Threads * KeysOfThread));
}

TEST_F(IniSharing, WhatWasAcknowledgedSurvivesKilledWriters) {
    constexpr int Kills = 20;
    std::minstd_rand random(1);
    std::vector<ChildProcess> writers;
    for (int i = 0; i < Writers; ++i)
        writers.push_back(start(i));
    int next = Writers;
    for (int kill = 0; kill < Kills; ++kill) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        ChildProcess& victim = writers[random() % writers.size()];
        victim.kill();
        EXPECT_EQ(victim.join(), -9);
        std::destroy_at(&victim);
        std::construct_at(&victim, start(next++));
        expectWhole();
    }
    progress->stop = true;
    for (auto& each : writers)
        EXPECT_EQ(each.join(), 0);

    IniFile ini(wide(path).c_str(), semaphore.c_str());
    const IniFileView view = ini.view();
    int acknowledged = 0;
    for (int w = 0; w < next; ++w) {
        for (int i = 0; i < progress->acknowledged[w]; ++i)
            ASSERT_EQ(view.find(u"set", keyName(w, i)), u"value") << w << " " << i;
        acknowledged += progress->acknowledged[w];
    }
    EXPECT_GT(acknowledged, 0);
    // A key may be there whose AddKey did not come to return.
    EXPECT_LE(view.keys(u"set").size(), static_cast<size_t>(acknowledged + Kills));
    EXPECT_EQ(ini.DeleteSet(u"none"), 0);
    const std::filesystem::directory_iterator files(folder.path(""));
    EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "nothing is left aside";
}

} // namespace
