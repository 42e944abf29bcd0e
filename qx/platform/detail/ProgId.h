#pragma once

#include <string_view>

namespace qx::platform {

/// Whether a programmatic identifier is the name of one key of the registry: with more it would
/// name another thing.
constexpr bool isOneKey(std::u16string_view progId) noexcept {
    return !progId.empty() && progId.find(u'\\') == progId.npos;
}

} // namespace qx::platform
