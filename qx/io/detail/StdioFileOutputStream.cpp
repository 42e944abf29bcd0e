#include "qx/io/detail/StdioFileOutputStream.h"

#include <qx/io/IoException.h>
#include <qx/platform/stdio.h>

namespace qx::io::detail {

void writeStdio(std::FILE* file, const signed char* from, int32_t length) {
    if (QXStdioWrite(file, from, length) < 0)
        throwIo(u"stream write error");
}

void writeStdio(std::FILE* file, signed char byte) {
    if (QXStdioWriteByte(file, byte) < 0)
        throwIo(u"stream write error");
}

void flushStdio(std::FILE* file) {
    if (QXStdioFlush(file) < 0)
        throwIo(u"stream flush error");
}

StdioFileOutputStream::~StdioFileOutputStream() {
    if (m_owns)
        QXStdioClose(m_file);
}

void StdioFileOutputStream::write(const signed char* from, int32_t length) {
    writeStdio(m_file, from, length);
}

void StdioFileOutputStream::write(signed char byte) { writeStdio(m_file, byte); }

void StdioFileOutputStream::flush() { flushStdio(m_file); }

} // namespace qx::io::detail
