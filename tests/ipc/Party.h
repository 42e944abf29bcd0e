#pragma once

#include <optional>
#include <string_view>
#include <utility>

#include <qx/platform/sync.h>

#include "tests/ipc/IpcTesting.h"
#include "tests/support/BlockingThread.h"
#include "tests/support/ChildProcess.h"

namespace qxtest {

/// Where the others are with whom a test uses a lock or signal.
enum class Way { InTheProcess, ByName, BetweenProcesses, ForkedChild, AfterADeath };

using Operation = int32_t (*)(QXHandle);
using TimedOperation = int32_t (*)(QXHandle, uint32_t);

/// A function of the library that is to be called with the object of a test.
struct Call {
    Call(Operation operation) : function(reinterpret_cast<intptr_t>(operation)), isTimed(false) {}
    Call(TimedOperation operation, uint32_t milliseconds)
        : function(reinterpret_cast<intptr_t>(operation)), isTimed(true), limit(milliseconds) {}

    int32_t operator()(QXHandle handle) const {
        return isTimed ? reinterpret_cast<TimedOperation>(function)(handle, limit)
                       : reinterpret_cast<Operation>(function)(handle);
    }

    intptr_t function;
    bool isTimed;
    uint32_t limit = 0;
};

/// A kind of lock or signal; `hold` is what a process dies in, `heal` what shows that it is over.
struct ObjectKind {
    const char* name;
    int32_t (*create)(const char* name, uint32_t flags, QXHandle* handle);
    Operation destroy, hold, release;
    bool (*heal)(const ObjectKind& kind, QXHandle handle);
    int holders = 1; // how many may hold it at a time
};

extern const ObjectKind Mutexes, Conditions, RWLocks, Events, Gates, Signals, Guards, GuardsOfThree;

const ObjectKind& kindNamed(std::string_view name);

/// An object for a scope, which leaves no file.
struct MadeObject {
    explicit MadeObject(const ObjectKind& ofKind, uint32_t flags = QX_SYNC_SHARED)
        : kind(ofKind), name(uniqueName(kind.name)) {
        EXPECT_EQ(kind.create(name.c_str(), flags, &handle), 0);
    }
    ~MadeObject() {
        destroy();
        EXPECT_EQ(filesNamed(name), 0);
    }
    MadeObject(const MadeObject&) = delete;
    MadeObject& operator=(const MadeObject&) = delete;

    void destroy() {
        if (handle != 0) {
            EXPECT_EQ(kind.destroy(std::exchange(handle, QXHandle{0})), 0);
        }
    }

    const ObjectKind& kind;
    const std::string name;
    QXHandle handle = 0;
};

/// Somebody else who uses the object of a test: a thread or a process, as the way says. Performs
/// one call at a time.
class Party {
public:
    Party(Way way, const MadeObject& object)
        : Party(way, object.kind, object.name, object.handle) {}
    /// @param handle  of the object, which only parties in the process and forked ones use
    Party(Way way, const ObjectKind& kind, const std::string& name, QXHandle handle = 0);
    ~Party();
    Party(const Party&) = delete;
    Party& operator=(const Party&) = delete;

    void start(Call call);
    /// Returns when the call that was started sleeps in the kernel, or has ended.
    void awaitBlocked() const;
    bool isDone() const { return m_box->done == m_box->asked; }
    int32_t finish() const;
    int32_t operator()(Call call) {
        start(call);
        return finish();
    }
    void stop() const; ///< Suspends a process.
    /// Lets a process run on that CPU only, when nobody else does.
    void leaveToOthers(int cpu) const;
    void kill(); ///< Ends a process in the middle.
    void quit(); ///< Lets a process end, which destroys its handle.
    /// Lets a process have a child that does nothing until this object ends.
    void forkIdleChild();

    struct Mailbox {
        Call call;
        std::atomic<int32_t> result;
        std::atomic<int> asked, begun, done; // calls so far
        std::atomic<int> threadNumber;
        std::atomic<int> idleChild; // -1: one is wanted
        std::atomic<bool> quit;
    };

private:
    SharedStruct<Mailbox> m_box;
    std::thread m_thread;
    std::optional<ChildProcess> m_process;
};

} // namespace qxtest
