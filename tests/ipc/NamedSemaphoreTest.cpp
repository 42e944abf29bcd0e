#include <memory>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <signal.h>

#include <qx/ipc/Semaphore.h>

#include "tests/ipc/IpcTesting.h"
#include "tests/support/ChildProcess.h"

using namespace qx;
using namespace qxtest;
using qx::ipc::Semaphore;

namespace {

/// Opens a semaphore with a value, does one `w`ait, `p`ost or `c`lose per letter, then dies by
/// SIGKILL, or for an `e` ends.
const ChildEntry user("semaphore-user", [](const auto& arguments) {
    std::optional<Semaphore> semaphore;
    semaphore.emplace(arguments[0].c_str(), static_cast<uint32_t>(std::stoul(arguments[1])));
    for (const char step : arguments[2]) {
        if (step == 'w')
            semaphore->wait();
        else if (step == 'p')
            semaphore->signal();
        else if (step == 'c')
            semaphore.reset();
        else
            return 0;
    }
    raise(SIGKILL);
    return 1;
});

int runUser(const std::string& name, uint32_t value, const std::string& steps) {
    return ChildProcess("semaphore-user", {name, std::to_string(value), steps}).join();
}

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
        EXPECT_EQ(runUser(name, 7, "e"), 0);
        EXPECT_EQ(first.getValue(), 3);
    }
    EXPECT_EQ(filesNamed(name), 0);
    EXPECT_EQ(Semaphore(name.c_str(), 5).getValue(), 5);
}

TEST(NamedSemaphore, DisappearsWithItsLastUserHoweverThatEnds) {
    for (const char* steps : {"w", "we", "wc", "wce"}) { // killed, ended, closed and either
        SCOPED_TRACE(steps);
        const std::string name = uniqueName("sem");
        runUser(name, 2, steps);
        EXPECT_EQ(Semaphore(name.c_str(), 4).getValue(), 4);
        EXPECT_EQ(filesNamed(name), 0);
    }
}

TEST(NamedSemaphore, LeftoversOfTheKilledAreRemovedByAnotherProcess) {
    const std::string name = uniqueName("leftover");
    const std::string other = uniqueName("other");
    EXPECT_EQ(runUser(name, 2, "w"), -SIGKILL);
    EXPECT_EQ(filesNamed(name), 1);
    EXPECT_EQ(runUser(other, 1, "e"), 0);
    EXPECT_EQ(filesNamed(name), 0);
}

TEST(NamedSemaphore, GivesBackOrKeepsAsItsKindSays) {
    const struct {
        uint32_t initial;
        int32_t postedBefore;
        const char* steps;
        int32_t expected;
    } cases[] = {
        {2, 0, "ww", 2},   // killed with two units
        {2, 0, "wwe", 2},  // ended with two units
        {2, 0, "wwce", 2}, // closed with two units
        {3, 0, "wwp", 3},  // killed with one of them given back
        {1, 0, "p", 2},    // added for good: a unit that nobody had
        {0, 3, "ww", 1},   // a signal: what a dead process took stays taken
        {0, 3, "pp", 5},   // and what it posted stays posted
        {0, 0, "ppw", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.initial << " units, " << c.steps);
        const std::string name = uniqueName("sem");
        Semaphore semaphore(name.c_str(), c.initial);
        for (int32_t i = 0; i < c.postedBefore; ++i)
            semaphore.signal();
        runUser(name, 99, c.steps);
        // Looked for at most every tenth of a second, hence not at once.
        EXPECT_TRUE(eventually([&] { return semaphore.getValue() == c.expected; }))
            << semaphore.getValue();
        int32_t taken = 0;
        while (semaphore.tryWait())
            ++taken;
        EXPECT_EQ(taken, c.expected);
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
        EXPECT_EQ(runUser(names[i], 99, "pe"), 0);
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
