#include "qx/platform/posix/clibrary.h"

#include <mutex>

#include "qx/platform/posix/Forks.h"

namespace qx::platform {

namespace {

constinit std::mutex s_lock;

} // namespace

CLibraryCall::CLibraryCall() noexcept { s_lock.lock(); }

CLibraryCall::~CLibraryCall() { s_lock.unlock(); }

constexpr ForkSteps CLibraryForkSteps = HeldInFork<s_lock>;

} // namespace qx::platform
