#pragma once

#include <cstdint>

#include <qx/core/Reference.h>
#include <qx/ipc/Semaphore.h>
#include <qx/sync/Mutex.h>

namespace qx::ipc {

/// A named semaphore that the thread which holds it may take again. Created with 1 it is a
/// recursive lock between processes. No matter how often the owner has taken it, other
/// processes see one unit taken.
///
/// All members may be called from any thread. One object has one owner at a time; when threads
/// share a semaphore of several units, each needs an object of its own.
class QX_API SemaphoreR : public Semaphore {
public:
    /// @param guard  protects the owner and its depth inside this process; null: the object makes
    ///     its own. The mutex is not held while a thread waits for the semaphore, unless the caller
    ///     of wait holds it already.
    /// @copydetails Semaphore::Semaphore
    SemaphoreR(const char* name, uint32_t value, sync::Mutex* guard);
    SemaphoreR(const std::string& name, uint32_t value, sync::Mutex* guard)
        : SemaphoreR(name.find('\0') == std::string::npos ? name.c_str() : "", value, guard) {}

    void wait() override;
    [[nodiscard]] bool tryWait() override;
    /// Undoes one wait of the owner; undoing the first one gives the unit back. Does nothing when
    /// the calling thread is not the owner.
    void signal() override;

private:
    friend class Semaphore;

    bool enterAgain();
    void becomeOwner();

    uint64_t m_owner = 0; // the thread, 0 when there is none
    uint32_t m_depth = 0;
    Reference<sync::Mutex> m_guard;
};

} // namespace qx::ipc
