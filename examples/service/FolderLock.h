#pragma once

#include <qx/core/String.h>
#include <qx/ipc/Semaphore.h>

namespace collector {

/// Keeps a second service of the user from writing to the same folder. The lock of a service that
/// was killed is free again after a second.
class FolderLock {
public:
    /// @throws UsageFailure when there is no such folder, or another service has it
    explicit FolderLock(const qx::String& folder);
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    qx::ipc::Semaphore m_semaphore;
};

} // namespace collector
