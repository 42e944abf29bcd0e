#pragma once

#include <stdexcept>

namespace qxtest {

/// Where no test framework is at hand.
/// @throws std::logic_error unless @p holds
inline void require(bool holds, const char* what) {
    if (!holds)
        throw std::logic_error(what);
}

} // namespace qxtest
