#pragma once

#include <cstdint>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/export.h>
#include <qx/platform/shared.h>
#include <qx/sync/Object.h>

namespace qx::ipc {

/// A counting semaphore shared by name with the other processes of the user.
///
/// Created with 1 or more it guards resources: the units of a process that ends or is killed are
/// given back within a second. Created with 0 it is a signal, and nothing is given back. It
/// disappears when its last user destroys it or dies. Each unit must be given back by the process
/// that took it, from any thread and through any object of that name.
///
/// All members may be called from any thread. A failing platform call throws ResultException with
/// the call's result code and leaves the semaphore usable, unless the member says otherwise.
class QX_API Semaphore : public sync::Object {
public:
    /// @param name   any text, not empty
    /// @param value  units to begin with, at most 0x7FFFFFFF; an existing semaphore keeps its own
    /// @throws ResultException with result::NotAvailable, and a description that says what is
    ///     missing, on a machine without a memory file system or without locks of descriptions
    Semaphore(const char* name, uint32_t value);

    /// Blocks until there is a unit and takes it.
    void wait() override;
    bool tryWait() override;

    /// Gives a unit back, or adds one.
    virtual void signal();

    /// The units at hand; out of date as soon as anybody waits or signals.
    virtual int32_t getValue();

private:
    PlatformHandle<&QXNamedSemClose> m_handle;
};

} // namespace qx::ipc
