#pragma once

namespace qxtest {

/// Whether the thread sanitizer watches.
#ifdef __SANITIZE_THREAD__
inline constexpr bool ThreadSanitized = true;
#else
inline constexpr bool ThreadSanitized = false;
#endif

/// Whether that or the address sanitizer watches: either makes a program slow, and needs memory and
/// descriptors of its own.
#ifdef __SANITIZE_ADDRESS__
inline constexpr bool Sanitized = true;
#else
inline constexpr bool Sanitized = ThreadSanitized;
#endif

/// Whether a child that a program with threads has forked has memory. The address sanitizer of this
/// compiler leaves the locks of its own held in a child, so that a program of malloc, free and fork
/// alone hangs.
inline constexpr bool ChildHasMemory = !Sanitized || ThreadSanitized;

} // namespace qxtest
