#pragma once

#include <string_view>

#include <qx/core/String.h>
#include <qx/core/TextView.h>
#include <qx/util/buffer/detail/BufferHold.h>

namespace qx::util::detail {

/// Calls @p use with the units of @p text, which stay in place meanwhile.
/// @throws ResultException when the string cannot expose them
template <class Use>
auto withUnits(const String& text, Use&& use) {
    if (!text.isInForeignBuffer()) [[likely]]
        return use(text.view());
    const ReadHold<char16_t> hold(text);
    return use(std::u16string_view(TextView(hold.units(), hold.length())));
}

} // namespace qx::util::detail
