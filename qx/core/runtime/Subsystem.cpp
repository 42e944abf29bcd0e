#include "qx/core/detail/Subsystem.h"

#include <qx/core/Exception.h>
#include <qx/core/ExternalException.h>
#include <qx/core/Float.h>
#include <qx/core/Integer.h>
#include <qx/core/Number.h>
#include <qx/core/String.h>
#include <qx/core/runtime/ClassManager.h>

namespace qx {

namespace {

// clang-format off
constexpr ClassRow Classes[] = {
    known<Class>(u"qx::Class"),
    known<ComObject>(u"CQXComObject"),
    known<Double>(u"CQXDouble"),
    known<Float>(u"CQXFloat"),
    known<Integer16>(u"CQXInteger16"),
    known<Integer32>(u"CQXInteger32"),
    known<Integer64>(u"CQXInteger64"),
    known<Integer8>(u"CQXInteger8"),
    known<Number>(u"CQXNumber"),
    creatable<Object>(u"CQXObject"),
    known<SignedInteger>(u"CQXSignedInteger"),
    creatable<String>(u"CQXString"),
    known<UInteger16>(u"CQXUInteger16"),
    known<UInteger32>(u"CQXUInteger32"),
    known<UInteger64>(u"CQXUInteger64"),
    known<UInteger8>(u"CQXUInteger8"),
    known<UnsignedInteger>(u"CQXUnsignedInteger"),
    known<AccessViolationException>(u"qx::AccessViolationException"),
    known<ArrayBoundsException>(u"qx::ArrayBoundsException"),
    creatable<CastFailedException>(u"qx::CastFailedException"),
    creatable<ClassNotFoundException>(u"qx::ClassNotFoundException"),
    creatable<CloneNotSupportedException>(u"qx::CloneNotSupportedException"),
    creatable<Exception>(u"qx::Exception"),
    known<ExternalException>(u"qx::ExternalException"),
    creatable<IllegalAccessException>(u"qx::IllegalAccessException"),
    known<IllegalInstructionException>(u"qx::IllegalInstructionException"),
    creatable<IllegalStateException>(u"qx::IllegalStateException"),
    creatable<IntDivByZeroException>(u"qx::IntDivByZeroException"),
    creatable<IntErrorException>(u"qx::IntErrorException"),
    creatable<IntOverflowException>(u"qx::IntOverflowException"),
    creatable<InvalidPathException>(u"qx::InvalidPathException"),
    known<MathDivByZeroException>(u"qx::MathDivByZeroException"),
    known<MathErrorException>(u"qx::MathErrorException"),
    known<MathInvalidOpException>(u"qx::MathInvalidOpException"),
    known<MathOverflowException>(u"qx::MathOverflowException"),
    known<MathUnderflowException>(u"qx::MathUnderflowException"),
    creatable<OutOfMemoryException>(u"qx::OutOfMemoryException"),
    creatable<RangeErrorException>(u"qx::RangeErrorException"),
    creatable<ReadOnlyException>(u"qx::ReadOnlyException"),
    known<StackOverflowException>(u"qx::StackOverflowException"),
    creatable<UnsupportedOperationException>(u"qx::UnsupportedOperationException"),
    known<UserAbortException>(u"qx::UserAbortException"),
};
// clang-format on

} // namespace

constinit const Subsystem coreSubsystem{.classes = Classes, .stop = &ClassManager::freeInstance};

} // namespace qx
