#pragma once

#include <qx/core/Object.h>
#include <qx/platform/export.h>

namespace qx::sync {

/// Anything that a thread can wait for.
class QX_API Object : public qx::Object {
public:
    /// Blocks until the wait is satisfied.
    /// @throws ResultException when the platform refuses; the object stays usable
    virtual void wait() = 0;

    /// True when a wait would not have blocked and is satisfied by this call. Neither blocks nor
    /// throws. An Event cannot tell, and always says false.
    [[nodiscard]] virtual bool tryWait() = 0;

protected:
    Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
};

} // namespace qx::sync

using CQXSyncObject = qx::sync::Object;
