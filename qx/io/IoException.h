#pragma once

#include <qx/core/Exception.h>

namespace qx::io {

/// Failure of an input or output operation that has no result code of its own.
class QX_API IoException : public Exception {
public:
    using Exception::Exception;
};

/// A timed input or output operation ran out of time.
class QX_API TimeoutException : public IoException {
public:
    using IoException::IoException;
};

/// A read needed more data than the stream had left. Not an IoException: the stream is sound.
class QX_API UnexpectedEOFException : public Exception {
public:
    using Exception::Exception;
};

/// Throws IoException with a nul-terminated description.
[[noreturn]] QX_API void throwIo(const char16_t* description);

} // namespace qx::io

using CQXIoException = qx::io::IoException;
using CQXTimeoutException = qx::io::TimeoutException;
using CQXUnexpectedEOFException = qx::io::UnexpectedEOFException;
