#include "qx/io/detail/AlphaNumAlphabet.h"

#include <algorithm>

#include <qx/core/Result.h>
#include <qx/platform/result.h>

namespace qx::io::detail {

std::u16string_view alphaNumSymbols(const char16_t* alphabet) {
    const std::u16string_view symbols(alphabet ? alphabet : u"ABCDEFGHJKLMNPQRSTUVWXYZ23456789");
    const auto isAscii = [](char16_t unit) { return unit < 0x80; };
    if (symbols.size() != AlphabetLength || !std::all_of(symbols.begin(), symbols.end(), isAscii))
        throwResult(result::InvalidArgument);
    return symbols;
}

} // namespace qx::io::detail
