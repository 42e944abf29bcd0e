#pragma once

namespace qx::codecs {

/// Code page 720, Arabic, which the GNU C library has no converter for: the units of the bytes from
/// 0x80 on, U+FFFD for one that the page leaves undefined. Those below are ASCII.
extern const char16_t CodePage720[128];

} // namespace qx::codecs
