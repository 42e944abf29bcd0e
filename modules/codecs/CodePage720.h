#pragma once

namespace qx::codecs {

/// Code page 720, Arabic, which the GNU C library has no converter for: 256 units by byte, U+FFFD
/// for a byte that the page leaves undefined.
extern const char16_t CodePage720[256];

} // namespace qx::codecs
