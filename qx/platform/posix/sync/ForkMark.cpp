#include "qx/platform/posix/sync/ForkMark.h"

#include <qx/platform/posix/Forks.h>

namespace qx::platform {

constinit uint32_t ForkMark::s_forks = 0;
constinit FutexLock ForkMark::s_lock;

constexpr ForkSteps WaiterForkSteps{[](void*) noexcept { ForkMark::lock(); },
                                    [](void*) noexcept { ForkMark::unlock(); },
                                    [](void*) noexcept {
                                        ForkMark::countFork();
                                        ForkMark::unlock();
                                    }};

} // namespace qx::platform
