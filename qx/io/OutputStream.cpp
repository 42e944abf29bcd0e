#include "qx/io/OutputStream.h"

namespace qx::io {

void OutputStream::write(const char* from, int32_t length) {
    write(reinterpret_cast<const signed char*>(from), length);
}

void OutputStream::write(const unsigned char* from, int32_t length) {
    write(reinterpret_cast<const signed char*>(from), length);
}

void OutputStream::write(signed char byte) { write(&byte, 1); }

void OutputStream::flush() {}

void OutputStream::close() {}

} // namespace qx::io
