#include <mutex>
#include <random>

#include <signal.h>

#include <qx/ipc/SemaphoreR.h>

#include "tests/ipc/Party.h"
#include "tests/support/ExpectResult.h"

using namespace qx;
using namespace qxtest;
using qx::ipc::Semaphore;
using qx::ipc::SemaphoreR;

namespace {

/// Another process with the semaphore of that name.
struct User : Party {
    explicit User(const std::string& name) : Party(Way::BetweenProcesses, Guards, name) {}
};

} // namespace

TEST(NamedSemaphore, InitialValueCountsForTheCreatorOnly) {
    const std::string name = uniqueName("sem");
    {
        Semaphore first(name.c_str(), 3);
        EXPECT_TRUE(first.tryWait());
        {
            Semaphore second(name.c_str(), 9);
            EXPECT_EQ(second.getValue(), 2);
            second.signal(); // units belong to the process, not to the handle
        }
        EXPECT_EQ(first.getValue(), 3);
        User third(name);
        EXPECT_EQ(third(QXSemaphoreTryWait), result::Ok);
        EXPECT_EQ(first.getValue(), 2);
        third.quit();
        EXPECT_EQ(first.getValue(), 3);
    }
    EXPECT_EQ(filesNamed(name), 0);
    EXPECT_EQ(Semaphore(name.c_str(), 5).getValue(), 5);
}

TEST(NamedSemaphore, DisappearsWithItsLastUserHoweverThatEnds) {
    for (const bool isKilled : {false, true}) {
        for (const bool isSwept : {false, true}) {
            SCOPED_TRACE(testing::Message() << isKilled << isSwept);
            const std::string name = uniqueName("sem");
            User user(name);
            EXPECT_EQ(user(QXSemaphoreWait), result::Ok);
            isKilled ? user.kill() : user.quit();
            EXPECT_EQ(filesNamed(name), isKilled);
            if (isSwept) {
                User(uniqueName("other")).quit();
                EXPECT_EQ(filesNamed(name), 0) << "another process removes what is left";
            }
            EXPECT_EQ(Semaphore(name.c_str(), 4).getValue(), 4);
            EXPECT_EQ(filesNamed(name), 0);
        }
    }
}

TEST(NamedSemaphore, NamesAreTakenLiterally) {
    const std::string unique = uniqueName("name");
    const std::string longName(5000, 'x');
    const std::string names[] = {
        unique + "/a/b",
        unique + "\\a\\b",
        unique + "/../..",
        unique + "A",
        unique + "%41", // what an escape of the A looks like
        unique + "a",
        unique + "\xC3\xA4 \n",
        unique + longName + "1", // beyond every file name, differing at the end
        unique + longName + "2",
        unique + std::string(200, '/'),
        unique + std::string(201, '/'),
    };
    std::vector<std::unique_ptr<Semaphore>> semaphores;
    for (uint32_t i = 0; i < std::size(names); ++i)
        semaphores.push_back(std::make_unique<Semaphore>(names[i].c_str(), i + 1));
    for (uint32_t i = 0; i < std::size(names); ++i) {
        SCOPED_TRACE(names[i].substr(0, 60));
        EXPECT_EQ(semaphores[i]->getValue(), static_cast<int32_t>(i + 1))
            << "two names, one object";
        User other(names[i]);
        EXPECT_EQ(other(QXSemaphorePost), result::Ok);
        EXPECT_EQ(semaphores[i]->getValue(), static_cast<int32_t>(i + 2))
            << "one name, two objects";
    }
    semaphores.clear();
    EXPECT_EQ(filesNamed(unique), 0);
}

namespace {

/// Creates and removes one semaphore as fast as it can, until it is killed.
const ChildEntry churner("semaphore-churner", [](const auto& arguments) -> int {
    for (;;)
        CHECK_IN_CHILD(Semaphore(arguments[0].c_str(), 2).tryWait());
});

} // namespace

TEST(NamedSemaphore, AKillDuringSetUpOrRemovalLeavesTheNameUsable) {
    const std::string name = uniqueName("churn");
    std::mt19937 random(1);
    for (int round = 0; round < 100; ++round) {
        ChildProcess first("semaphore-churner", {name});
        ChildProcess second("semaphore-churner", {name});
        std::this_thread::sleep_for(std::chrono::microseconds(2000 + random() % 3000));
        first.kill();
        EXPECT_EQ(first.join(), -SIGKILL);
        second.kill();
        EXPECT_EQ(second.join(), -SIGKILL);
        Semaphore semaphore(name.c_str(), 7);
        ASSERT_EQ(semaphore.getValue(), 7);
    }
    EXPECT_EQ(filesNamed(name), 0);
}

TEST(SemaphoreR, TakesOneUnitHoweverDeepItsOwnerIsAndWhoeverElseSignals) {
    const std::string name = uniqueName("sem");
    SemaphoreR semaphore(name.c_str(), 1, nullptr);
    Semaphore underlying(name.c_str(), 9);
    semaphore.wait();
    EXPECT_TRUE(semaphore.tryWait());
    semaphore.wait();
    EXPECT_EQ(semaphore.getValue(), 0);
    semaphore.signal();
    std::thread([&] {
        semaphore.signal();
        semaphore.signal();
        EXPECT_FALSE(semaphore.tryWait());
    }).join();
    semaphore.signal();
    EXPECT_EQ(underlying.getValue(), 0);
    EXPECT_FALSE(underlying.tryWait());
    semaphore.signal();
    EXPECT_EQ(underlying.getValue(), 1);
    semaphore.signal(); // nobody's: ignored
    EXPECT_EQ(underlying.getValue(), 1);
    std::thread([&] { EXPECT_TRUE(std::unique_lock(semaphore, std::try_to_lock)); }).join();
    EXPECT_EQ(semaphore.getValue(), 1);
}

// It hangs when a thread that waits holds the guard.
TEST(SemaphoreR, ExcludesThreadsThroughOneObjectAndThroughSeveral) {
    const std::string name = uniqueName("sem");
    const Reference<sync::Mutex> guard(new sync::Mutex);
    SemaphoreR common(name.c_str(), 1, guard);
    EXPECT_EQ(guard->GetRefCount(), 2u);
    int counter = 0; // guarded by the semaphore
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&, i] {
                SemaphoreR own(name.c_str(), 1, nullptr);
                for (int round = 0; round < 300; ++round) {
                    std::unique_lock outer(i % 2 == 0 ? common : own), inner(*outer.mutex());
                    const int seen = counter;
                    std::this_thread::yield();
                    counter = seen + 1;
                }
            });
        }
    }
    EXPECT_EQ(counter, 4 * 300);
    EXPECT_EQ(common.getValue(), 1);
}

TEST(SemaphoreR, ThrowsWhatThePlatformSays) {
    EXPECT_THROW(SemaphoreR("", 1, nullptr), ResultException);
    Semaphore full(uniqueName("sem").c_str(), 0x7FFFFFFF);
    expectThrowsResult(result::Overflow, [&] { full.signal(); });
    EXPECT_EQ(full.getValue(), 0x7FFFFFFF);
}
