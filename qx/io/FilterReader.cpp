#include "qx/io/FilterReader.h"

namespace qx::io {

template class FilterSource<Reader, char16_t>;

FilterReader::~FilterReader() = default;

} // namespace qx::io
