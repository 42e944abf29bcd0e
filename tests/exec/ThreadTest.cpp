#include <algorithm>
#include <atomic>
#include <csignal>
#include <dlfcn.h>
#include <fstream>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/exec/ExecTesting.h"
#include "tests/support/BlockingThread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Emulated.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/SignalStorm.h"
#include "tests/support/TemporaryFolder.h"

using namespace qx;
using namespace qx::exec;
using namespace qxtest;

namespace {

constexpr char NotStarted[] = "thread not started";

int s_value;

/// Makes runnables that count their runs, and tells by a gate when the last is gone.
struct ThreadTest : testing::Test {
    auto makeTask() {
        return makeRunnable([this, mark = std::shared_ptr<void>(
                                       this, [this](void*) { m_gone.open(); })]() -> void* {
            ++m_runs;
            return &s_value;
        });
    }

    sync::Gate m_gone;
    std::atomic<int> m_runs{0};
};

/// What a thread hands back that runs the body.
void* resultOfThread(auto body) {
    Thread thread(makeRunnable(std::move(body)));
    thread.start();
    return thread.join();
}

TEST(Thread, HandsBackTheWholePointerAndNullForAnException) {
    const auto whole = reinterpret_cast<void*>(~(uintptr_t{1} << 40));
    inThreads(4, [whole](int) { // many that end while it is still asked for their numbers
        for (int i = 0; i < 500; ++i)
            EXPECT_EQ(resultOfThread([whole] { return whole; }), whole);
    });
    // A callable without a result that cannot be copied.
    EXPECT_EQ(resultOfThread([owned = std::make_unique<int>(7)] { ++*owned; }), nullptr);
    EXPECT_EQ(resultOfThread([]() -> void* { throw IllegalStateException(u"lost"); }), nullptr);
}

std::atomic<int> s_told{0};

TEST(Thread, ItsExceptionGoesToWhoeverAsksAndElseToTheHook) {
    const auto hook = [](const std::exception_ptr& exception, const String& name) noexcept {
        s_told += exception && name == u"failing" ? 1 : 100;
    };
    EXPECT_EQ(Thread::setExceptionHook(hook), nullptr);
    const auto start = [](auto body) {
        auto thread = makeReference<Thread>(body, u"failing");
        thread->start();
        return thread;
    };
    const auto failing = start([] { throw 7; });
    EXPECT_THROW(failing->joinOrThrow(), int);
    failing->start();
    EXPECT_EQ(failing->join(), nullptr);
    EXPECT_EQ(s_told, 1);
    EXPECT_EQ(start([]() -> void* { return &s_value; })->joinOrThrow(), &s_value);
    for (int i = 0; i < 50; ++i) { // some objects go before the end of the thread, some after it
        const auto thread = start([] { throw 7; });
        Thread::sleep(i % 2 == 0 ? 0 : 1);
    }
    EXPECT_TRUE(eventually([] { return s_told == 51; })) << s_told;
    EXPECT_EQ(Thread::setExceptionHook(nullptr), hook);
    start([] { throw 7; })->join();
    EXPECT_EQ(s_told, 51);
}

const ChildEntry failedAtTheEnd("exec.failedAtTheEnd", [](const auto&) {
    static std::atomic<pid_t> s_id{0};
    static Thread thread([] { s_id = gettid(), throw 7; });
    Thread::setExceptionHook([](const auto&, const String&) noexcept { _exit(42); });
    thread.start();
    // The thread has ended, and nobody asked for its exception, when static objects go.
    eventually([] { return s_id && tgkill(getpid(), s_id, 0) != 0; });
    return 0;
});

TEST(Thread, ItsExceptionIsHeardOfAtTheEndOfTheProcess) {
    EXPECT_EQ(ChildProcess("exec.failedAtTheEnd").join(), 42);
}

TEST_F(ThreadTest, MayEndItselfInTheMiddleAndStartsAgainAfterEachJoin) {
    EXPECT_EQ(resultOfThread([task = makeTask()] { pthread_exit(task->run()); }), &s_value);
    EXPECT_TRUE(m_gone.tryWait()); // the thread's reference is not lost
    m_runs = 0;
    const auto task = makeTask();
    Thread thread(task, u"again");
    for (int run = 1; run <= 3; ++run) {
        expectEach(NotStarted, {[&] { thread.join(); }, [&] { thread.getID(); }});
        thread.setStackSize(static_cast<unsigned int>(run) * 100'000u);
        thread.start();
        EXPECT_NE(thread.getID(), 0u);
        expectEach("thread already started",
                   {[&] { thread.start(); }, [&] { thread.setStackSize(1); }});
        EXPECT_THROW(thread.start(), IllegalStateException);
        EXPECT_EQ(thread.join(), &s_value);
        EXPECT_EQ(m_runs, run);
    }
    Thread idle(nullptr);
    expectEach(result::NullPointer, {[&] { idle.start(); }});
    expectEach(NotStarted, {[&] { thread.join(); }, [&] { idle.join(); }});
    EXPECT_THROW(idle.join(), IllegalStateException);
}

// The address space is too small for the stack.
QX_TEST_IN_CHILD(Thread, FailedStartLeavesItAsItWas) {
    if (Sanitized)
        GTEST_SKIP() << "a sanitizer needs more address space than the test leaves";
    if (runsEmulated())
        GTEST_SKIP() << "the emulator holds no limit of the address space";
    const rlimit limit{rlim_t{1} << 30, rlim_t{1} << 30};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
    const auto mark = std::make_shared<int>();
    {
        Thread thread(makeRunnable([mark]() -> void* { return &s_value; }));
        thread.setStackSize(0xF0000000u);
        expectEach("thread creation failed", {[&] { thread.start(); }});
        thread.setStackSize(0);
        thread.start();
        EXPECT_EQ(thread.join(), &s_value);
    }
    EXPECT_EQ(mark.use_count(), 1) << "a reference is lost";
}

TEST(Thread, DoesNotJoinItself) {
    sync::Gate started;
    Thread thread([&] {
        started.wait();
        expectEach(result::Deadlock, {[&] { thread.join(); }});
        expectEach("thread join failed", {[&] { thread.join(); }});
    });
    thread.start();
    started.open();
    thread.join();
}

TEST_F(ThreadTest, GoesOnWithoutItsObjectWhichItMayDropItself) {
    for (const bool dropsItself : {false, true}) {
        sync::Gate mayEnd;
        auto thread = std::make_unique<Reference<Thread>>();
        *thread = makeReference<Thread>([&, dropsItself, task = makeTask()] {
            mayEnd.wait();
            if (dropsItself)
                thread.reset();
        });
        (*thread)->start();
        if (!dropsItself)
            thread.reset();
        EXPECT_FALSE(m_gone.wait(20));
        mayEnd.open();
        m_gone.wait(); // hangs if the thread has not released its runnable
        m_gone.close();
    }
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
        expectEach(NotStarted, {[&] { other->join(); }});
        EXPECT_EQ(other->getName(), u"copied");
        other->start();
    }
    mayEnd.open();
    for (Thread* each : {&thread, &copy, clone.get()})
        EXPECT_EQ(each->join(), &s_value);
    class Derived : public Thread {
        using Thread::Thread;
    };
    EXPECT_THROW(static_cast<void>(Derived(nullptr).clone()), CloneNotSupportedException);
}

TEST(Thread, ShowsItsNameTellsItsNumberAndHasTheStackThatIsAskedFor) {
    const std::tuple<const char16_t*, const char*, unsigned int> cases[] = {
        // what is shown of the name, and the least stack
        {u"worker", "worker", 1},
        {u"exactly 15 long", "exactly 15 long", 32u << 20},
        {u"exactly 15 long and more", "exactly 15 long", 100'000},
        {u"cut between \u00E4", "cut between \u00E4", 100'000},
        {u"cut before a \u20AC", "cut before a ", 100'000}, // would end with its second byte
        {u"cut before \U0001F600", "cut before \U0001F600", 100'000},
        {u"cut before: \U0001F600", "cut before: ", 100'000},
    };
    for (const auto& [name, expected, least] : cases) {
        SCOPED_TRACE(expected);
        std::string shown;
        unsigned int number = 0;
        size_t stack = 0;
        Thread thread(makeRunnable([&] {
                          std::ifstream file("/proc/thread-self/comm");
                          std::getline(file, shown);
                          number = Thread::getCurrentID();
                          pthread_attr_t attributes;
                          pthread_getattr_np(pthread_self(), &attributes);
                          pthread_attr_getstacksize(&attributes, &stack);
                          pthread_attr_destroy(&attributes);
                      }),
                      name);
        thread.setStackSize(least);
        thread.start();
        const unsigned int fromOutside = thread.getID();
        thread.join();
        EXPECT_EQ(number, fromOutside);
        EXPECT_NE(number, Thread::getCurrentID());
        EXPECT_EQ(shown, expected);
        EXPECT_EQ(thread.getName(), name);
        EXPECT_GE(stack, std::max(least, 65536u));
        EXPECT_LT(stack, least + (2u << 20)); // sanitizers add their own
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

TEST(ThreadHandle, RefusesWhatItCannotStartOrJoin) {
    constexpr QXHandle None = ~QXHandle{0};
    const auto giveBack = [](void* argument) { return argument; };
    QXHandle handle = 1;
    uint32_t id = 1;
    EXPECT_EQ(QXThreadCreate(giveBack, nullptr, 1, 0, &handle, &id), result::InvalidArgument);
    EXPECT_EQ(handle, None);
    EXPECT_EQ(id, 0u);
    void* value = &handle;
    for (const QXHandle invalid : {QXHandle{0}, None}) {
        expectEach(result::InvalidHandle, {QXThreadJoin(invalid, &value), QXThreadDetach(invalid)});
        EXPECT_EQ(value, nullptr);
    }
    expectEach(result::NullPointer, {QXThreadCreate(nullptr, nullptr, 0, 0, &handle, &id),
                                     QXThreadCreate(giveBack, nullptr, 0, 0, nullptr, &id),
                                     QXThreadCreate(giveBack, nullptr, 0, 0, &handle, nullptr)});
    ASSERT_EQ(QXThreadCreateNamed("", giveBack, &id, 0, 0, &handle, &id), result::Ok);
    EXPECT_EQ(QXThreadJoin(handle, nullptr), result::NullPointer);
    EXPECT_EQ(QXThreadJoin(handle, &value), result::Ok);
    EXPECT_EQ(value, &id);
}

/// A library of the system that nothing here is linked to.
constexpr char16_t LibraryName[] = u"libanl.so.1";

bool isLoaded() {
    void* const handle = dlopen("libanl.so.1", RTLD_NOW | RTLD_NOLOAD);
    return handle != nullptr && dlclose(handle) == 0;
}

TEST(SharedLibrary, IsLoadedAsLongAsItsObjectLivesAndHasNoOtherSymbols) {
    ASSERT_FALSE(isLoaded());
    {
        const SharedLibrary library(LibraryName);
        { const SharedLibrary again(LibraryName); }
        EXPECT_TRUE(isLoaded());
        for (const char16_t* name :
             {u"qx_no_such_symbol", u"", u"c\u00F6s", static_cast<const char16_t*>(nullptr)}) {
            const auto get = [&] { library.getSymbol(name); };
            expectEach(name ? static_cast<int32_t>(0x8007007Fu) : result::NullPointer, {get});
            expectEach("Failed to get symbol.", {get});
        }
    }
    EXPECT_FALSE(isLoaded());
}

TEST(SharedLibrary, TellsWhyItCannotBeOpened) {
    const TemporaryFolder folder;
    writeFile(folder.path("text"), "no library");
    writeFile(folder.path("short"), "\x7F");
    writeFile(folder.path("damaged"), "\177ELF and then nothing of the kind");
    const auto in = [&folder](const char* name) { return String::fromUtf8(folder.path(name)); };
    const std::pair<String, uint32_t> cases[] = {
        {u"libqx-no-such-library.so.1"_qs, 0x8007007E},
        {in("missing"), 0x80070002},
        {in("text"), 0x800700C1},
        {in("short"), 0x800700C1},
        {in("damaged"), 0x8007007E},
        {String::fromUtf8(folder.path()), 0x80070005},
        {String(), 0x80070002},
        {u"c:\\library"_qs, 0x80070002},
    };
    for (const auto& c : cases)
        EXPECT_EQ(failureOf([&] { SharedLibrary library(c.first); }),
                  static_cast<int32_t>(c.second))
            << c.first.toUtf8();
    const auto openNone = [] { SharedLibrary library(static_cast<const char16_t*>(nullptr)); };
    expectEach(result::NullPointer, {openNone});
    expectEach("Failed to open shared library.", {openNone, [&] { SharedLibrary(in("text")); }});
}

TEST(LibraryHandle, IsOpenedByLiveModulesAndClosedByAny) {
    static const int module = 0;
    QXHandle library = 1;
    EXPECT_EQ(QXModuleLibOpen(&module, u"libm.so.6", &library), result::InvalidHandle);
    ASSERT_EQ(QXModuleSetInitialized(&module, 1), result::Ok);
    EXPECT_EQ(QXModuleLibOpen(&module, u"libm.so.6", &library), result::Ok);
    ASSERT_EQ(QXModuleSetInitialized(&module, 0), result::Ok);
    void* symbol = nullptr;
    ASSERT_EQ(QXLibGetSymbol(library, u"cos", &symbol), result::Ok);
    expectEach(1, {QXModuleOutlives(symbol, symbol), QXModuleOutlives(&module, symbol),
                   QXModuleOutlives(reinterpret_cast<void*>(&QXModuleLibOpen), symbol)});
    expectEach(0, {QXModuleOutlives(symbol, &module), QXModuleOutlives(&library, &library)});
    expectEach(result::InvalidHandle, {QXLibGetSymbol(~QXHandle{0}, u"cos", &symbol),
                                       QXModuleLibClose(&module, ~QXHandle{0})});
    EXPECT_EQ(symbol, nullptr);
    EXPECT_EQ(QXModuleLibClose(nullptr, library), result::NullPointer);
    EXPECT_EQ(QXModuleLibClose(&module, library), result::Ok);
}

} // namespace
