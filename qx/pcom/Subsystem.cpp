#include "qx/core/detail/Subsystem.h"

#include <qx/pcom/ClassFactory.h>
#include <qx/pcom/DllModule.h>

namespace qx::pcom {

namespace {

// clang-format off
constexpr ClassRow Classes[] = {
    known<ClassFactory>(u"qx::pcom::ClassFactory"),
    known<DllModule>(u"CQXComDllModule"),
};
// clang-format on

} // namespace

constinit const Subsystem subsystem{.classes = Classes};

} // namespace qx::pcom
