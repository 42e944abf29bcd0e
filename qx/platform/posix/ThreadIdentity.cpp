#include <unistd.h>

#include <qx/platform/native.h>

#include "qx/platform/posix/Forks.h"

namespace {

thread_local uint32_t t_number = 0;

} // namespace

/// The only thread of a forked child has inherited the number of the one that forked.
constexpr qx::platform::ForkSteps qx::platform::ThreadNumberForkSteps{
    .inChild = [](void*) noexcept { t_number = 0; }};

uint32_t QXThreadCurrentId() {
    if (t_number == 0)
        t_number = static_cast<uint32_t>(gettid());
    return t_number;
}
