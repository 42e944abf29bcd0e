#pragma once

namespace qxtest {

/// Whether the address or the thread sanitizer watches: either makes a program slow, and needs
/// memory and descriptors of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool Sanitized = true;
#else
inline constexpr bool Sanitized = false;
#endif

} // namespace qxtest
