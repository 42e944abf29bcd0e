#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>

#include <sys/types.h>

#include <qx/platform/posix/handle.h>
#include <qx/platform/posix/process/ThreadIdentity.h>
#include <qx/platform/posix/shared/Heirs.h>
#include <qx/platform/posix/shared/RobustLock.h>
#include <qx/platform/posix/shared/SharedFile.h>
#include <qx/platform/posix/shared/WaitWord.h>
#include <qx/platform/result.h>
#include <qx/platform/types.h>

namespace qx::platform::shared {

/// Kinds of objects; the numbers stand in the files.
enum class Kind : uint32_t { Mutex = 1, Condition, Event, Gate, Semaphore, RWLock };

/// The kind of the objects whose state is a @p State.
template <class State>
extern const Kind KindOf;

inline constexpr uint32_t SlotCount = SharedFile::SlotCount;

class SharedObject;

/// What a state says to whoever looks at it from outside.
struct StateReport {
    struct Slot {
        uint32_t held = 0;
        bool isWriter = false;
        uint32_t waiting = 0;
    };

    uint32_t kind = 0; ///< QX_SHARED_KIND_...
    int64_t value = 0; ///< see QXSharedObject
    /// The next holder is told that one died, whoever of the slots is dead.
    bool isFromDead = false;
    uint32_t slotLimit = 0;
    Slot slots[SlotCount];
};

/// How the state of one kind lies in the file. A state is constructed in place by the process that
/// creates the object, holds no addresses and is never destroyed.
///
/// Any process may be killed between any two of its writes. What a state says slot by slot is
/// therefore changed by single words and is the truth; sums over the slots are derived from it, and
/// whoever gets the robust lock after the death of its holder computes them anew (`repair`).
struct Layout {
    Kind kind;
    size_t sizeInBytes;
    void (*construct)(void* place, uint32_t initial);
    /// Gives back what the slot holds, or for locks owned by threads the calling thread. False when
    /// another process is just changing the state: nobody waits for that, it may be stopped.
    bool (*tryLeave)(void* state, SharedObject& user);
    /// Fills a report in from a copy of a state that others may have been changing just then.
    void (*report)(const void* state, StateReport& report);
};

template <class State>
inline constexpr Layout LayoutOf{KindOf<State>, sizeof(State),
                                 [](void* place, [[maybe_unused]] uint32_t initial) {
                                     if constexpr (requires { State(initial); })
                                         new (place) State(initial);
                                     else
                                         new (place) State;
                                 },
                                 [](void* state, [[maybe_unused]] SharedObject& user) {
                                     if constexpr (requires(State & s) { s.tryLeave(user); })
                                         return static_cast<State*>(state)->tryLeave(user);
                                     else
                                         return true;
                                 },
                                 [](const void* state, StateReport& report) {
                                     static_cast<const State*>(state)->report(report);
                                 }};

/// The layouts of all kinds.
extern const Layout MutexLayout, ConditionLayout, EventLayout, GateLayout, SemaphoreLayout,
    RWLockLayout;

/// One process's use of a shared object: the mapped file and this process's slot in it. All handles
/// that a process has of one name as one user are one SharedObject, so what it holds is counted per
/// process.
class SharedObject {
public:
    /// Opens the object of that name, or creates it with @p initial.
    static int32_t open(const Layout& layout, const char* name, uint32_t initial,
                        QXHandle* handle) noexcept;

    /// Lets go of one handle; with the last one everything held is given back.
    static int32_t close(const Layout& layout, QXHandle handle) noexcept;

    /// The object of a handle, or null when it is none of this kind or was lost in a fork.
    static SharedObject* find(QXHandle handle, Kind kind) noexcept {
        SharedObject* const object = find(handle);
        return object != nullptr && object->m_layout.kind == kind ? object : nullptr;
    }
    /// The same for any kind.
    static SharedObject* find(QXHandle handle) noexcept {
        if (handle == NoHandle || (handle & 1u) == 0)
            return nullptr;
        auto* object = reinterpret_cast<SharedObject*>(static_cast<uintptr_t>(handle) - 1u);
        return object->isUsable() ? object : nullptr;
    }

    template <class State>
    State& state() noexcept {
        return *static_cast<State*>(m_state);
    }

    /// This process's slot.
    uint32_t slot() const noexcept { return m_file.slot(); }
    /// The calling thread among all threads of all users of the object; never NoThread.
    uint64_t caller() const noexcept {
        return (uint64_t{slot()} + 1) << SlotShift | currentThread();
    }
    /// True for what `caller` gives to the threads of this process, or of one that had its slot.
    bool isOwn(uint64_t caller) const noexcept { return isOfSlot(caller, slot()); }
    static bool isOfSlot(uint64_t caller, uint32_t slot) noexcept {
        return slotNumberOf(caller) == uint64_t{slot} + 1;
    }
    /// The slot of a `caller`, counted from 1; 0 for NoThread.
    static uint64_t slotNumberOf(uint64_t caller) noexcept { return caller >> SlotShift; }
    /// One more than the highest slot ever used.
    uint32_t slotLimit() const noexcept;
    /// False when the process that had the slot is gone. Not for the own slot.
    bool isAlive(uint32_t slot) const noexcept { return m_file.isSlotTaken(slot); }
    /// False while this process comes to its slot, and so to what the one before has left there.
    bool isUsable() const noexcept { return m_isUsable; }
    /// Who of this process has what a dead holder left. An acquisition is noted while the lock of
    /// the state, or the object itself, is held.
    Heirs& heirs() noexcept { return m_heirs; }
    /// True at most once in a tenth of a second among all processes: time to look for dead ones.
    bool isReapDue() noexcept;

