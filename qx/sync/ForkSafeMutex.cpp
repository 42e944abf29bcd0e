#include "qx/sync/ForkSafeMutex.h"

#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/PlatformHandle.h>
#include <qx/core/Result.h>
#include <qx/platform/detail/ForkWatch.h>
#include <qx/platform/sync.h>

namespace qx::sync {

struct ForkSafeMutex::State {
    explicit State(const char* name) { throwIfFailed(QXMutexCreate(name, 0, mutex.put())); }

    void renewInChild() noexcept {
        if (QXMutexTryAcquire(mutex.get()) >= 0) { // free, or held by the thread that has forked
            QXMutexRelease(mutex.get());
            return;
        }
        wasHeldByAnother = true;
        PlatformHandle<&QXMutexDestroy> fresh;
        // Without memory for one it stays as it is.
        if (QXMutexCreate(nullptr, 0, fresh.put()) >= 0)
            mutex = std::move(fresh);
    }

    static const platform::ForkSteps Steps;

    PlatformHandle<&QXMutexDestroy> mutex;
    bool wasHeldByAnother = false;
    platform::ForkWatch watch{this, Steps}; // last
};

constexpr platform::ForkSteps ForkSafeMutex::State::Steps{
    .inChild = [](void* state) noexcept { static_cast<State*>(state)->renewInChild(); }};

ForkSafeMutex::ForkSafeMutex(const char* name) : m_state(std::make_unique<State>(name)) {}

ForkSafeMutex::~ForkSafeMutex() = default;

void ForkSafeMutex::lock() { throwIfFailed(QXMutexAcquire(m_state->mutex.get())); }

bool ForkSafeMutex::try_lock() { return QXMutexTryAcquire(m_state->mutex.get()) >= 0; }

void ForkSafeMutex::unlock() { throwIfFailed(QXMutexRelease(m_state->mutex.get())); }

void ForkSafeMutex::requireWhole() const {
    if (m_state->wasHeldByAnother)
        throw IllegalStateException(u"in use by another thread when the process was forked");
}

} // namespace qx::sync
