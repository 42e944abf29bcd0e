#include "qx/io/BufferedWriter.h"

namespace qx::io {

template class BufferedSink<Writer, char16_t>;

} // namespace qx::io
