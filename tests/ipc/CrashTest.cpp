// Many processes contend for one lock while some of them are killed at random moments.

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <vector>

#include <gtest/gtest.h>
#include <signal.h>

#include <qx/ipc/Semaphore.h>
#include <qx/platform/sync.h>

#include "tests/ipc/IpcTesting.h"
#include "tests/ipc/Party.h"
#include "tests/support/ChildProcess.h"

using namespace qx;
using namespace qxtest;

namespace {

constexpr int Processes = 16;
constexpr int Kills = 40;

/// How a kind of lock is opened, taken and given back.
struct LockKind {
    std::function<int32_t(const char*, QXHandle*)> open;
    int32_t (*acquire)(QXHandle);
    int32_t (*release)(QXHandle);
    int32_t (*close)(QXHandle);
    int holders = 1; // how many may hold it at a time
};

const LockKind& lockKind(const std::string& name) {
    const auto shared = [](auto create) {
        return [create](const char* n, QXHandle* h) { return create(n, QX_SYNC_SHARED, h); };
    };
    const auto semaphore = [](uint32_t units) {
        return [units](const char* n, QXHandle* h) { return QXNamedSemOpen(n, units, h); };
    };
    static const std::map<std::string, LockKind> kinds = {
        {"Mutex", {shared(QXMutexCreate), QXMutexAcquire, QXMutexRelease, QXMutexDestroy}},
        {"Condition",
         {shared(QXConditionCreate), QXConditionAcquire, QXConditionRelease, QXConditionDestroy}},
        {"Writer",
         {shared(QXRWLockCreate), QXRWLockAcquireWrite, QXRWLockReleaseWrite, QXRWLockDestroy}},
        {"Semaphore", {semaphore(1), QXSemaphoreWait, QXSemaphorePost, QXNamedSemClose}},
        {"SemaphoreOfThree", {semaphore(3), QXSemaphoreWait, QXSemaphorePost, QXNamedSemClose, 3}},
    };
    return kinds.at(name);
}

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
    const LockKind& kind = lockKind(arguments[0]);
    SharedStruct<Arena> arena(arguments[2]);
    const int number = std::stoi(arguments[3]);
    Worker& self = arena->workers[number];
    QXHandle handle = 0;
    CHECK_IN_CHILD(kind.open(arguments[1].c_str(), &handle) >= 0);
    std::mt19937 random(static_cast<unsigned>(number));
    const auto pauseAtTimes = [&] {
        if (random() % 4 == 0)
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 500));
    };
    while (!arena->stop) {
        CHECK_IN_CHILD(kind.acquire(handle) >= 0);
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
    CHECK_IN_CHILD(kind.close(handle) >= 0);
    return 0;
});

class Crash : public testing::TestWithParam<const char*> {};

} // namespace

TEST_P(Crash, NothingIsLostAndNobodyWaitsForTheDead) {
    const LockKind& kind = lockKind(GetParam());
    const std::string lockName = uniqueName("crash");
    const std::string arenaName = uniqueName("arena");
    SharedStruct<Arena> arena(arenaName);
    QXHandle handle = 0;
    ASSERT_EQ(kind.open(lockName.c_str(), &handle), result::Ok);

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
        EXPECT_EQ(kind.acquire(handle), result::Ok);
    if (kind.acquire == QXSemaphoreWait) {
        EXPECT_EQ(QXSemaphoreTryWait(handle), result::Busy);
    }
    EXPECT_EQ(kind.close(handle), result::Ok);
    EXPECT_EQ(filesNamed(lockName), 0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Crash,
                         testing::Values("Mutex", "Condition", "Writer", "Semaphore",
                                         "SemaphoreOfThree"),
                         [](const auto& test) { return test.param; });

namespace {

struct Traffic {
    std::atomic<int> inside; // of the living
    std::atomic<int> most;
    std::atomic<int> turns;
    std::atomic<bool> stop;
};

/// Takes a unit of a semaphore of two again and again, for so long each time that the others wait.
const ChildEntry passer("unit-passer", [](const auto& arguments) {
    ipc::Semaphore semaphore(arguments[0].c_str(), 2);
    SharedStruct<Traffic> traffic(arguments[1]);
    while (!traffic->stop) {
        semaphore.wait();
        const int inside = ++traffic->inside;
        for (int seen = traffic->most; inside > seen;) {
            if (traffic->most.compare_exchange_weak(seen, inside))
                break;
        }
        ++traffic->turns;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        --traffic->inside;
        semaphore.signal();
    }
    return 0;
});

} // namespace

// The living wake each other all the time, so that none of them sleeps through a whole slice.
TEST(CrashUnderTraffic, AUnitComesBackThoughTheOthersAreNeverStill) {
    const std::string name = uniqueName("traffic");
    const std::string trafficName = uniqueName("traffic");
    SharedStruct<Traffic> traffic(trafficName);
    const ipc::Semaphore semaphore(name.c_str(), 2); // for all: two units
    Party victim(Way::BetweenProcesses, Guards, name, 0);
    EXPECT_EQ(victim(QXSemaphoreWait), result::Ok);
    std::vector<ChildProcess> living;
    for (int i = 0; i < 3; ++i)
        living.emplace_back("unit-passer", std::vector{name, trafficName});
    ASSERT_TRUE(eventually([&] { return traffic->turns > 20; }));
    EXPECT_EQ(traffic->most, 1);
    victim.kill();
    EXPECT_TRUE(eventually([&] { return traffic->most == 2; }));
    traffic->stop = true;
    for (ChildProcess& each : living)
        EXPECT_EQ(each.join(), 0);
}
