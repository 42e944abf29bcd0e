#pragma once

#include <qx/core/String.h>

namespace qx::text::charset::detail {

/// The form under which encoding names are kept: letter case makes no difference to callers.
inline String upperCaseName(const char16_t* name) {
    String upper(name);
    upper.toUpper();
    return upper;
}

} // namespace qx::text::charset::detail
