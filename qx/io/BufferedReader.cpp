#include "qx/io/BufferedReader.h"

#include <qx/core/String.h>
#include <qx/core/detail/FindEither.h>

namespace qx::io {

template class BufferedSource<Reader, char16_t>;

BufferedReader::BufferedReader(Reader* in, int32_t size)
    : BufferedSource(in, size, &typeid(BufferedReader)) {}

int32_t BufferedReader::readLine(String& line) {
    requireOpen();
    line.clear();
    int32_t appended = 0;
    for (;;) {
        if (isExhausted() && !refill())
            return appended > 0 ? appended : -1;
        const char16_t* const units = unread();
        const int32_t buffered = unreadLength();
        const int32_t length = qx::detail::findEither<u'\r', u'\n'>(units, buffered);
        line.append(units, length);
        appended += length;
        drop(length);
        if (length < buffered) {
            dropLineEnd(units[length]);
            return appended;
        }
    }
}

/// Steps over the line end at the position, which is @p lineEnd; CR takes a following LF along.
void BufferedReader::dropLineEnd(char16_t lineEnd) {
    drop(1);
    if (lineEnd != u'\r')
        return;
    if (isExhausted() && !tryRefill())
        dropAfterFailure(u'\n');
    else if (*unread() == u'\n')
        drop(1);
}

} // namespace qx::io
