#include "qx/platform/process.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <fcntl.h>
#include <memory>
#include <new>
#include <unistd.h>
#include <utility>

#include <qx/platform/result.h>

#include <qx/platform/posix/WaitEnd.h>
#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/files/BrokenPipeGuard.h>
#include <qx/platform/posix/handle.h>

using namespace qx;
using namespace qx::platform;

namespace {

/// As much as a pipe holds, so that one read takes all that is there.
constexpr size_t BlockSize = 65536;

/// The bytes that go to a child, and the end of the pipe that they go into.
class Input {
public:
    Input(Descriptor pipe, const void* bytes, size_t length) noexcept
        : m_pipe(std::move(pipe)), m_next(static_cast<const char*>(bytes)), m_left(length) {
        // It has no other user, and is closed at the end.
        const int flags = m_pipe ? ::fcntl(m_pipe.get(), F_GETFL) : 0;
        if (m_pipe && m_left > 0)
            ::fcntl(m_pipe.get(), F_SETFL, flags | O_NONBLOCK);
        closeAtEnd();
    }

    /// -1 when nothing is left to give.
    int descriptor() const noexcept { return m_pipe.get(); }

    /// Gives what the child has room for.
    int32_t give(BrokenPipeGuard& guard) noexcept {
        const ssize_t count =
            retryInterrupted([this] { return ::write(m_pipe.get(), m_next, m_left); });
        if (count >= 0) {
            m_next += count;
            m_left -= static_cast<size_t>(count);
        } else if (errno == EPIPE) {
            guard.takeSignalBack();
            m_left = 0; // the child wants no more
        } else if (errno != EAGAIN) {
            return lastResult();
        }
        closeAtEnd();
        return result::Ok;
    }

private:
    void closeAtEnd() noexcept {
        if (m_left == 0)
            m_pipe = Descriptor();
    }

    Descriptor m_pipe;
    const char* m_next;
    size_t m_left;
};

/// Hands on what has come in on a pipe, and leaves it out from then on when that is at its end.
int32_t take(pollfd& pipe, int32_t stream, char* block, QXProcessReceiver receive, void* context) {
    const ssize_t count = retryInterrupted([&] { return ::read(pipe.fd, block, BlockSize); });
    if (count < 0)
        return lastResult();
    if (count > 0)
        return receive(context, stream, block, static_cast<size_t>(count));
    pipe.fd = -1;
    return result::Ok;
}

} // namespace

int32_t QXProcessExchange(QXHandle* streams, const void* input, size_t length,
                          uint32_t milliseconds, QXProcessReceiver receive, void* context) {
    if (streams == nullptr)
        return result::NullPointer;
    Descriptor pipe(descriptorOf(std::exchange(streams[0], NoHandle)));
    if (receive == nullptr || (input == nullptr && length > 0))
        return result::NullPointer;
    if (!pipe && length > 0)
        return result::InvalidHandle;
    const std::unique_ptr<char[]> block(new (std::nothrow) char[BlockSize]);
    if (!block)
        return result::OutOfMemory;

    TimeLimit limit;
    if (milliseconds != QX_PROCESS_NO_LIMIT)
        limit = std::chrono::milliseconds(milliseconds);
    const WaitEnd end(limit);
    BrokenPipeGuard guard;
    Input giving(std::move(pipe), input, length);
    pollfd pipes[] = {{-1, POLLOUT, 0},
                      {descriptorOf(streams[1]), POLLIN, 0},
                      {descriptorOf(streams[2]), POLLIN, 0}};
    for (bool isLate = false;;) {
        pipes[0].fd = giving.descriptor();
        if (std::ranges::all_of(pipes, [](const pollfd& each) { return each.fd < 0; }))
            return result::Ok;
        // Also when a child writes all the time.
        if (isLate)
            return result::TimedOut;
        const int ready = end.poll(pipes, std::size(pipes));
        if (ready == -1)
            return lastResult();
        for (int stream = 0; stream < static_cast<int>(std::size(pipes)); ++stream) {
            pollfd& each = pipes[stream];
            if (each.fd < 0 || each.revents == 0)
                continue;
            if ((each.revents & POLLNVAL) != 0)
                return result::InvalidHandle;
            const int32_t result = stream == 0 ? giving.give(guard)
                                               : take(each, stream, block.get(), receive, context);
            if (result < 0)
                return result;
        }
        isLate = end.hasPassed();
    }
}
