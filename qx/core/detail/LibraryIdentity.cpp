#include "qx/core/detail/LibraryIdentity.h"

namespace qx {

const void* libraryIdentity() noexcept { return reinterpret_cast<const void*>(&libraryIdentity); }

} // namespace qx
