#pragma once

#include <atomic>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <qx/platform/sync.h>

#include "tests/ipc/IpcTesting.h"
#include "tests/support/BlockingThread.h"
#include "tests/support/ChildProcess.h"

namespace qxtest {

/// Where the others are with whom a test uses a lock or signal.
enum class Way { InTheProcess, ByName, BetweenProcesses, ForkedChild, AfterADeath };

inline const char* nameOf(Way way) {
    constexpr const char* Names[] = {"InTheProcess", "ByName", "BetweenProcesses", "ForkedChild",
                                     "AfterADeath"};
    return Names[static_cast<int>(way)];
}

using Operation = int32_t (*)(QXHandle);
using TimedOperation = int32_t (*)(QXHandle, uint32_t);

/// A kind of lock or signal; `hold` is what a process dies in, `heal` what shows that it is over.
struct ObjectKind {
    const char* name;
    int32_t (*create)(const char* name, uint32_t flags, QXHandle* handle);
    Operation destroy, hold, release;
    bool (*heal)(const ObjectKind& kind, QXHandle handle);
    int holders = 1; // how many may hold it at a time
};

extern const ObjectKind Mutexes, Conditions, RWLocks, Events, Gates, Signals, Guards, GuardsOfThree;

const ObjectKind& kindNamed(const std::string& name);

/// Somebody else who uses the object of a test: a thread or a process, as the way says. Performs
/// one call at a time.
class Party {
public:
    Party(Way way, const ObjectKind& kind, const std::string& name, QXHandle handle);
    ~Party();
    Party(const Party&) = delete;
    Party& operator=(const Party&) = delete;

    int32_t operator()(Operation operation) {
        start(operation);
        return finish();
    }
    int32_t operator()(TimedOperation operation, uint32_t milliseconds) {
        start(operation, milliseconds);
        return finish();
    }
    void start(Operation operation);
    void start(TimedOperation operation, uint32_t milliseconds);
    /// Returns when the call that was started sleeps in the kernel, or has ended.
    void awaitBlocked() const;
    bool isDone() const;
    int32_t finish() const;
    void stop() const; ///< Suspends a process.
    void kill();       ///< Ends a process.
    /// Lets a process have a child that does nothing until this object ends.
    void forkIdleChild();

    struct Mailbox;

private:
    Mailbox& box() const { return m_shared ? **m_shared : *m_own; }

    std::optional<SharedStruct<Mailbox>> m_shared;
    std::unique_ptr<Mailbox> m_own;
    std::thread m_thread;
    std::optional<ChildProcess> m_process;
    pid_t m_forked = 0;
};

struct Party::Mailbox {
    std::atomic<intptr_t> call; // how far from another function
    std::atomic<bool> isTimed;
    std::atomic<uint32_t> argument;
    std::atomic<int32_t> result;
    std::atomic<int> asked, begun, done; // calls so far
    std::atomic<int> threadNumber;
    std::atomic<bool> forks, quit;
};

/// Runs every test once for each way.
class Contract : public testing::TestWithParam<Way> {
protected:
    ~Contract() override;

    /// Makes the object of the test; call it once.
    QXHandle create(const ObjectKind& kind);
    /// Somebody else who uses it.
    std::unique_ptr<Party> party() const;

private:
    const ObjectKind* m_kind = nullptr;
    std::string m_name;
    QXHandle m_handle = 0;
};

#define QX_CONTRACT(name)                                                                          \
    using name = qxtest::Contract;                                                                 \
    INSTANTIATE_TEST_SUITE_P(Ways, name,                                                           \
                             testing::Values(Way::InTheProcess, Way::ByName,                       \
                                             Way::BetweenProcesses, Way::ForkedChild,              \
                                             Way::AfterADeath),                                    \
                             [](const auto& test) { return nameOf(test.param); })

} // namespace qxtest
