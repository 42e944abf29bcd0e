#include "qx/io/StdioOutputStream.h"

#include <cstdio>

#include <qx/io/detail/StdioFileOutputStream.h>

namespace qx::io {

void StdioOutputStream::write(const signed char* from, int32_t length) {
    detail::writeStdio(stdout, from, length);
}

void StdioOutputStream::write(signed char byte) { detail::writeStdio(stdout, byte); }

void StdioOutputStream::flush() { detail::flushStdio(stdout); }

Reference<OutputStream> StdioOutputStream::getStdErrorStream() {
    return makeReference<detail::StdioFileOutputStream>(stderr, false);
}

} // namespace qx::io
