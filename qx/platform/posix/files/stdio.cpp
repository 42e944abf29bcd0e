#include "qx/platform/stdio.h"

#include <fcntl.h>
#include <poll.h>
#include <stdio_ext.h>

#include <qx/platform/files.h>
#include <qx/platform/result.h>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/BrokenPipeGuard.h>

namespace qx::platform {

namespace {

/// Holds the stream's own lock, so that a line or a decision about its buffer stays whole.
class StreamLock {
public:
    explicit StreamLock(FILE* stream) : m_stream(stream) { flockfile(stream); }
    ~StreamLock() { funlockfile(m_stream); }
    StreamLock(const StreamLock&) = delete;
    StreamLock& operator=(const StreamLock&) = delete;

private:
    FILE* m_stream;
};

/// After EAGAIN: waits on a descriptor that somebody made non-blocking. False for one that blocks,
/// whose own time limit ran out.
bool awaitInput(FILE* stream) {
    pollfd ready{fileno(stream), POLLIN, 0};
    const int flags = ::fcntl(ready.fd, F_GETFL);
    return flags != -1 && (flags & O_NONBLOCK) != 0 &&
           retryInterrupted([&ready] { return ::poll(&ready, 1, -1); }) > 0;
}

/// The stream's next byte or EOF, read again when a signal cut the system's read short or there was
/// nothing yet.
int nextByte(FILE* stream) {
    for (;;) {
        const int byte = getc_unlocked(stream);
        if (byte != EOF || !ferror_unlocked(stream) ||
            (errno != EINTR && !(errno == EAGAIN && awaitInput(stream))))
            return byte;
        clearerr_unlocked(stream);
    }
}

/// Waits until the stream's descriptor takes a buffer of bytes at once. The C library drops a
/// buffer whose write a signal interrupts, so a write must not have to wait.
void awaitWritable(FILE* stream) {
    pollfd ready{fileno(stream), POLLOUT, 0};
    if (ready.fd >= 0)
        retryInterrupted([&ready] { return ::poll(&ready, 1, -1); });
}

/// Runs @p call, which drains the stream's buffer and gives EOF when it fails, without SIGPIPE.
template <class Call>
int32_t drainQuietly(FILE* stream, Call&& call) {
    awaitWritable(stream);
    BrokenPipeGuard guard;
    if (call() != EOF)
        return qx::result::Ok;
    if (errno == EPIPE)
        guard.takeSignalBack();
    return lastResult();
}

/// A failure from the first one of the stream on, until somebody clears it: bytes were lost then.
int32_t stateOf(FILE* stream) noexcept {
    return ferror(stream) ? qx::result::Fail : qx::result::Ok;
}

/// True when one more byte stays in the stream's buffer.
bool hasRoomFor(FILE* stream, int byte) {
    return __fpending(stream) + 1 < __fbufsize(stream) && !(byte == '\n' && __flbf(stream));
}

} // namespace

} // namespace qx::platform

using namespace qx::platform;

int32_t QXStdioReadByte(FILE* stream, int32_t* byte) {
    *byte = -1;
    const StreamLock lock(stream);
    const int next = nextByte(stream);
    if (ferror_unlocked(stream))
        return lastResult();
    *byte = next;
    return next == EOF ? qx::result::EndOfFile : qx::result::Ok;
}

int32_t QXStdioReadLine(FILE* stream, void* buffer, int32_t capacity, int32_t* bytesRead) {
    *bytesRead = 0;
    const StreamLock lock(stream);
    auto* const bytes = static_cast<char*>(buffer);
    int32_t count = 0;
    while (count < capacity) {
        const int next = nextByte(stream);
        if (next == EOF)
            break;
        bytes[count++] = static_cast<char>(next);
        if (next == '\n')
            break;
    }
    *bytesRead = count;
    return ferror_unlocked(stream) ? lastResult() : qx::result::Ok;
}

int32_t QXStdioSkip(FILE* stream, int32_t count, int32_t* skipped) {
    *skipped = 0;
    const off_t before = ftello(stream);
    if (before < 0 || fseeko(stream, count, SEEK_CUR) != 0)
        return lastResult();
    const off_t after = ftello(stream);
    if (after < 0)
        return lastResult();
    *skipped = static_cast<int32_t>(after - before);
    return stateOf(stream);
}

int32_t QXStdioWriteByte(FILE* stream, int32_t byte) {
    const StreamLock lock(stream);
    if (const int32_t result = stateOf(stream); result < 0)
        return result;
    if (hasRoomFor(stream, byte))
        return putc_unlocked(byte, stream) == EOF ? lastResult() : qx::result::Ok;
    return drainQuietly(stream, [&] { return putc_unlocked(byte, stream); });
}

int32_t QXStdioWrite(FILE* stream, const void* buffer, int32_t length) {
    if (const int32_t result = stateOf(stream); result < 0)
        return result;
    int32_t written = 0;
    return QXFileWriteAll(static_cast<QXHandle>(fileno(stream)), buffer, length, &written);
}

int32_t QXStdioFlush(FILE* stream) {
    return drainQuietly(stream, [stream] { return fflush(stream); });
}

int32_t QXStdioClose(FILE* stream) {
    return drainQuietly(stream, [stream] { return fclose(stream); });
}
