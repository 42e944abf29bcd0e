#include "qx/io/InputStream.h"

#include <qx/io/IoException.h>
#include <qx/io/detail/SourceDefaults.h>

namespace qx::io {

int32_t InputStream::read(char* to, int32_t length) {
    return read(reinterpret_cast<signed char*>(to), length);
}

int32_t InputStream::read(unsigned char* to, int32_t length) {
    return read(reinterpret_cast<signed char*>(to), length);
}

int InputStream::read() { return detail::readOne<signed char>(*this); }

int32_t InputStream::skip(int32_t count) {
    return detail::skipByReading<signed char>(*this, count);
}

int32_t InputStream::available() { return 0; }

void InputStream::close() {}

bool InputStream::markSupported() { return false; }

void InputStream::mark(int32_t) {}

void InputStream::reset() { throwIo(u"mark/reset not supported"); }

} // namespace qx::io
