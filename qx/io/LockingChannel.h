#pragma once

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/io/IChannel.h>
#include <qx/platform/export.h>
#include <qx/sync/Mutex.h>

namespace qx::io {

/// A channel with a lock beside it. Reads and writes do not take the lock: a caller holds it around
/// a sequence that others who hold it must not come between. Serves std::lock_guard and its kin.
///
/// The lock may be taken from any thread, and again by the thread that holds it.
class QX_API LockingChannel : public qx::pcom::Implements<Object, IReadChannel, IWriteChannel> {
public:
    /// @param channel    kept by a reference
    /// @param mutexName  the lock is the one of that name for every process of the user; null or
    ///                   empty for a lock of this object alone
    /// @throws ResultException with result::NullPointer for a null channel, and when the lock
    ///     cannot be had
    LockingChannel(IChannel* channel, const char* mutexName);

    /// Takes the lock.
    virtual void wait();
    /// Takes the lock unless that would block; false when it would.
    [[nodiscard]] virtual bool tryWait();
    /// Gives the lock back.
    /// @throws ResultException with result::NotOwner when the thread does not hold it
    virtual void signal();

    /// True when the calling thread holds a named lock and got it from a process that died or ended
    /// while it held it: the other side may have been left in the middle of a sequence. See
    /// sync::Mutex.
    bool acquiredFromDead() const;

    void lock() { wait(); }
    [[nodiscard]] bool try_lock() { return tryWait(); }
    void unlock() { signal(); }

    int read(ByteBuffer& buffer) override;
    int write(ByteBuffer& buffer) override;

private:
    const Reference<IChannel> m_channel;
    sync::Mutex m_mutex;
};

} // namespace qx::io
