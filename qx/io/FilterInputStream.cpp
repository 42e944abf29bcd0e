#include "qx/io/FilterInputStream.h"

namespace qx::io {

template class FilterSource<InputStream, signed char>;

} // namespace qx::io
