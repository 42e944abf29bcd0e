#include "qx/core/detail/Subsystem.h"

#include <qx/exec/IRunnable.h>
#include <qx/exec/Thread.h>

namespace qx::exec {

namespace {

// clang-format off
constexpr ClassRow Classes[] = {
    known<IRunnable>(u"CQXRunnable"),
    known<Thread>(u"CQXThread"),
};
// clang-format on

} // namespace

constinit const Subsystem subsystem{.classes = Classes};

} // namespace qx::exec
