#include "tests/ipc/Party.h"

#include <cstdlib>
#include <signal.h>

using namespace qx;

namespace qxtest {

namespace {

/// Functions of the library lie equally far from each other in every process.
intptr_t origin() { return reinterpret_cast<intptr_t>(&QXMutexAcquire); }

void serve(Party::Mailbox& box, QXHandle handle) {
    box.threadNumber = gettid();
    while (!box.quit) {
        if (box.forks) {
            if (fork() == 0) {
                while (!box.quit)
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                _exit(0);
            }
            box.forks = false;
        }
        if (box.begun == box.asked) {
            std::this_thread::sleep_for(std::chrono::microseconds(50));
            continue;
        }
        ++box.begun;
        const intptr_t call = origin() + box.call;
        box.result = box.isTimed ? reinterpret_cast<TimedOperation>(call)(handle, box.argument)
                                 : reinterpret_cast<Operation>(call)(handle);
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
    void SetUp() override { QX_SKIP_UNLESS_SHARED(); }
};

[[maybe_unused]] const auto* const environment =
    testing::AddGlobalTestEnvironment(new SharedObjects);

} // namespace

const ObjectKind Mutexes{"Mutex",        QXMutexCreate,  QXMutexDestroy,
                         QXMutexAcquire, QXMutexRelease, passes};
const ObjectKind Conditions{"Condition",        QXConditionCreate,  QXConditionDestroy,
                            QXConditionAcquire, QXConditionRelease, passes};
const ObjectKind RWLocks{
    "Writer", QXRWLockCreate, QXRWLockDestroy, QXRWLockAcquireWrite, QXRWLockReleaseWrite, passes};
const ObjectKind Events{"Event",     QXEventCreate, QXEventDestroy,
                        QXEventWait, QXEventSignal, remembersOneSignal};
const ObjectKind Gates{"Gate", QXGateCreate, QXGateDestroy, QXGateWait, QXGateOpen, needsNothing};
const ObjectKind Signals{"Signal",        createSemaphore<0>, QXSemaphoreDestroy,
                         QXSemaphoreWait, QXSemaphorePost,    needsNothing};
const ObjectKind Guards{"Guard",         createSemaphore<1>, QXSemaphoreDestroy,
                        QXSemaphoreWait, QXSemaphorePost,    passes};
const ObjectKind GuardsOfThree{"GuardOfThree",
                               createSemaphore<3>,
                               QXSemaphoreDestroy,
                               QXSemaphoreWait,
                               QXSemaphorePost,
                               passes,
                               3};

const ObjectKind& kindNamed(const std::string& name) {
    for (const ObjectKind* kind :
         {&Mutexes, &Conditions, &RWLocks, &Events, &Gates, &Signals, &Guards, &GuardsOfThree}) {
        if (kind->name == name)
            return *kind;
    }
    std::abort();
}

Party::Party(Way way, const ObjectKind& kind, const std::string& name, QXHandle handle) {
    if (way == Way::InTheProcess || way == Way::ByName) {
        m_own = std::make_unique<Mailbox>();
        m_thread = std::thread([&kind, way, name, handle, this] {
            QXHandle own = handle;
            if (way == Way::ByName) {
                EXPECT_EQ(kind.create(name.c_str(), QX_SYNC_SHARED, &own), result::Ok);
            }
            serve(*m_own, own);
            if (way == Way::ByName)
                kind.destroy(own);
        });
        return;
    }
    const std::string boxName = uniqueName("box");
    m_shared.emplace(boxName);
    if (way == Way::ForkedChild) {
        m_forked = fork();
        if (m_forked == 0) {
            serve(box(), handle);
            _exit(0);
        }
    } else {
        m_process.emplace("party", std::vector<std::string>{boxName, name, kind.name});
    }
}

Party::~Party() {
    box().quit = true;
    if (m_thread.joinable())
        m_thread.join();
    if (m_process && !isDone())
        m_process->kill();
    if (m_forked > 0) {
        if (!isDone())
            ::kill(m_forked, SIGKILL);
        waitpid(m_forked, nullptr, 0);
    }
}

void Party::start(Operation operation) {
    box().call = reinterpret_cast<intptr_t>(operation) - origin();
    box().isTimed = false;
    ++box().asked;
}

void Party::start(TimedOperation operation, uint32_t milliseconds) {
    box().call = reinterpret_cast<intptr_t>(operation) - origin();
    box().isTimed = true;
    box().argument = milliseconds;
    ++box().asked;
}

bool Party::isDone() const { return box().done == box().asked; }

void Party::awaitBlocked() const {
    EXPECT_TRUE(eventually([this] { return box().begun == box().asked; }));
    awaitAsleep(box().threadNumber, [this] { return isDone(); });
}

int32_t Party::finish() const {
    return eventually([this] { return isDone(); }) ? box().result.load() : result::TimedOut;
}

void Party::stop() const {
    ::kill(m_process->pid(), SIGSTOP);
    waitpid(m_process->pid(), nullptr, WUNTRACED);
}

void Party::forkIdleChild() {
    box().forks = true;
    EXPECT_TRUE(eventually([this] { return !box().forks; }));
}

void Party::kill() {
    m_process->kill();
    m_process->join();
    box().done = box().asked.load();
}

Contract::~Contract() {
    if (m_kind != nullptr) {
        EXPECT_EQ(m_kind->destroy(m_handle), result::Ok);
    }
    EXPECT_TRUE(m_name.empty() || filesNamed(m_name) == 0);
}

QXHandle Contract::create(const ObjectKind& kind) {
    const bool isLocal = GetParam() == Way::InTheProcess;
    m_name = uniqueName("contract");
    EXPECT_EQ(kind.create(m_name.c_str(), isLocal ? 0 : QX_SYNC_SHARED, &m_handle), result::Ok);
    m_kind = &kind;
    if (GetParam() == Way::AfterADeath) {
        const auto victim = party();
        victim->start(kind.hold);
        victim->awaitBlocked();
        victim->kill();
        EXPECT_TRUE(kind.heal(kind, m_handle));
    }
    return m_handle;
}

std::unique_ptr<Party> Contract::party() const {
    return std::make_unique<Party>(GetParam(), *m_kind, m_name, m_handle);
}

} // namespace qxtest
