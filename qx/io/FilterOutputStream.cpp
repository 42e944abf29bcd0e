#include "qx/io/FilterOutputStream.h"

namespace qx::io {

template class FilterSink<OutputStream, signed char>;

FilterOutputStream::~FilterOutputStream() = default;

} // namespace qx::io
