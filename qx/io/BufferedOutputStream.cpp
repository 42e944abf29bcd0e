#include "qx/io/BufferedOutputStream.h"

namespace qx::io {

template class BufferedSink<OutputStream, signed char>;

BufferedOutputStream::~BufferedOutputStream() = default;

} // namespace qx::io
