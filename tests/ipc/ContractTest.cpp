// What locks and signals promise, whoever the others are who use them.

#include <algorithm>
#include <cerrno>
#include <map>
#include <random>
#include <signal.h>

#include "tests/ipc/Party.h"
#include "tests/support/SignalStorm.h"

using namespace qx;
using namespace qxtest;

namespace {

enum Act {
    Ends,  // the call that waited
    Forks, // has a child that only lives
    Stops,
    Dies,
    Quits,
    Destroys,
};

constexpr int32_t Blocks = 1000; // instead of a result
constexpr char Waiters = '*', OneWaiter = '1';

/// What somebody does and what comes of it.
struct Step {
    char who;
    Act act;
    std::optional<Call> call;
    int32_t outcome;
};

struct Who {
    Step operator()(Call call, int32_t outcome = result::Ok) const {
        return {name, Ends, call, outcome};
    }
    Step operator()(TimedOperation call, uint32_t milliseconds, int32_t outcome) const {
        return {name, Ends, Call(call, milliseconds), outcome};
    }
    Step operator()(Act act, int32_t outcome = result::Ok) const {
        return {name, act, std::nullopt, outcome};
    }

    char name;
};

/// The test itself and the others.
constexpr Who a{'a'}, b{'b'}, c{'c'}, d{'d'}, e{'e'};
/// Those who wait: one after the other ends its call and makes another.
constexpr Who eachWaiter{Waiters};
/// Only one does, the one that has waited longest.
constexpr Who oneWaiter{OneWaiter};

struct Script {
    const char* promise;
    const ObjectKind& kind;
    std::vector<Step> steps;
};

int32_t valueOf(QXHandle semaphore) {
    int32_t value = -1;
    EXPECT_EQ(QXSemaphoreGetValue(semaphore, &value), result::Ok);
    return value;
}

template <auto Try, auto... Arguments>
int32_t byTrying(QXHandle handle) {
    return eventually([handle] { return Try(handle, Arguments...) == result::Ok; }) - 1;
}

constexpr Operation isTold = QXSyncAcquiredFromDead;

using namespace result;

const Script Scripts[] = {
    {"AMutexIsHeldUntilReleasedAsOftenAsAcquired",
     Mutexes,
     {a(QXMutexRelease, NotOwner), a(QXMutexAcquire), a(QXMutexAcquire), a(QXMutexTryAcquire),
      b(QXMutexTryAcquire, Busy), b(QXMutexRelease, NotOwner), a(QXMutexRelease),
      b(QXMutexTryAcquire, Busy), a(QXMutexRelease), b(QXMutexTryAcquire, Busy),
      b(QXMutexRelease, NotOwner), a(QXMutexRelease), a(QXMutexRelease, NotOwner),
      b(QXMutexTryAcquire), a(QXMutexTryAcquire, Busy), b(QXMutexRelease)}},
    {"AMutexGoesToThoseWhoSleep",
     Mutexes,
     {a(QXMutexAcquire), b(QXMutexAcquire, Blocks), c(QXMutexAcquire, Blocks), b(Ends, Blocks),
      c(Ends, Blocks), a(QXMutexRelease), eachWaiter(QXMutexRelease)}},
    {"AReaderWriterLockAdmitsReadersTogetherAndWritersAlone",
     RWLocks,
     {a(QXRWLockAcquireRead), b(QXRWLockTryAcquireRead), b(QXRWLockReleaseRead),
      b(QXRWLockTryAcquireWrite, Busy), a(QXRWLockReleaseWrite, NotOwner), a(QXRWLockReleaseRead),
      a(QXRWLockReleaseRead, NotOwner), a(QXRWLockAcquireWrite), b(QXRWLockTryAcquireRead, Busy),
      b(QXRWLockTryAcquireWrite, Busy), b(QXRWLockReleaseWrite, NotOwner),
      a(QXRWLockReleaseRead, NotOwner), a(QXRWLockAcquireWrite, Deadlock), // would wait for itself
      a(QXRWLockAcquireRead, Deadlock), a(QXRWLockReleaseWrite), b(QXRWLockTryAcquireWrite),
      b(QXRWLockReleaseWrite), a(QXRWLockReleaseWrite, NotOwner)}},
    {"WritersAndReadersThatWaitTakeTurns",
     RWLocks,
     {a(QXRWLockAcquireRead), b(QXRWLockAcquireWrite, Blocks),
      a(QXRWLockTryAcquireRead, Busy), // a waiting writer keeps readers out
      a(QXRWLockReleaseRead), b(Ends), c(QXRWLockAcquireWrite, Blocks),
      d(QXRWLockAcquireRead, Blocks), e(QXRWLockAcquireRead, Blocks), b(QXRWLockReleaseWrite),
      d(Ends), // all readers, before the next writer
      e(Ends), c(Ends, Blocks), d(QXRWLockReleaseRead), c(Ends, Blocks), e(QXRWLockReleaseRead),
      c(Ends), c(QXRWLockReleaseWrite), a(QXRWLockTryAcquireRead), a(QXRWLockReleaseRead)}},
    {"AConditionIsWaitedForAndReleasedByItsHolderOnly",
     Conditions,
     {a(QXConditionRelease, NotOwner), a(QXConditionWait, NotOwner),
      a(QXConditionTimedWait, 1, NotOwner), b(QXConditionAcquire), a(QXConditionTryAcquire, Busy),
      a(QXConditionRelease, NotOwner), a(QXConditionWait, NotOwner),
      a(QXConditionTimedWait, 1, NotOwner), b(QXConditionRelease)}},
    // To acquire it hangs if a part of the depth was kept.
    {"AWaitGivesUpTheWholeDepthAndTakesItBack",
     Conditions,
     {b(QXConditionAcquire), b(QXConditionAcquire), b(QXConditionAcquire),
      b(QXConditionWait, Blocks), a(QXConditionAcquire), a(QXConditionSignal),
      a(QXConditionRelease), b(Ends), b(QXConditionRelease), b(QXConditionRelease),
      a(QXConditionTryAcquire, Busy), b(QXConditionTimedWait, 600, Blocks), a(QXConditionAcquire),
      a(QXConditionRelease), b(Ends, TimedOut), a(QXConditionTryAcquire, Busy),
      b(QXConditionRelease), b(QXConditionRelease, NotOwner)}},
    {"AnEventRemembersOneSignal",
     Events,
     {b(QXEventSignal), a(QXEventSignal), a(QXEventTimedWait, 0, Ok),
      b(QXEventTimedWait, 0, TimedOut), a(QXEventTimedWait, 31, TimedOut), // leaves no trace either
      a(QXEventSignal), b(QXEventWait), a(QXEventTimedWait, 0, TimedOut)}},
    {"EverySignalOfAnEventReleasesOneWaiter",
     Events,
     {b(QXEventTimedWait, 100'000, Blocks), c(QXEventWait, Blocks), d(QXEventWait, Blocks),
      a(QXEventSignal),
      a(QXEventSignal), // before the first waiter had the time to run
      a(QXEventSignal), b(Ends), c(Ends), d(Ends), a(QXEventTimedWait, 0, TimedOut)}},
    {"AGateStaysOpenUntilClosed",
     Gates,
     {b(QXGateTryWait, Busy), a(QXGateTryWait, Busy), a(QXGateTimedWait, 31, TimedOut),
      b(QXGateOpen), b(QXGateOpen), a(QXGateTryWait), a(QXGateWait), b(QXGateTimedWait, 0, Ok),
      a(QXGateClose), a(QXGateClose)}},
    {"OpeningAGateForAMomentReleasesEveryWaiter",
     Gates,
     {b(QXGateWait, Blocks), c(QXGateTimedWait, 100'000, Blocks), b(Ends, Blocks), a(QXGateOpen),
      a(QXGateClose), b(Ends), c(Ends), a(QXGateTryWait, Busy)}},
    {"ASignalSemaphoreGivesEachUnitOnce",
     Signals,
     {a(QXSemaphoreTryWait, Busy), b(QXSemaphorePost), a(valueOf, 1), a(QXSemaphoreTryWait),
      b(QXSemaphoreTryWait, Busy), b(QXSemaphoreWait, Blocks), a(QXSemaphorePost), b(Ends),
      a(valueOf, 0), b(QXSemaphorePost), a(QXSemaphoreTryWait)}},
    {"ASemaphoreIsWaitedForAsLongAsToldTo",
     Signals,
     {a(QXSemaphoreTimedWait, 0, TimedOut), a(QXSemaphoreTimedWait, 31, TimedOut),
      b(QXSemaphoreTimedWait, 100'000, Blocks), a(QXSemaphorePost), b(Ends), a(valueOf, 0),
      b(QXSemaphorePost), a(QXSemaphoreTimedWait, 0, Ok)}},
    {"AGuardGivesEachUnitOnce",
     Guards, // after a death: taken by one who died with it
     {a(valueOf, 1), a(QXSemaphoreTryWait), b(QXSemaphoreTryWait, Busy), b(QXSemaphoreWait, Blocks),
      a(QXSemaphorePost), b(Ends), a(valueOf, 0), b(QXSemaphorePost), a(QXSemaphoreTryWait),
      a(QXSemaphorePost)}},
    {"ASignalEndsTheLongestWaitAndABroadcastAll",
     Conditions,
     {b(QXConditionAcquire), b(QXConditionWait, Blocks), c(QXConditionAcquire),
      c(QXConditionWait, Blocks), d(QXConditionAcquire), d(QXConditionWait, Blocks),
      a(QXConditionSignal), // without holding it
      oneWaiter(QXConditionRelease), a(QXConditionAcquire), a(QXConditionBroadcast),
      a(QXConditionRelease), eachWaiter(QXConditionRelease),
      a(QXConditionSignal), // nothing is remembered for later waits
      a(QXConditionAcquire), a(QXConditionTimedWait, 31, TimedOut), a(QXConditionRelease)}},
};

/// What a killed holder had comes back though its forked child lives.
Script comesBackFrom(const ObjectKind& kind, const char* promise) {
    return {promise, kind, {b(kind.hold), b(Forks), b(Dies), a(kind.hold)}};
}

const Script AmongProcesses[] = {
    {"DestructionByTheHolderLetsOthersIn",
     Mutexes,
     {a(QXMutexAcquire), a(QXMutexAcquire), b(QXMutexAcquire, Blocks), a(Destroys), b(Ends),
      b(QXMutexRelease), b(Quits)}},
    {"NobodyWaitsForAKilledReaderOrAKilledWaitingWriter",
     RWLocks,
     {b(QXRWLockAcquireRead), c(QXRWLockAcquireWrite, Blocks), a(QXRWLockTryAcquireRead, Busy),
      c(Dies), a(QXRWLockAcquireRead), a(QXRWLockReleaseRead), b(Dies), a(QXRWLockAcquireWrite),
      a(QXRWLockReleaseWrite)}},
    {"OneWhoIsStoppedBeforeHisTurnOfAReaderWriterLockLosesIt",
     RWLocks,
     {a(QXRWLockAcquireRead), b(QXRWLockAcquireWrite, Blocks), b(Stops), a(QXRWLockReleaseRead),
      c(QXRWLockAcquireRead), c(QXRWLockReleaseRead), a(QXRWLockAcquireWrite),
      d(QXRWLockAcquireRead, Blocks), d(Stops), a(QXRWLockReleaseWrite),
      a(byTrying<QXRWLockTryAcquireWrite>),
      // A reader that comes when he was admitted does not go in his place before a writer.
      c(QXRWLockAcquireWrite, Blocks), a(QXRWLockReleaseWrite), e(QXRWLockAcquireRead, Blocks),
      c(Ends), e(Ends, Blocks), c(QXRWLockReleaseWrite), e(Ends), b(Dies), d(Dies)}},
    comesBackFrom(Mutexes, "AForkedChildDoesNotKeepAMutex"),
    comesBackFrom(RWLocks, "AForkedChildDoesNotKeepAReaderWriterLock"),
    comesBackFrom(Guards, "AForkedChildDoesNotKeepAUnit"),
    // It has the signal when it dies. Only who waited then may have it instead.
    {"ADeadWaiterTakesNoSignalOfAConditionAndLeavesNone",
     Conditions,
     {b(QXConditionAcquire), b(QXConditionWait, Blocks), c(QXConditionAcquire),
      c(QXConditionWait, Blocks), b(Stops), a(QXConditionSignal), b(Dies), c(Ends),
      c(QXConditionWait, Blocks), c(Stops), a(QXConditionSignal), a(QXConditionAcquire), c(Dies),
      a(QXConditionTimedWait, 300, TimedOut), a(QXConditionRelease)}},
    {"UnitsOfAKilledOneCountAtOnceAndEndAWaitInTime",
     Guards,
     {b(QXSemaphoreWait), a(valueOf, 0), a(QXSemaphoreTimedWait, 31, TimedOut), b(Dies),
      a(valueOf, 1), c(QXSemaphoreWait), c(Dies), a(QXSemaphoreTimedWait, 100'000, Ok),
      a(QXSemaphorePost), d(QXSemaphoreWait), d(Dies), a(byTrying<QXSemaphoreTimedWait, 0u>)}},
    {"UnitsOfOneWhoQuitsComeBack",
     GuardsOfThree,
     {a(QXSemaphoreWait), b(QXSemaphoreWait), b(QXSemaphoreWait), b(Quits), a(QXSemaphoreWait),
      a(QXSemaphoreWait), a(QXSemaphoreTryWait, Busy)}},
    {"AUnitThatNobodyHadIsAddedForGood",
     Guards,
     {b(QXSemaphorePost), b(Dies), a(QXSemaphoreWait), a(QXSemaphoreWait),
      a(QXSemaphoreTryWait, Busy)}},
    {"SignalsOfADeadOneStayGivenAndTaken",
     Signals,
     {a(QXSemaphorePost), b(QXSemaphorePost), b(QXSemaphorePost), b(QXSemaphoreWait), b(Dies),
      c(QXSemaphoreWait), c(Quits), a(QXSemaphoreWait), a(QXSemaphoreTryWait, Busy)}},
    {"WhoeverHoldsAMutexNextIsToldThatTheLastOneWentInside",
     Mutexes,
     {b(QXMutexAcquire), b(isTold, 0),      b(Dies),           c(isTold, 0), c(QXMutexAcquire),
      c(isTold, 1),      c(QXMutexAcquire), c(QXMutexRelease), c(isTold, 1), c(QXMutexRelease),
      c(isTold, 0),      c(QXMutexAcquire), c(isTold, 0),      c(Quits),     d(QXMutexAcquire),
      d(isTold, 1),      d(Dies),           a(QXMutexAcquire), a(isTold, 1), a(QXMutexRelease),
      a(QXMutexAcquire), a(isTold, 0)}},
    {"TheLockOfAConditionTellsItsNextHolder",
     Conditions,
     {b(QXConditionAcquire), b(Dies), a(QXConditionSignal), a(isTold, 0), c(QXConditionBroadcast),
      a(QXConditionAcquire), a(QXConditionSignal), a(isTold, 1),
      a(QXConditionTimedWait, 1, TimedOut), a(isTold, 0)}},
    {"AllAreToldOfADeadWriterUntilAnotherHasBeenInButOfNoReader",
     RWLocks,
     {b(QXRWLockAcquireRead), b(Dies), a(QXRWLockAcquireWrite), a(isTold, 0),
      a(QXRWLockReleaseWrite), c(QXRWLockAcquireWrite), c(Dies), a(QXRWLockAcquireRead),
      d(QXRWLockAcquireRead), d(isTold, 1), d(QXRWLockReleaseRead), d(isTold, 0),
      a(QXRWLockReleaseRead), d(QXRWLockAcquireWrite), d(QXRWLockReleaseRead, NotOwner),
      d(isTold, 1), d(QXRWLockReleaseWrite), a(QXRWLockAcquireRead), a(isTold, 0)}},
    {"EachUnitOfADeadOneTellsWhoeverTakesItFirst",
     GuardsOfThree,
     {b(QXSemaphoreWait), b(QXSemaphoreWait), b(QXSemaphorePost), b(QXSemaphoreWait), b(Dies),
      c(QXSemaphoreWait), c(QXSemaphoreWait), a(QXSemaphoreTryWait), a(QXSemaphoreTryWait, Busy),
      a(isTold, 0), c(isTold, 1), c(QXSemaphorePost), c(isTold, 0), a(QXSemaphoreWait),
      a(isTold, 0), c(Dies), d(QXSemaphoreWait), d(isTold, 1)}},
};

struct Contract : testing::TestWithParam<std::tuple<Way, Script>> {
    void play(const Step& step, MadeObject& object) {
        if (step.who == Waiters)
            return passOn(*step.call, 0);
        if (step.who == OneWaiter)
            return passOn(*step.call, m_waiting.size() - 1);
        if (step.who == 'a') {
            if (!step.call)
                return object.destroy();
            const auto start = Clock::now();
            errno = ENOENT;
            EXPECT_EQ((*step.call)(object.handle), step.outcome);
            EXPECT_EQ(errno, ENOENT); // the native error is that of the caller's own last call
            if (step.outcome == TimedOut) {
                EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(step.call->limit));
            }
            EXPECT_LT(Clock::now(), m_limit);
            return;
        }
        Party& party =
            m_others.try_emplace(step.who, std::get<Way>(GetParam()), object).first->second;
        if (step.call)
            party.start(*step.call);
        if (step.outcome == Blocks) {
            if (step.call)
                m_waiting.push_back(&party);
            party.awaitBlocked();
            EXPECT_TRUE(step.call || !party.isDone());
        } else if (step.act == Ends) {
            EXPECT_EQ(party.finish(), step.outcome);
            std::erase(m_waiting, &party);
        } else if (step.act == Forks) {
            party.forkIdleChild();
        } else if (step.act == Stops) {
            party.stop();
        } else {
            step.act == Dies ? party.kill() : party.quit();
            m_limit = Clock::now() + DeadHolderLimit;
        }
    }
    void passOn(Call call, size_t left) {
        const auto isDone = [](const Party* party) { return party->isDone(); };
        while (m_waiting.size() > left) {
            ASSERT_TRUE(eventually([&] { return std::ranges::any_of(m_waiting, isDone); }));
            EXPECT_EQ(std::ranges::count_if(m_waiting, isDone), 1);
            const auto first = std::ranges::find_if(m_waiting, isDone);
            if (left > 0) {
                EXPECT_EQ(first, m_waiting.begin());
            }
            EXPECT_EQ((*first)->finish(), Ok);
            EXPECT_EQ((**first)(call), Ok);
            m_waiting.erase(first);
        }
        for (Party* const party : m_waiting) {
            party->awaitBlocked();
            EXPECT_FALSE(party->isDone());
        }
    }

    void run() {
        const auto& [way, script] = GetParam();
        MadeObject object(script.kind, way == Way::InTheProcess ? 0 : QX_SYNC_SHARED);
        if (way == Way::AfterADeath) {
            Party victim(way, object);
            victim.start(script.kind.hold);
            victim.awaitBlocked();
            victim.kill();
            EXPECT_TRUE(script.kind.heal(script.kind, object.handle));
        }
        std::optional<SignalStorm> storm; // signals to a thread never end its wait
        for (int round = 0; round < 2 && m_limit == Clock::time_point::max(); ++round) {
            if (round == 1)
                storm.emplace();
            for (const Step& step : script.steps) {
                SCOPED_TRACE(testing::Message() << "step " << &step - script.steps.data());
                play(step, object);
            }
        }
        m_others.clear();
    }

    std::map<char, Party> m_others;
    std::vector<Party*> m_waiting;
    Clock::time_point m_limit = Clock::time_point::max();
};

TEST_P(Contract, Holds) { run(); }

std::string nameOf(const testing::TestParamInfo<Contract::ParamType>& test) {
    constexpr const char* Names[] = {"InTheProcess", "ByName", "BetweenProcesses", "ForkedChild",
                                     "AfterADeath"};
    return std::get<Script>(test.param).promise + std::string("_") +
           Names[static_cast<int>(std::get<Way>(test.param))];
}

INSTANTIATE_TEST_SUITE_P(Everywhere, Contract,
                         testing::Combine(testing::Values(Way::InTheProcess, Way::ByName,
                                                          Way::BetweenProcesses, Way::ForkedChild,
                                                          Way::AfterADeath),
                                          testing::ValuesIn(Scripts)),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(AmongProcesses, Contract,
                         testing::Combine(testing::Values(Way::BetweenProcesses, Way::ForkedChild),
                                          testing::ValuesIn(AmongProcesses)),
                         nameOf);
// Many processes contend for one lock while some of them are killed at random moments.

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
    std::atomic<bool> isHalfDone;  // while one holder is inside, and when it was killed there
    Worker workers[Processes + Kills];

    /// Living workers inside at one instant; 0 when they moved while they were counted.
    int countInside() const {
        int64_t before = 0, after = 0; // turns never go back
        int inside = 0;
        for (const Worker& each : workers)
            before += each.turns;
        for (const Worker& each : workers) {
            const int64_t now = each.turns;
            after += now;
            inside += now % 2 != 0 && !each.isKilled;
        }
        return after == before ? inside : 0;
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
        if (kind.holders == 1) {
            CHECK_IN_CHILD(!arena->isHalfDone.exchange(true) || isTold(handle) == 1);
            ++arena->guarded;
        }
        if (arena->countInside() > kind.holders)
            ++arena->violations;
        pauseAtTimes();
        ++arena->sections;
        ++self.turns;
        arena->isHalfDone = false;
        CHECK_IN_CHILD(kind.release(handle) >= 0);
        pauseAtTimes();
    }
    CHECK_IN_CHILD(kind.destroy(handle) >= 0);
    return 0;
});

class Crash : public testing::TestWithParam<const char*> {};

TEST_P(Crash, NothingIsLostAndNobodyWaitsForTheDead) {
    const ObjectKind& kind = kindNamed(GetParam());
    const MadeObject object(kind);
    const SharedStruct<Arena> arena(uniqueName("arena"));
    int started = 0;
    std::map<int, ChildProcess> workers;
    const auto startWorker = [&] {
        const std::string number = std::to_string(started);
        workers.emplace(started++, ChildProcess("crash-worker",
                                                {kind.name, object.name, arena.name(), number}));
    };
    for (int i = 0; i < Processes; ++i)
        startWorker();
    ASSERT_TRUE(eventually([&] { return arena->sections > 100; }));

    std::mt19937 random(2);
    for (int kill = 0; kill < Kills; ++kill) {
        auto victim = std::next(workers.begin(), random() % Processes);
        if (kill % 2 == 0) {
            // One that has the lock, if there is one at the moment.
            const auto holder = std::ranges::find_if(
                workers, [&](const auto& each) { return arena->workers[each.first].isInside(); });
            if (holder != workers.end())
                victim = holder;
        }
        arena->workers[victim->first].isKilled = true;
        victim->second.kill();
        EXPECT_EQ(victim->second.join(), -SIGKILL);
        const auto dead = Clock::now();
        workers.erase(victim);
        // More sections than holders can have been at the end of theirs: somebody got the lock.
        const int64_t before = arena->sections;
        EXPECT_TRUE(eventually([&] { return arena->sections > before + kind.holders; }));
        EXPECT_LT(Clock::now() - dead, DeadHolderLimit);
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
        EXPECT_EQ(kind.hold(object.handle), result::Ok);
    if (kind.hold == QXSemaphoreWait) {
        EXPECT_EQ(QXSemaphoreTryWait(object.handle), result::Busy);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Crash,
                         testing::Values("Mutex", "Condition", "Writer", "Guard", "GuardOfThree"),
                         [](const auto& test) { return test.param; });

// Who takes the lock between the wake and the death of the woken knows of nobody else who waits.
TEST(CrashUnderTraffic, AWaiterThatIsKilledAsItWakesLeavesNobodyAsleep) {
    const MadeObject mutex(Mutexes);
    EXPECT_EQ(QXMutexAcquire(mutex.handle), result::Ok);
    Party victim(Way::BetweenProcesses, mutex), other(Way::BetweenProcesses, mutex);
    for (Party* waiter : {&victim, &other}) {
        waiter->start(QXMutexAcquire);
        waiter->awaitBlocked();
    }
    victim.leaveToOthers(sched_getcpu());
    EXPECT_EQ(QXMutexRelease(mutex.handle), result::Ok);
    const bool isFirst = QXMutexTryAcquire(mutex.handle) == result::Ok;
    victim.kill();
    if (isFirst) {
        EXPECT_EQ(QXMutexRelease(mutex.handle), result::Ok);
    }
    EXPECT_GE(other.finish(), result::Ok);
}

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

} // namespace
