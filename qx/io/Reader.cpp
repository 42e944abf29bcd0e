#include "qx/io/Reader.h"

#include <qx/io/IoException.h>
#include <qx/io/detail/SourceDefaults.h>

namespace qx::io {

int Reader::read() { return detail::readOne<char16_t>(*this); }

int32_t Reader::skip(int32_t count) { return detail::skipByReading<char16_t>(*this, count); }

int32_t Reader::available() { return 0; }

void Reader::close() {}

bool Reader::markSupported() { return false; }

void Reader::mark(int32_t) {}

void Reader::reset() { throwIo(u"mark/reset not supported"); }

} // namespace qx::io
