#include "qx/io/StdioInputStream.h"

#include <cstdio>

#include <qx/io/IoException.h>
#include <qx/platform/result.h>
#include <qx/platform/stdio.h>

namespace qx::io {

int32_t StdioInputStream::read(signed char* to, int32_t length) {
    if (length < 1)
        return 0;
    int32_t count = 0;
    if (QXStdioReadLine(stdin, to, length - 1, &count) < 0)
        throwIo(u"stream read error");
    to[count] = 0;
    return count > 0 ? count : -1;
}

int StdioInputStream::read() {
    int32_t byte = -1;
    const int32_t result = QXStdioReadByte(stdin, &byte);
    if (result < 0 && result != result::EndOfFile)
        throwIo(u"stream read error");
    return byte;
}

int32_t StdioInputStream::skip(int32_t count) {
    if (count < 1)
        return 0;
    int32_t skipped = 0;
    if (QXStdioSkip(stdin, count, &skipped) < 0)
        throwIo(u"stream seek error");
    return skipped;
}

} // namespace qx::io
