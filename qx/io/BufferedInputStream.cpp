#include "qx/io/BufferedInputStream.h"

namespace qx::io {

template class BufferedSource<InputStream, signed char>;

} // namespace qx::io
