#pragma once

#include <qx/core/PlatformHandle.h>
#include <qx/platform/sync.h>
#include <qx/sync/LockObject.h>

namespace qx::sync {

/// Many readers or one writer. As a LockObject it is the writer's side. Serves std::shared_lock.
///
/// Neither side is recursive: a writer that locks again throws, and so does one that asks for the
/// reader's side; a reader that locks again may wait for ever behind a waiting writer. Readers and
/// writers that wait are admitted in turns, so neither side starves.
///
/// All members may be called from any thread; unlocking is up to the thread that holds the lock.
class QX_API ReaderWriterLock : public LockObject {
public:
    /// @param name   nul-terminated, copied. With QX_SYNC_SHARED the lock of that name for all
    ///     processes of the user, and required; else a label for debugging, null for none
    /// @param flags  QX_SYNC_... bits; 0 keeps the lock inside this process
    /// @throws ResultException with result::InvalidArgument for a name that is missing and for an
    ///     unknown flag, with result::NotAvailable without a memory file system
    explicit ReaderWriterLock(const char* name = nullptr, unsigned int flags = 0);

    void wait() override;
    [[nodiscard]] bool tryWait() override;
    void signal() override;

    /// Blocks until no writer holds the lock, then holds it as a reader.
    virtual void waitShared();
    /// True when the lock is now held as a reader. Neither blocks nor throws.
    [[nodiscard]] virtual bool tryWaitShared();
    /// Ends the hold of one reader.
    /// @throws ResultException when there is none (result::NotOwner)
    virtual void signalShared();

    /// True when the calling thread holds the lock, as reader or writer, and a process died as the
    /// writer, or ended or closed the lock, and no writer has given the lock back since: what it
    /// guards may be half changed. All readers are told until a writer has been in and could put it
    /// right. A reader that died has changed nothing. Never true for a lock inside one process.
    bool acquiredFromDead() const;

    void lock_shared() { waitShared(); }
    [[nodiscard]] bool try_lock_shared() { return tryWaitShared(); }
    void unlock_shared() { signalShared(); }

private:
    PlatformHandle<&QXRWLockDestroy> m_handle;
};

} // namespace qx::sync

using CQXRWLock = qx::sync::ReaderWriterLock;
