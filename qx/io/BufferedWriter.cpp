#include "qx/io/BufferedWriter.h"

namespace qx::io {

template class BufferedSink<Writer, char16_t>;

BufferedWriter::~BufferedWriter() = default;

} // namespace qx::io
