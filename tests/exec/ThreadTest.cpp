#include <algorithm>
#include <atomic>
#include <fstream>
#include <memory>

#include <pthread.h>
#include <sys/resource.h>

#include <qx/exec/CallableRunnable.h>
#include <qx/exec/Thread.h>
#include <qx/platform/native.h>
#include <qx/platform/thread.h>
#include <qx/sync/Gate.h>
#include <qx/sync/Semaphore.h>

#include "tests/exec/ExecTesting.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/SignalStorm.h"

using namespace qx;
using namespace qx::exec;
using namespace qxtest;

namespace {

constexpr auto* NotStarted = u"thread not started";
constexpr auto* AlreadyStarted = u"thread already started";

int s_value;

/// Tells its runs, and by a gate when its last reference is gone.
class Task : public pcom::Implements<Object, IRunnable> {
public:
    explicit Task(sync::Gate& gone) : m_gone(gone) {}
    ~Task() override { m_gone.open(); }
    void* run() override {
        ++m_runs;
        return &s_value;
    }

    int runs() const { return m_runs; }

private:
    sync::Gate& m_gone;
    std::atomic<int> m_runs{0};
};

class ThreadTest : public testing::Test {
protected:
    Reference<Task> makeTask() { return new Task(m_gone); }

    sync::Gate m_gone;
};

/// What a thread hands back that runs the body.
template <class Body>
void* resultOfThread(Body body) {
    Thread thread(makeRunnable(std::move(body)));
    thread.start();
    return thread.join();
}

TEST(Thread, HandsBackTheWholePointerAndNullForAnException) {
    for (void* const value :
         {static_cast<void*>(nullptr), static_cast<void*>(&s_value),
          reinterpret_cast<void*>(~uintptr_t{0}), reinterpret_cast<void*>(uintptr_t{1} << 40)})
        EXPECT_EQ(resultOfThread([value] { return value; }), value);
    // A callable without a result that cannot be copied.
    EXPECT_EQ(resultOfThread([owned = std::make_unique<int>(7)] { ++*owned; }), nullptr);
    EXPECT_EQ(resultOfThread([]() -> void* { throw IllegalStateException(u"lost"); }), nullptr);
    EXPECT_EQ(resultOfThread([]() -> void* { throw std::bad_alloc(); }), nullptr);
    EXPECT_EQ(resultOfThread([]() -> void* { throw 42; }), nullptr);
}

TEST_F(ThreadTest, MayEndItselfInTheMiddle) {
    EXPECT_EQ(resultOfThread([task = makeTask()] { pthread_exit(task->run()); }), &s_value);
    EXPECT_TRUE(m_gone.tryWait()); // the thread's reference is not lost
}

TEST_F(ThreadTest, StartsAgainAfterEachJoin) {
    const auto task = makeTask();
    Thread thread(task, u"again");
    for (int run = 1; run <= 3; ++run) {
        expectThrows<IllegalStateException>(NotStarted, [&] { thread.join(); });
        expectThrows<IllegalStateException>(NotStarted, [&] { thread.getID(); });
        thread.setStackSize(static_cast<unsigned int>(run) * 100'000u);
        thread.start();
        EXPECT_NE(thread.getID(), 0u);
        expectThrows<IllegalStateException>(AlreadyStarted, [&] { thread.start(); });
        expectThrows<IllegalStateException>(AlreadyStarted, [&] { thread.setStackSize(1); });
        EXPECT_EQ(thread.join(), &s_value);
        EXPECT_EQ(task->runs(), run);
    }
    expectThrows<IllegalStateException>(NotStarted, [&] { thread.join(); });
}

TEST(Thread, WithoutARunnableDoesNotStart) {
    Thread thread(nullptr);
    EXPECT_EQ(expectThrows<ResultException>(u"thread creation failed", [&] { thread.start(); }),
              result::NullPointer);
    expectThrows<IllegalStateException>(NotStarted, [&] { thread.join(); });
}

/// In a process whose address space is too small for the stack.
const ChildEntry smallProcess("exec.smallProcess", [](const auto&) {
    const rlimit limit{rlim_t{1} << 30, rlim_t{1} << 30};
    if (setrlimit(RLIMIT_AS, &limit) != 0)
        return 2;
    sync::Gate gone;
    const Reference<Task> task(new Task(gone));
    Thread thread(task);
    thread.setStackSize(0xF0000000u);
    EXPECT_LT(expectThrows<ResultException>(u"thread creation failed", [&] { thread.start(); }), 0);
    EXPECT_EQ(task->GetRefCount(), 2u);
    thread.setStackSize(0);
    thread.start();
    EXPECT_EQ(thread.join(), &s_value);
    return testing::Test::HasFailure() ? 1 : 0;
});

TEST(Thread, FailedStartLeavesItAsItWas) {
    if (Sanitized)
        GTEST_SKIP() << "a sanitizer needs more address space than the test leaves";
    EXPECT_EQ(ChildProcess("exec.smallProcess").join(), 0);
}

TEST(Thread, DoesNotJoinItself) {
    sync::Gate started;
    int32_t code = 0;
    Thread* self = nullptr;
    Thread thread(makeRunnable([&] {
        started.wait();
        code = expectThrows<ResultException>(u"thread join failed", [&] { self->join(); });
    }));
    self = &thread;
    thread.start();
    started.open();
    thread.join();
    EXPECT_EQ(code, result::Deadlock);
}

TEST_F(ThreadTest, GoesOnWithoutItsObject) {
    sync::Gate mayEnd;
    {
        Thread thread(makeRunnable([&, task = makeTask()] { mayEnd.wait(); }));
        thread.start();
    }
    EXPECT_FALSE(m_gone.wait(20));
    mayEnd.open();
    m_gone.wait(); // hangs if the thread has not released its runnable
}

TEST_F(ThreadTest, MayDropItsOwnObject) {
    sync::Gate dropped, destroyed;
    auto thread = std::make_unique<Reference<Thread>>();
    *thread = makeReference<Thread>(makeRunnable([&, task = makeTask()] {
        dropped.wait();
        thread.reset();
        destroyed.open();
    }));
    (*thread)->start();
    dropped.open();
    destroyed.wait();
    m_gone.wait();
}

TEST_F(ThreadTest, CopiesAreNotStarted) {
    sync::Gate mayEnd;
    char16_t name[] = u"copied";
    Thread thread(makeRunnable([&, task = makeTask()] {
                      mayEnd.wait();
                      return task->run();
                  }),
                  String(name, String::AM_WRAP));
    name[0] = u'X';
    thread.setStackSize(200'000);
    thread.start();

    Thread copy(thread);
    const Reference<Thread> clone(thread.clone());
    for (Thread* other : {&copy, clone.get()}) {
        expectThrows<IllegalStateException>(NotStarted, [&] { other->join(); });
        EXPECT_EQ(other->getName(), u"copied");
        other->start();
    }
    mayEnd.open();
    for (Thread* each : {&thread, &copy, clone.get()})
        EXPECT_EQ(each->join(), &s_value);
}

TEST(Thread, DerivedClassesAreNotCloned) {
    class Derived : public Thread {
        using Thread::Thread;
    };
    expectThrows<CloneNotSupportedException>(u"", [] { Derived(nullptr).clone(); });
}

TEST(Thread, ShowsItsNameToTheSystemAndTellsItsNumber) {
    const struct {
        const char16_t* name;
        const char* shown;
    } cases[] = {
        {u"worker", "worker"},
        {u"exactly 15 long", "exactly 15 long"},
        {u"exactly 15 long and more", "exactly 15 long"},
        {u"cut between \u00E4", "cut between \u00E4"},
        {u"cut before a \u20AC", "cut before a "}, // would end with its second byte
        {u"cut before \U0001F600", "cut before \U0001F600"},
        {u"cut before: \U0001F600", "cut before: "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.shown);
        std::string shown;
        unsigned int number = 0;
        Thread thread(makeRunnable([&] {
                          std::ifstream file("/proc/thread-self/comm");
                          std::getline(file, shown);
                          number = Thread::getCurrentID();
                      }),
                      c.name);
        thread.start();
        const unsigned int fromOutside = thread.getID();
        thread.join();
        EXPECT_EQ(number, fromOutside);
        EXPECT_NE(number, Thread::getCurrentID());
        EXPECT_EQ(shown, c.shown);
        EXPECT_EQ(thread.getName(), c.name);
    }
}

TEST(Thread, GetsTheStackThatIsAskedFor) {
    for (const unsigned int size : {1u, 100'000u, 32u << 20}) {
        size_t got = 0;
        Thread thread(makeRunnable([&got] {
            pthread_attr_t attributes;
            pthread_getattr_np(pthread_self(), &attributes);
            pthread_attr_getstacksize(&attributes, &got);
            pthread_attr_destroy(&attributes);
        }));
        thread.setStackSize(size);
        thread.start();
        thread.join();
        EXPECT_GE(got, std::max(size, 65536u));
        EXPECT_LT(got, size + (2u << 20)); // sanitizers add their own
    }
}

TEST(Thread, SleepsNoShorterThanAskedThroughSignals) {
    using namespace std::chrono;
    const SignalStorm storm;
    const auto begin = steady_clock::now();
    Thread::sleep(100);
    EXPECT_GE(steady_clock::now() - begin, milliseconds(100));
    const auto middle = steady_clock::now();
    Thread::sleepFor(microseconds(1500));
    EXPECT_GE(steady_clock::now() - middle, microseconds(1500));
    Thread::sleepFor(hours::min());
    Thread::sleepUntil(steady_clock::time_point::min());
    const auto end = system_clock::now() + milliseconds(2);
    Thread::sleepUntil(end);
    EXPECT_GE(system_clock::now(), end);
}

TEST(Thread, ManyStartAndEndAtOnce) {
    constexpr int Starters = 4, Rounds = 250;
    std::atomic<int> runs{0};
    sync::Semaphore dropped(0);
    std::vector<std::jthread> starters;
    for (int i = 0; i < Starters; ++i) {
        starters.emplace_back([&] {
            for (int round = 0; round < Rounds; ++round) {
                Thread joined(makeRunnable([&runs] { ++runs; }));
                Thread left(makeRunnable([&] { dropped.signal(); }), u"left");
                joined.start();
                left.start();
                joined.join();
            }
        });
    }
    for (int i = 0; i < Starters * Rounds; ++i)
        dropped.wait();
    starters.clear();
    EXPECT_EQ(runs, Starters * Rounds);
}

constexpr QXHandle None = ~QXHandle{0};

void* giveBack(void* argument) { return argument; }

TEST(ThreadHandle, RefusesWhatItCannotStartOrJoin) {
    QXHandle handle = 1;
    uint32_t id = 1;
    EXPECT_EQ(QXThreadCreate(nullptr, nullptr, 0, 0, &handle, &id), result::NullPointer);
    EXPECT_EQ(handle, None);
    EXPECT_EQ(id, 0u);
    EXPECT_EQ(QXThreadCreate(giveBack, nullptr, 1, 0, &handle, &id), result::InvalidArgument);
    EXPECT_EQ(QXThreadCreate(giveBack, nullptr, 0, 0, nullptr, &id), result::NullPointer);
    EXPECT_EQ(QXThreadCreate(giveBack, nullptr, 0, 0, &handle, nullptr), result::NullPointer);
    void* value = &handle;
    for (const QXHandle invalid : {QXHandle{0}, None}) {
        EXPECT_EQ(QXThreadJoin(invalid, &value), result::InvalidHandle);
        EXPECT_EQ(value, nullptr);
        EXPECT_EQ(QXThreadDetach(invalid), result::InvalidHandle);
    }
    ASSERT_EQ(QXThreadCreateNamed("", giveBack, &id, 0, 0, &handle, &id), result::Ok);
    EXPECT_EQ(QXThreadJoin(handle, nullptr), result::NullPointer);
    EXPECT_EQ(QXThreadJoin(handle, &value), result::Ok);
    EXPECT_EQ(value, &id);
}

TEST(ThreadHandle, HasAnotherNumberInAForkedChild) {
    const uint32_t parent = QXThreadCurrentId();
    const pid_t child = fork();
    if (child == 0)
        _exit(QXThreadCurrentId() == parent ? 1 : 0);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

} // namespace
