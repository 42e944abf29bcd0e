#include "qx/core/detail/Subsystem.h"

#include <qx/math/BigDecimal.h>
#include <qx/math/BigInteger.h>

namespace qx::math {

namespace {

// clang-format off
constexpr ClassRow Classes[] = {
    creatable<BigDecimal>(u"CQXBigDecimal"),
    creatable<BigInteger>(u"CQXBigInteger"),
};
// clang-format on

} // namespace

constinit const Subsystem subsystem{.classes = Classes};

} // namespace qx::math
