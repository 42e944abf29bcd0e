#include "qx/io/NullOutputStream.h"

namespace qx::io {

void NullOutputStream::write(const signed char*, int32_t) {}

void NullOutputStream::write(signed char) {}

} // namespace qx::io
