#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>

#include "qx/platform/posix/RobustLock.h"
#include "qx/platform/posix/SharedFile.h"
#include "qx/platform/posix/WaitWord.h"
#include <qx/platform/native.h>
#include <qx/platform/result.h>
#include <qx/platform/types.h>

namespace qx::platform::shared {

/// Kinds of objects; the numbers stand in the files.
enum class Kind : uint32_t { Mutex = 1, Condition, Event, Gate, Semaphore, RWLock };

inline constexpr uint32_t SlotCount = SharedFile::SlotCount;

/// How the state of one kind lies in the file. A state is constructed in place by the process that
/// creates the object, holds no addresses and is never destroyed.
struct Layout {
    Kind kind;
    size_t sizeInBytes;
    void (*construct)(void* place, uint32_t initial);
    /// Gives back what the slot, or for locks owned by threads the calling thread, holds.
    void (*leave)(void* state, uint32_t slot);
};

template <class State>
inline constexpr Layout LayoutOf{
    State::ObjectKind, sizeof(State),
    [](void* place, uint32_t initial) { new (place) State(initial); },
    [](void* state, uint32_t slot) { static_cast<State*>(state)->leave(slot); }};

/// One process's use of a shared object: the mapped file and this process's slot in it. All handles
/// that a process has of one name are one SharedObject, so what it holds is counted per process.
class SharedObject {
public:
    /// Opens the object of that name, or creates it with @p initial.
    static int32_t open(const Layout& layout, const char* name, uint32_t initial,
                        QXHandle* handle) noexcept;

    /// Lets go of one handle; with the last one everything held is given back.
    static int32_t close(const Layout& layout, QXHandle handle) noexcept;

    /// The object of a handle, or null when it is none of this kind or was lost in a fork.
    static SharedObject* find(QXHandle handle, Kind kind) noexcept;

    template <class State>
    State& state() noexcept {
        return *static_cast<State*>(m_state);
    }

    /// This process's slot.
    uint32_t slot() const noexcept { return m_file.slot(); }
    /// One more than the highest slot ever used.
    uint32_t slotLimit() const noexcept;
    /// False when the process that had the slot is gone. Not for the own slot.
    bool isAlive(uint32_t slot) const noexcept { return m_file.isSlotTaken(slot); }
    /// True at most once in a tenth of a second among all processes: time to look for dead ones.
    bool isReapDue() noexcept;

    /// In a child after fork: takes a slot of its own in every open object.
    static void afterForkInChild() noexcept;

private:
    struct Header;

    explicit SharedObject(const Layout& layout) noexcept : m_layout(layout) {}
    ~SharedObject();

    static int32_t tryOpen(const Layout& layout, const char* name, uint32_t initial,
                           QXHandle* handle) noexcept;
    bool isUsable() const noexcept { return m_isUsable; }
    int32_t attach(const char* name, uint32_t initial) noexcept;
    int32_t map(bool isNew, uint32_t initial) noexcept;
    void adoptSlot() noexcept;

    Layout m_layout;
    SharedFile m_file;
    char m_fileName[SharedFile::FileNameCapacity] = {};
    Header* m_header = nullptr;
    void* m_state = nullptr;
    bool m_isUsable = false; // it has a slot and a state
    uint32_t m_references = 1;
    SharedObject* m_next = nullptr;
};

/// Locks this process's tables of shared objects and mapped blocks, and serialises what opens and
/// closes them. Held across fork, so that a child finds the tables whole. Nobody waits for another
/// process while holding it: that would stop every other object of this process and every fork.
std::unique_lock<std::mutex> lockProcessTables() noexcept;

/// The calling thread among all threads of all users of an object; never 0. The upper half is one
/// more than the slot.
inline uint64_t callerIn(uint32_t slot) noexcept {
    return (uint64_t{slot} + 1) << 32 | QXThreadCurrentId();
}

/// Runs @p operation with the object of a handle and its state; 0x80070006 for a wrong handle.
template <class State, class Operation>
int32_t withObject(QXHandle handle, Operation operation) noexcept {
    SharedObject* object = SharedObject::find(handle, State::ObjectKind);
    return object != nullptr ? operation(*object, object->state<State>()) : result::InvalidHandle;
}

/// Gives back what dead processes hold and wakes those who wait for it. @p State has a RobustLock,
/// a WaitWord `waiters`, and `isInUse` and `giveBack` of a slot.
template <class State>
void reap(SharedObject& object, State& state) noexcept {
    bool found = false;
    {
        // Under the lock, since a new user of a dead one's slot cleans it under the lock too.
        const Locked lock(state);
        for (uint32_t slot = 0; slot < object.slotLimit(); ++slot) {
            if (slot == object.slot() || !state.isInUse(slot) || object.isAlive(slot))
                continue;
            state.giveBack(slot);
            found = true;
        }
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

/// Blocks until @p attempt succeeds, giving back what dead processes hold whenever that is due: the
/// living may pass their own units round so briskly that no slice ever ends in silence.
template <class State, class Attempt>
int32_t waitReaping(SharedObject& object, State& state, const TimeLimit& limit,
                    Attempt attempt) noexcept {
    return waitUntil(state.waiters, limit, attempt, [&](bool) { reapIfDue(object, state); });
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
