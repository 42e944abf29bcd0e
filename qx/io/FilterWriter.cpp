#include "qx/io/FilterWriter.h"

namespace qx::io {

template class FilterSink<Writer, char16_t>;

void FilterWriter::write(const String& text) { wrapped().write(text); }

void FilterWriter::write(const char16_t* text) { wrapped().write(text); }

} // namespace qx::io
