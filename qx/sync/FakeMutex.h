#pragma once

#include <qx/sync/LockObject.h>

namespace qx::sync {

/// A lock that locks nothing, for code that is given a lock and does not need one.
class QX_API FakeMutex : public LockObject {
public:
    /// Takes the arguments of a Mutex and ignores them.
    explicit FakeMutex(const char* name = nullptr, unsigned int flags = 0);

    void wait() override;
    /// Always true.
    [[nodiscard]] bool tryWait() override;
    void signal() override;
};

} // namespace qx::sync

using CQXFakeMutex = qx::sync::FakeMutex;
