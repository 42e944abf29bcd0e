#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include <qx/core/runtime/GlobalLock.h>
#include <qx/sync/LockObject.h>

namespace qx::util {

/// The one instance of @p T, made when it is first asked for. Creation and destruction hold
/// @p *Lock; an existing instance is reached without it.
///
/// @p T has a default constructor and destructor that this class may call.
template <class T, sync::LockObject** Lock>
class Singleton {
public:
    Singleton() = delete;

    /// The instance, owned by this class. Safe from any thread between start-up and shut-down.
    static T* getInstance() {
        if (T* const existing = m_instance.load(std::memory_order_acquire))
            return existing;
        const auto guard = hold();
        T* instance = m_instance.load(std::memory_order_relaxed);
        if (!instance) {
            instance = new T();
            m_instance.store(instance, std::memory_order_release);
        }
        return instance;
    }

    /// Destroys the instance, which nobody may be using.
    static void freeInstance() {
        if (!m_instance.load(std::memory_order_acquire))
            return;
        const auto guard = hold();
        delete m_instance.exchange(nullptr, std::memory_order_acq_rel);
    }

private:
    /// Before start-up and after shut-down there is no lock, and only one thread.
    static std::unique_lock<sync::LockObject> hold() {
        return *Lock ? std::unique_lock(**Lock) : std::unique_lock<sync::LockObject>();
    }

    static inline constinit std::atomic<T*> m_instance{nullptr};
};

} // namespace qx::util
