#include "qx/platform/posix/CLibraryCall.h"

#include <mutex>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/sync/FutexLock.h>
#include <qx/platform/posix/sync/RecursiveLock.h>

namespace qx::platform {

namespace {

constinit std::mutex s_lock;
constinit RecursiveLock<FutexLock> s_loader; // the loader itself lets only one thread in

} // namespace

CLibraryCall::CLibraryCall() noexcept { s_lock.lock(); }

CLibraryCall::~CLibraryCall() { s_lock.unlock(); }

LoaderCall::LoaderCall() noexcept { s_loader.acquire(); }

LoaderCall::~LoaderCall() { s_loader.release(); }

constexpr ForkSteps LoaderForkSteps{[](void*) noexcept { s_loader.acquire(); },
                                    [](void*) noexcept { s_loader.release(); },
                                    [](void*) noexcept { s_loader.release(); }};

constexpr ForkSteps CLibraryForkSteps = HeldInFork<s_lock>;

} // namespace qx::platform
