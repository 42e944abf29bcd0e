#include <chrono>
#include <shared_mutex>

#include <qx/qx.h>

#include "tests/support/BlockingThread.h"
#include "tests/support/ExpectResult.h"

namespace {

using namespace qx;
using namespace qx::sync;
using namespace std::chrono_literals;
using namespace std::chrono;
using qxtest::expectEach;

bool isFreeForOthers(auto& lock) {
    bool owned = false;
    std::jthread([&] { owned = std::unique_lock(lock, std::try_to_lock).owns_lock(); }).join();
    return owned;
}

TEST(SyncClasses, ThrowTheCodeOfAFailingCall) {
    constexpr unsigned int Unknown = 0x10;
    expectEach(result::InvalidArgument,
               {[] { Mutex("m", Unknown); }, [] { ReaderWriterLock("l", Unknown); },
                [] { Condition("c", Unknown); }, [] { Event("e", Unknown); },
                [] { Gate("g", Unknown); }, [] { Semaphore(0, "s", Unknown); },
                [] { Semaphore(0x80000000u); }});
    Semaphore full(0x7FFFFFFF);
    expectEach(result::Overflow, {[&full] { full.signal(); }});
    EXPECT_EQ(full.getValue(), 0x7FFFFFFF);
    EXPECT_FALSE(signalled(1)); // success other than "signalled"
    expectEach(result::Fail, {[] { signalled(result::Fail); }});
}

TEST(LockClasses, ThrowWhenReleasedByAStrangerOrATimeRunsOutAndStayUsable) {
    Mutex mutex;
    ReaderWriterLock lock;
    Condition condition;
    expectEach(result::NotOwner,
               {[&] { mutex.signal(); }, [&] { lock.signal(); }, [&] { lock.signalShared(); },
                [&] { condition.release(); }, [&] { condition.wait(); }});
    {
        const Condition::Holder holder(condition);
        expectEach(result::TimedOut, {[&] { condition.wait(1); }, [&] { condition.wait(0); }});
        EXPECT_FALSE(isFreeForOthers(condition));
    }
    const std::scoped_lock all(mutex, lock, condition);
}

TEST(LockClasses, StandardGuardsHoldAndLetGo) {
    Mutex mutex;
    ReaderWriterLock lock;
    for (LockObject* each : std::initializer_list<LockObject*>{&mutex, &lock}) {
        {
            const std::lock_guard guard(*each);
            EXPECT_FALSE(isFreeForOthers(*each));
        }
        EXPECT_TRUE(isFreeForOthers(*each));
    }
    {
        const std::shared_lock reader(lock);
        EXPECT_FALSE(isFreeForOthers(lock));
        std::jthread([&lock] {
            EXPECT_TRUE(std::shared_lock(lock, std::try_to_lock).owns_lock());
        }).join();
    }
    EXPECT_TRUE(isFreeForOthers(lock));
    FakeMutex fake("label", 7);
    const std::lock_guard guard(fake);
    EXPECT_TRUE(fake.tryWait() && isFreeForOthers(fake)); // lets everybody in
}

template <class T>
class Atomics : public testing::Test {};
using Kinds = testing::Types<Atomic, FakeAtomic>;
TYPED_TEST_SUITE(Atomics, Kinds);

TYPED_TEST(Atomics, CountAndWrapAround) {
    constexpr int32_t Most = std::numeric_limits<int32_t>::max();
    TypeParam number(Most);
    EXPECT_EQ(number.increment(), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(number.decrement(), Most);
    EXPECT_EQ(number.fetchAdd(Most), Most);
    EXPECT_EQ(number.exchange(5), -2);
    EXPECT_FALSE(number.compareExchange(4, 9) || number.get() != 5);
    EXPECT_TRUE(number.compareExchange(5, 9) && number.get() == 9);
    EXPECT_EQ(TypeParam().get(), 0);
}

TEST(Atomic, LosesNoChangeOfAnyThread) {
    constexpr int32_t Rounds = 20'000;
    Atomic sum, won;
    qxtest::inThreads(4, [&](int) {
        for (int32_t round = 0; round < Rounds; ++round) {
            sum.fetchAdd(3);
            sum.decrement();
            if (won.compareExchange(round, round + 1))
                sum.increment();
        }
    });
    EXPECT_EQ(sum.get(), 4 * Rounds * 2 + won.get());
}

constexpr uint64_t Most = std::numeric_limits<uint64_t>::max();

constexpr uint64_t toMs(const auto& d) { return roundedUp<std::milli>(d); }
static_assert(toMs(0ms) == 0 && toMs(7ms) == 7 && toMs(2min) == 120'000);
static_assert(toMs(1ns) == 1 && toMs(1'000'000ns) == 1 && toMs(1'000'001ns) == 2);
static_assert(toMs(-1ns) == 0 && toMs(hours::min()) == 0);
static_assert(toMs(duration<uint8_t>(255)) == 255'000);
// The greatest durations: what fits is exact.
static_assert(toMs(nanoseconds::max()) == 9'223'372'036'855u);
static_assert(toMs(milliseconds::max()) == uint64_t{INT64_MAX});
static_assert(toMs(duration<int64_t>::max()) == Most &&
              toMs(duration<int64_t, std::peta>(20)) == Most);
// Neither a whole part nor a whole multiple of a millisecond.
static_assert(toMs(duration<int, std::ratio<1001, 30'000>>(3)) == 101);
static_assert(toMs(duration<int64_t, std::ratio<1001, 30'000>>(INT64_MAX)) > Most / 60);
static_assert(toMs(0.0015s) == 2 && toMs(-0.5s) == 0 && toMs(duration<float>(0.5f)) == 500);
static_assert(toMs(duration<double>(std::numeric_limits<double>::infinity())) == Most);

static_assert(Duration<nanoseconds> && Duration<duration<double>>);
static_assert(TimePoint<steady_clock::time_point> && TimePoint<system_clock::time_point>);
static_assert(!Duration<int> && !Duration<steady_clock::time_point> && !TimePoint<hours>);

TEST(TimedWaits, GoThroughHugeTimesInSteps) {
    for (const auto& [milliseconds, expectedCalls] :
         std::initializer_list<std::pair<uint64_t, int>>{
             {0, 1}, {0xFFFFFFFF, 1}, {0x100000000, 2}, {0x2FFFFFFFF, 4}}) {
        uint64_t waited = 0;
        int calls = 0;
        EXPECT_FALSE(waitInSteps(milliseconds, [&](uint32_t step) {
            waited += step;
            return ++calls > 4;
        }));
        EXPECT_EQ(waited, milliseconds);
        EXPECT_EQ(calls, expectedCalls) << milliseconds;
    }
    EXPECT_TRUE(waitInSteps(hours::max(), [](uint32_t) { return true; }));
    EXPECT_EQ(toMs(duration<double>(std::numeric_limits<double>::quiet_NaN())), 0u);
}

TEST(TimedWaits, KnowPointsInTimeThatTheirClockCannotTell) {
    const auto waits = [](auto end) {
        return waitUntilTime(end, [](uint32_t step) { return step != 0; });
    };
    EXPECT_TRUE(waits(sys_seconds::max()) && waits(sys_days{2300y / 1 / 1}));
    EXPECT_FALSE(waits(sys_seconds::min()) || waits(sys_days{1601y / 1 / 1}));
    EXPECT_FALSE(waits(sys_time<duration<int64_t, std::pico>>::max())); // in April 1970
    struct Clock {
        static time_point<Clock, milliseconds> now() { return {}; }
    };
    EXPECT_TRUE(waits(Clock::now() + 1ms));
}

/// What event and gate have in common.
template <class Signal>
void waitFor(Signal& signal, void (Signal::*give)()) {
    for (const auto& over : {-1ns, 0ns})
        EXPECT_FALSE(signal.waitFor(over));
    EXPECT_FALSE(signal.waitUntil(steady_clock::time_point::min()));
    for (const auto time : {1.5ms, 20.0ms}) {
        const auto start = steady_clock::now();
        EXPECT_FALSE(signal.waitFor(time));
        EXPECT_GE(steady_clock::now() - start, time);
        const auto end = system_clock::now() + 3ms;
        EXPECT_FALSE(signal.waitUntil(end));
        EXPECT_GE(system_clock::now(), end);
    }
    std::jthread giver([&] { (signal.*give)(); });
    EXPECT_TRUE(signal.waitFor(hours::max()));
    (signal.*give)();
    EXPECT_TRUE(signal.waitUntil(steady_clock::time_point::max()));
    (signal.*give)();
    EXPECT_TRUE(signal.waitUntil(steady_clock::now() - 1h)); // the state counts, not the time
}

TEST(TimedWaits, OfEventAndGateEndNeitherEarlyNorInVain) {
    Event event;
    waitFor(event, &Event::signal);
    event.signal();
    EXPECT_FALSE(event.tryWait()); // cannot be polled, which has not taken it
    event.wait();
    EXPECT_FALSE(event.wait(0));
    Gate gate;
    waitFor(gate, &Gate::open);
    gate.wait();
    EXPECT_TRUE(gate.tryWait());
    gate.close();
    EXPECT_FALSE(gate.tryWait());
}

TEST(TimedWaits, OfAConditionEndInTimeOrWhenThePredicateIsTrue) {
    Condition condition;
    const std::unique_lock held(condition);
    EXPECT_FALSE(condition.waitFor(1us));
    EXPECT_FALSE(condition.waitUntil(steady_clock::now()));
    int asked = 0;
    const auto start = steady_clock::now();
    EXPECT_FALSE(condition.waitFor(10ms, [&] { return ++asked == 0; }));
    EXPECT_GE(steady_clock::now() - start, 10ms);
    EXPECT_GE(asked, 2);
    EXPECT_FALSE(condition.waitUntil(start, [] { return false; }));
    EXPECT_TRUE(condition.waitFor(-1s, [] { return true; })); // asked before any wait
    int items = 0;
    std::jthread producer([&] {
        for (int i = 0; i < 4; ++i) {
            const std::lock_guard own(condition);
            ++items;
            condition.signal();
        }
    });
    condition.wait([&] { return items >= 1; });
    EXPECT_TRUE(condition.waitFor(hours::max(), [&] { return items >= 3; }));
    EXPECT_TRUE(condition.waitUntil(steady_clock::time_point::max(), [&] { return items == 4; }));
}

} // namespace
