#pragma once

#include <cstdint>

#include <qx/platform/detail/ForkWatch.h>

/* The states of this layer that take part in forks. Each stands in the file named beside it. */

namespace qx::platform {

extern const ForkSteps ComponentForkSteps;    // ComponentCache.cpp
extern const ForkSteps RegistryForkSteps;     // RegistryRoots.cpp
extern const ForkSteps ModuleForkSteps;       // module.cpp
extern const ForkSteps SharedObjectForkSteps; // SharedObject.cpp
extern const ForkSteps ChildForkSteps;        // Child.cpp
extern const ForkSteps ReaperForkSteps;       // Reaper.cpp
extern const ForkSteps ConsoleForkSteps;      // console.cpp
extern const ForkSteps DriveForkSteps;        // path.cpp
extern const ForkSteps MountForkSteps;        // mounts.cpp
extern const ForkSteps TimeTextForkSteps;     // timetext.cpp
extern const ForkSteps CLibraryForkSteps;     // CLibraryCall.cpp
extern const ForkSteps LoaderForkSteps;       // CLibraryCall.cpp
extern const ForkSteps ThreadNumberForkSteps; // ThreadIdentity.cpp
extern const ForkSteps WaiterForkSteps;       // ForkMark.cpp
extern const ForkSteps LeavingForkSteps;      // LeavingThreads.cpp

/// See QXProcessGetForkEpoch.
uint32_t forkEpoch() noexcept;

} // namespace qx::platform
