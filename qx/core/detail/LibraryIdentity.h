#pragma once

namespace qx {

/// The address inside the library's own code by which it identifies itself to the platform layer:
/// at start-up and shut-down, and when it loads libraries or creates components.
const void* libraryIdentity() noexcept;

} // namespace qx
