#include "qx/io/NullWriter.h"

namespace qx::io {

void NullWriter::write(const String&) {}

void NullWriter::write(const char16_t*) {}

void NullWriter::write(const char16_t*, int32_t) {}

void NullWriter::write(char16_t) {}

} // namespace qx::io
