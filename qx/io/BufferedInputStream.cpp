#include "qx/io/BufferedInputStream.h"

namespace qx::io {

template class BufferedSource<InputStream, signed char>;

BufferedInputStream::BufferedInputStream(InputStream* in, int32_t size)
    : BufferedSource(in, size, &typeid(BufferedInputStream)) {}

BufferedInputStream::~BufferedInputStream() = default;

} // namespace qx::io
