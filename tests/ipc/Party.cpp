#include "tests/ipc/Party.h"

#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

using namespace qx;

namespace qxtest {

namespace {

/// Functions of the library lie equally far from each other in every process.
intptr_t origin() { return reinterpret_cast<intptr_t>(&QXMutexAcquire); }

void serve(Party::Mailbox& box, QXHandle handle) {
    box.threadNumber = gettid();
    while (!box.quit) {
        if (box.idleChild < 0) {
            const pid_t child = fork();
            if (child == 0) {
                while (!box.quit)
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                _exit(0);
            }
            box.idleChild = child;
        }
        if (box.begun == box.asked) {
            std::this_thread::sleep_for(std::chrono::microseconds(50));
            continue;
        }
        ++box.begun;
        Call call = box.call;
        call.function += origin();
        box.result = call(handle);
        ++box.done;
    }
}

template <uint32_t Units>
int32_t createSemaphore(const char* name, uint32_t flags, QXHandle* handle) {
    return QXSemaphoreCreate(Units, name, flags, handle);
}

bool passes(const ObjectKind& kind, QXHandle handle) {
    return kind.hold(handle) == result::Ok && kind.release(handle) == result::Ok;
}

bool needsNothing(const ObjectKind&, QXHandle) { return true; }

/// The signal that was meant for a dead waiter is remembered once he is missed.
bool remembersOneSignal(const ObjectKind&, QXHandle event) {
    return eventually([event] {
        QXEventSignal(event);
        QXEventSignal(event);
        int taken = 0;
        while (QXEventTimedWait(event, 0) == result::Ok)
            ++taken;
        return taken == 1;
    });
}

const ChildEntry partyProcess("party", [](const auto& arguments) {
    SharedStruct<Party::Mailbox> box(arguments[0]);
    const ObjectKind& kind = kindNamed(arguments[2]);
    QXHandle handle = 0;
    CHECK_IN_CHILD(kind.create(arguments[1].c_str(), QX_SYNC_SHARED, &handle) >= 0);
    serve(*box, handle);
    CHECK_IN_CHILD(kind.destroy(handle) >= 0);
    return 0;
});

/// All tests of this program need objects between processes.
class SharedObjects : public testing::Environment {
    void SetUp() override {
        if (const char* const lack = QXSharedObjectsLack())
            GTEST_SKIP() << lack;
    }
};

[[maybe_unused]] const auto* const environment =
    testing::AddGlobalTestEnvironment(new SharedObjects);

} // namespace

// clang-format off
const ObjectKind
    Mutexes{"Mutex", QXMutexCreate, QXMutexDestroy, QXMutexAcquire, QXMutexRelease, passes},
    Conditions{"Condition", QXConditionCreate, QXConditionDestroy, QXConditionAcquire,
               QXConditionRelease, passes},
    RWLocks{"Writer", QXRWLockCreate, QXRWLockDestroy, QXRWLockAcquireWrite, QXRWLockReleaseWrite,
            passes},
    Events{"Event", QXEventCreate, QXEventDestroy, QXEventWait, QXEventSignal, remembersOneSignal},
    Gates{"Gate", QXGateCreate, QXGateDestroy, QXGateWait, QXGateOpen, needsNothing},
    Signals{"Signal", createSemaphore<0>, QXSemaphoreDestroy, QXSemaphoreWait, QXSemaphorePost,
            needsNothing},
    Guards{"Guard", createSemaphore<1>, QXSemaphoreDestroy, QXSemaphoreWait, QXSemaphorePost,
           passes},
    GuardsOfThree{"GuardOfThree", createSemaphore<3>, QXSemaphoreDestroy, QXSemaphoreWait,
                  QXSemaphorePost, passes, 3};
// clang-format on

const ObjectKind& kindNamed(std::string_view name) {
    for (const ObjectKind* kind :
         {&Mutexes, &Conditions, &RWLocks, &Events, &Gates, &Signals, &Guards, &GuardsOfThree}) {
        if (kind->name == name)
            return *kind;
    }
    std::abort();
}

Party::Party(Way way, const ObjectKind& kind, const std::string& name, QXHandle handle)
    : m_box(uniqueName("box")) {
    if (way == Way::InTheProcess || way == Way::ByName) {
        m_thread = std::thread([&kind, way, name, handle, this] {
            QXHandle own = handle;
            if (way == Way::ByName) {
                EXPECT_EQ(kind.create(name.c_str(), QX_SYNC_SHARED, &own), result::Ok);
            }
            serve(*m_box, own);
            if (way == Way::ByName)
                kind.destroy(own);
        });
    } else if (way == Way::ForkedChild) {
        m_process.emplace(fork());
        if (m_process->pid() == 0) {
            serve(*m_box, handle);
            kind.destroy(handle);
            _exit(0);
        }
    } else {
        m_process.emplace("party", std::vector<std::string>{m_box.name(), name, kind.name});
    }
}

Party::~Party() {
    m_box->quit = true;
    if (m_thread.joinable())
        m_thread.join();
    if (m_box->idleChild > 0)
        waitpid(m_box->idleChild, nullptr, 0);
}

void Party::start(Call call) {
    call.function -= origin();
    m_box->call = call;
    ++m_box->asked;
}

void Party::awaitBlocked() const {
    EXPECT_TRUE(eventually([this] { return m_box->begun == m_box->asked; }));
    awaitAsleep(m_box->threadNumber, [this] { return isDone(); });
}

int32_t Party::finish() const {
    return eventually([this] { return isDone(); }) ? m_box->result.load() : result::TimedOut;
}

void Party::stop() const {
    ::kill(m_process->pid(), SIGSTOP);
    waitpid(m_process->pid(), nullptr, WUNTRACED);
}

void Party::leaveToOthers(int cpu) const {
    cpu_set_t cpus;
    CPU_ZERO(&cpus);
    CPU_SET(cpu, &cpus);
    const sched_param unused{};
    EXPECT_EQ(sched_setaffinity(m_process->pid(), sizeof cpus, &cpus), 0);
    EXPECT_EQ(sched_setscheduler(m_process->pid(), SCHED_IDLE, &unused), 0);
}

void Party::forkIdleChild() {
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0); // to wait for it when its parent is dead
    m_box->idleChild = -1;
    EXPECT_TRUE(eventually([this] { return m_box->idleChild > 0; }));
}

void Party::kill() {
    m_process->kill();
    EXPECT_EQ(m_process->join(), -SIGKILL);
}

void Party::quit() {
    m_box->quit = true;
    EXPECT_EQ(m_process->join(), 0);
}

} // namespace qxtest
