#include "qx/io/IoException.h"

namespace qx::io {

void throwIo(const char16_t* description) { throw IoException(String(description)); }

} // namespace qx::io