    /// Reads what the file of an object says, without being its user; false when it cannot be read
    /// or says nothing which this version of the library has finished.
    static bool report(int file, StateReport& report);

    /// In a child after fork: takes a slot of its own in every open object.
    static void afterForkInChild() noexcept;

    /// The threads of this process that wait, for whoever looks on.
    std::atomic<uint32_t>& waitingThreads() noexcept;

private:
    struct Header;
    static constexpr int SlotShift = 53; // above all identities that there will ever be

    friend std::default_delete<SharedObject>;
    SharedObject(const Layout& layout, uid_t user) noexcept : m_layout(layout), m_user(user) {}
    ~SharedObject();

    static int32_t tryOpen(const Layout& layout, const char* name, uint32_t initial,
                           QXHandle* handle);
    /// True for what an Open by that user gets. Another user's object lies in another file, and one
    /// that was lost in a fork has let go of its file and does not stand in the way of a new one.
    bool serves(uid_t user, const char* fileName) const noexcept;
    int32_t tryAttach(const char* name, uint32_t initial);
    void map(bool isNew, uint32_t initial);
    bool tryAdoptSlot() noexcept;

    Layout m_layout;
    uid_t m_user; // who has opened it, which the process may be no more
    SharedFile m_file;
    Header* m_header = nullptr;
    void* m_state = nullptr;
    Heirs m_heirs;
    bool m_isUsable = false; // it has a slot and a state
    uint32_t m_references = 1;
    SharedObject* m_next = nullptr;
};

/// Shows a thread that waits, for a scope.
class ShownWaiting {
public:
    explicit ShownWaiting(SharedObject& object) noexcept : m_threads(object.waitingThreads()) {
        m_threads.fetch_add(1, std::memory_order_relaxed);
    }
    ~ShownWaiting() { m_threads.fetch_sub(1, std::memory_order_relaxed); }
    ShownWaiting(const ShownWaiting&) = delete;
    ShownWaiting& operator=(const ShownWaiting&) = delete;

private:
    std::atomic<uint32_t>& m_threads;
};

/// Locks this process's tables of shared objects and mapped blocks, and serialises what opens and
/// closes them. Held across fork, so that a child finds the tables whole. Nobody waits for another
/// process while holding it: that would stop every other object of this process and every fork.
std::unique_lock<std::mutex> lockProcessTables() noexcept;

/// Gives back what dead processes hold, under the lock of the state: a new user of a dead one's
/// slot cleans it under the lock, too. True when there was something. @p State has `isInUse` and
/// `giveBack` of a slot.
template <class State>
bool giveBackOfDead(SharedObject& object, State& state) noexcept {
    bool found = false;
    for (uint32_t slot = 0; slot < object.slotLimit(); ++slot) {
        if (slot == object.slot() || !state.isInUse(slot) || object.isAlive(slot))
            continue;
        state.giveBack(slot);
        found = true;
    }
    return found;
}

/// Gives back what dead processes hold and wakes those who wait for it. @p State has a RobustLock
/// and a WaitWord `waiters`.
template <class State>
void reap(SharedObject& object, State& state) noexcept {
    bool found = false;
    {
        const Locked lock(state);
        found = giveBackOfDead(object, state);
    }
    if (found)
        state.waiters.wakeAll();
}

/// Gives back what dead processes hold, unless somebody has just looked for them.
template <class State>
void reapIfDue(SharedObject& object, State& state) noexcept {
    if (object.isReapDue())
        reap(object, state);
}

/// Gives back what the process itself holds, or one that had its slot before.
template <class State>
bool tryGiveBackOwn(SharedObject& user, State& state) noexcept {
    {
        const Locked lock(state, std::try_to_lock);
        if (!lock)
            return false;
        if (!state.isInUse(user.slot()))
            return true;
        state.giveBack(user.slot());
    }
    state.waiters.wakeAll();
    return true;
}

/// Blocks until @p attempt succeeds, giving back what dead processes hold whenever that is due: the
/// living may pass their own units round so briskly that no slice ever ends in silence.
template <class State, class Attempt>
int32_t waitReaping(SharedObject& object, State& state, const Deadline* deadline,
                    Attempt attempt) noexcept {
    const ShownWaiting shown(object);
    return waitUntil(state.waiters, deadline, attempt, [&] { reapIfDue(object, state); });
}

/// Tries once, and again when a look for dead processes was due.
template <class State, class Attempt>
bool tryReaping(SharedObject& object, State& state, Attempt attempt) noexcept {
    if (attempt())
        return true;
    if (!object.isReapDue())
        return false;
    reap(object, state);
    return attempt();
}

} // namespace qx::platform::shared
