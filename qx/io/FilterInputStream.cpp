#include "qx/io/FilterInputStream.h"

namespace qx::io {

template class FilterSource<InputStream, signed char>;

FilterInputStream::~FilterInputStream() = default;

} // namespace qx::io
