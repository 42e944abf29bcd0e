// Many processes contend for one lock while some of them are killed at random moments.

#include <algorithm>
#include <array>
#include <map>
#include <random>

#include <signal.h>

#include "tests/ipc/Party.h"

using namespace qx;
using namespace qxtest;

namespace {

constexpr int Processes = 16;
constexpr int Kills = 40;

/// One worker as the others and the test see it.
struct Worker {
    std::atomic<int64_t> turns; // one at every entry and one at every exit: odd while it is inside
    std::atomic<bool> isKilled; // set before the kill, so whoever is inside and not killed lives

    bool isInside() const { return turns % 2 != 0; }
};

struct Arena {
    std::atomic<bool> stop;
    std::atomic<int> violations;
    std::atomic<int64_t> sections; // ended, by anybody
    int64_t guarded;               // changed under a lock of one holder, not atomic
    Worker workers[Processes + Kills];

    /// Living workers inside at one instant; 0 when they moved while they were counted.
    int countInside() const {
        std::array<int64_t, Processes + Kills> first;
        for (size_t i = 0; i < first.size(); ++i)
            first[i] = workers[i].turns;
        int inside = 0;
        for (size_t i = 0; i < first.size(); ++i) {
            if (workers[i].turns != first[i])
                return 0;
            inside += first[i] % 2 != 0 && !workers[i].isKilled;
        }
        return inside;
    }
};

/// Takes and releases the lock until it is told to stop or is killed.
const ChildEntry worker("crash-worker", [](const auto& arguments) {
    const ObjectKind& kind = kindNamed(arguments[0]);
    SharedStruct<Arena> arena(arguments[2]);
    const int number = std::stoi(arguments[3]);
    Worker& self = arena->workers[number];
    QXHandle handle = 0;
    CHECK_IN_CHILD(kind.create(arguments[1].c_str(), QX_SYNC_SHARED, &handle) >= 0);
    std::mt19937 random(static_cast<unsigned>(number));
    const auto pauseAtTimes = [&] {
        if (random() % 4 == 0)
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 500));
    };
    while (!arena->stop) {
        CHECK_IN_CHILD(kind.hold(handle) >= 0);
        ++self.turns;
        if (kind.holders == 1)
            ++arena->guarded;
        if (arena->countInside() > kind.holders)
            ++arena->violations;
        pauseAtTimes();
        ++arena->sections;
        ++self.turns;
        CHECK_IN_CHILD(kind.release(handle) >= 0);
        pauseAtTimes();
    }
    CHECK_IN_CHILD(kind.destroy(handle) >= 0);
    return 0;
});

class Crash : public testing::TestWithParam<const char*> {};

} // namespace

TEST_P(Crash, NothingIsLostAndNobodyWaitsForTheDead) {
    const ObjectKind& kind = kindNamed(GetParam());
    const std::string lockName = uniqueName("crash");
    const std::string arenaName = uniqueName("arena");
    SharedStruct<Arena> arena(arenaName);
    QXHandle handle = 0;
    ASSERT_EQ(kind.create(lockName.c_str(), QX_SYNC_SHARED, &handle), result::Ok);

    int started = 0;
    std::map<int, ChildProcess> workers;
    const auto startWorker = [&] {
        workers.emplace(started, ChildProcess("crash-worker", {GetParam(), lockName, arenaName,
                                                               std::to_string(started)}));
        ++started;
    };
    for (int i = 0; i < Processes; ++i)
        startWorker();
    ASSERT_TRUE(eventually([&] { return arena->sections > 100; }));

    std::mt19937 random(2);
    for (int kill = 0; kill < Kills; ++kill) {
        auto victim = std::next(workers.begin(), random() % Processes);
        if (kill % 2 == 0) {
            // One that has the lock, if there is one at the moment.
            const auto holder = std::find_if(workers.begin(), workers.end(), [&](const auto& each) {
                return arena->workers[each.first].isInside();
            });
            if (holder != workers.end())
                victim = holder;
        }
        arena->workers[victim->first].isKilled = true;
        const auto killed = Clock::now();
        victim->second.kill();
        EXPECT_EQ(victim->second.join(), -SIGKILL);
        workers.erase(victim);
        // More sections than holders can have been at the end of theirs: somebody got the lock.
        const int64_t before = arena->sections;
        EXPECT_TRUE(eventually([&] { return arena->sections > before + kind.holders; }));
        EXPECT_LT(Clock::now() - killed, DeadHolderLimit);
        startWorker();
    }

    arena->stop = true;
    for (auto& [number, child] : workers)
        EXPECT_EQ(child.join(), 0);
    EXPECT_EQ(arena->violations, 0);
    if (kind.holders == 1) {
        int64_t entries = 0;
        for (const Worker& each : arena->workers)
            entries += (each.turns + 1) / 2;
        // A victim may have died between counting for itself and for all.
        EXPECT_LE(arena->guarded, entries);
        EXPECT_GE(arena->guarded, entries - Kills);
    }
    // All that there was can be taken again, and no more.
    for (int i = 0; i < kind.holders; ++i)
        EXPECT_EQ(kind.hold(handle), result::Ok);
    if (kind.hold == QXSemaphoreWait) {
        EXPECT_EQ(QXSemaphoreTryWait(handle), result::Busy);
    }
    EXPECT_EQ(kind.destroy(handle), result::Ok);
    EXPECT_EQ(filesNamed(lockName), 0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Crash,
                         testing::Values("Mutex", "Condition", "Writer", "Guard", "GuardOfThree"),
                         [](const auto& test) { return test.param; });

// The living wake each other all the time, so that none of them sleeps through a whole slice.
TEST(CrashUnderTraffic, UnitsComeBackThoughTheOthersAreNeverStill) {
    const MadeObject guard(GuardsOfThree);
    Party victim(Way::BetweenProcesses, guard);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(victim(QXSemaphoreWait), result::Ok);
    std::atomic<int> inside = 0, most = 0, turns = 0;
    std::atomic<bool> stop = false;
    std::vector<std::jthread> living;
    for (int i = 0; i < 5; ++i) {
        living.emplace_back([&] {
            while (!stop) {
                EXPECT_EQ(QXSemaphoreWait(guard.handle), result::Ok);
                most = std::max(most.load(), ++inside);
                ++turns;
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
                --inside;
                EXPECT_EQ(QXSemaphorePost(guard.handle), result::Ok);
            }
        });
    }
    EXPECT_TRUE(eventually([&] { return turns > 20; }));
    EXPECT_EQ(most, 1);
    victim.kill();
    EXPECT_TRUE(eventually([&] { return most == 3; }));
    stop = true;
}
