#pragma once

#include <cstdint>

namespace qx::platform {

/// Tells whether text can be converted from and to the encoding of that name: 0 when it can,
/// 0x8BB34103 when there is no codec for it, another code when that cannot be told now.
using CodecCheck = int32_t (*)(const char16_t* name) noexcept;

/// Names the function that knows the codecs. The code set of a locale is the default encoding only
/// when there is a codec for it. Without such a function, which null stands for, every code set is
/// taken as it is.
void setCodecCheck(CodecCheck check) noexcept;

/// True when the default encoding is UTF-8, as it nearly always is.
bool isDefaultUtf8() noexcept;

} // namespace qx::platform
