// A child forked from a program with threads uses, makes and drops one of everything, while the
// other threads of its parent are in the middle of the same.

#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>

#include <qx/platform/native.h>

#include "tests/fork/Uses.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Sanitized.h"

/// The thread sanitizer refuses threads in the child otherwise.
extern "C" const char* __tsan_default_options() { return "die_after_fork=0"; }

namespace {

using namespace qxtest;

/// The thread sanitizer takes the threads of a child for those of its parent.
constexpr bool ChildHasThreads = !ThreadSanitized;

constexpr int Forks = Sanitized ? 8 : 25;

/// Runs with all uses, then with each alone.
struct Fork : testing::TestWithParam<std::span<const Use>> {
    static std::vector<ParamType> allAndEach() {
        std::vector<ParamType> parts{allUses()};
        for (const Use& use : allUses())
            parts.emplace_back(&use, 1);
        return parts;
    }
};

TEST_P(Fork, ChildDoesWhatTheThreadsOfItsParentAreInTheMiddleOf) {
    if (!ChildHasMemory)
        GTEST_SKIP() << "the sanitizer's memory is locked in a child";
    const auto uses = GetParam();
    const uint32_t parent = QXThreadCurrentId();
    Inherited shared;
    std::atomic<bool> stop{false};
    std::vector<std::jthread> threads;
    for (size_t i = 0; i < 3; ++i) {
        threads.emplace_back([&, i] {
            for (size_t next = i * 5; !stop && !HasFailure(); ++next)
                EXPECT_NO_THROW(uses[next % uses.size()].inParent(shared));
        });
    }
    for (int i = 0; i < Forks && !HasFailure(); ++i) {
        EXPECT_TRUE(holdsInFork([&] {
            require(QXThreadCurrentId() != parent, "the number of its parent");
            for (const Use& use : uses) {
                if (ChildHasThreads || !use.startsThreads)
                    use.inChild(shared);
            }
            return true;
        }));
    }
    stop = true;
}

INSTANTIATE_TEST_SUITE_P(Uses, Fork, testing::ValuesIn(Fork::allAndEach()),
                         testing::PrintToStringParamName());

TEST(ForkedChild, IsMadeWhileTheLibraryStartsAndEndsAndStartsPrograms) {
    constexpr unsigned int OnePipe = QX_PROCESS_INHERIT_INPUT | QX_PROCESS_INHERIT_ERROR;
    const int next = dup(0); // the number that the parent's end will have
    close(next);
    for (void (*const step)() :
         {+[] { QXCLLibUninit(), QXCLLibInit(); },
          +[] { qx::exec::Process(nullptr, u"true", nullptr, nullptr, OnePipe).join(); }}) {
        const std::jthread repeating([step](const std::stop_token& stop) {
            while (!stop.stop_requested())
                step();
        });
        // With the other end of the pipe the output would not end before the child does.
        for (int i = 0; i < 8 * Forks; ++i)
            ASSERT_TRUE(holdsInFork([&] { return fcntl(next + 1, F_GETFL) != O_WRONLY; }));
    }
}

TEST(ForkedChild, FindsNobodyWaiting) {
    if (!ChildHasMemory || !ChildHasThreads)
        GTEST_SKIP() << "the sanitizer leaves a child no memory or no threads";
    qx::sync::ReaderWriterLock lock;
    qx::sync::Semaphore units(0);
    qx::sync::Event event;
    qx::sync::Condition condition;
    const auto await = [&] { std::unique_lock(condition).mutex()->wait(); };
    const auto tell = [&] { lock.signal(), units.signal(), event.signal(), condition.signal(); };
    lock.wait();
    const std::jthread writer([&] { lock.wait(), lock.signal(); }), taker([&] { units.wait(); }),
        listener([&] { event.wait(); }), waiter(await);
    QXThreadSleep(100);
    EXPECT_TRUE(holdsInFork([&] {
        std::jthread own(await);
        QXThreadSleep(100);
        tell();
        own.join();
        return lock.tryWait() && units.getValue() == 1 && units.tryWait() && event.wait(0u);
    }));
    tell();
}

} // namespace
