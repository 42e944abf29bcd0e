#include "qx/core/detail/Subsystem.h"

#include <qx/util/FilePath.h>
#include <qx/util/Guid.h>
#include <qx/util/buffer/MTBuffer.h>
#include <qx/util/buffer/ROBuffer.h>
#include <qx/util/buffer/RWBuffer.h>

namespace qx::util {

namespace {

// clang-format off
constexpr ClassRow Classes[] = {
    known<AbstractByteBuffer>(u"CQXAbstractByteBuffer"),
    known<AbstractCharBuffer>(u"CQXAbstractCharBuffer"),
    known<FilePath>(u"CQXFilePath"),
    known<Guid>(u"CQXGuid"),
    creatable<MTByteBuffer>(u"CQXMTByteBuffer"),
    creatable<MTCharBuffer>(u"CQXMTCharBuffer"),
    creatable<ROByteBuffer>(u"CQXROByteBuffer"),
    creatable<ROCharBuffer>(u"CQXROCharBuffer"),
    creatable<RWByteBuffer>(u"CQXRWByteBuffer"),
    creatable<RWCharBuffer>(u"CQXRWCharBuffer"),
};
// clang-format on

} // namespace

constinit const Subsystem subsystem{.classes = Classes};

} // namespace qx::util
