#pragma once

#include <cstdint>
#include <new>
#include <system_error>

#include <qx/core/ErrorCode.h>
#include <qx/core/Object.h>
#include <qx/core/String.h>
#include <qx/platform/result.h>

namespace qx {

/// Root of what the library throws: a description and the result code that the failure has at a
/// component interface. Thrown by value, caught by reference; the reference count is never used.
class QX_API Exception : public Object {
public:
    Exception() = default;
    explicit Exception(const String& description) : m_description(description) {}

    /// The text given at construction, else empty.
    virtual String getDescription() const;
    virtual int32_t getResult() const;
    /// getResult as an error of the standard library.
    std::error_code code() const { return makeErrorCode(getResult()); }

private:
    String m_description;
};

/// Failure of a platform or interface call, with its result code.
class QX_API ResultException : public Exception {
public:
    ResultException() = default;
    explicit ResultException(int32_t result) : m_result(result) {}
    ResultException(int32_t result, const String& description)
        : Exception(description), m_result(result) {}

    int32_t getResult() const override;

private:
    int32_t m_result = result::Fail;
};

/// Memory exhaustion, also for handlers of std::bad_alloc.
class QX_API OutOfMemoryException : public Exception, public std::bad_alloc {
public:
    using Exception::Exception;

    int32_t getResult() const override;
    /// "bad allocation"
    const char* what() const noexcept override;
};

/// A value of the wrong runtime class.
class QX_API CastFailedException : public Exception {
public:
    using Exception::Exception;
};

/// No class is registered under the name or type in the description.
class QX_API ClassNotFoundException : public Exception {
public:
    using Exception::Exception;
};

/// clone of a class that cannot be copied.
class QX_API CloneNotSupportedException : public Exception {
public:
    using Exception::Exception;
};

/// createInstance of a class without a creator.
class QX_API IllegalAccessException : public Exception {
public:
    using Exception::Exception;
};

/// An operation in the wrong state of its object.
class QX_API IllegalStateException : public Exception {
public:
    using Exception::Exception;
};

/// A malformed file or network path.
class QX_API InvalidPathException : public Exception {
public:
    using Exception::Exception;
};

/// An index, position or count out of range.
class QX_API RangeErrorException : public Exception {
public:
    using Exception::Exception;
};

/// A write to a read-only buffer or collection.
class QX_API ReadOnlyException : public Exception {
public:
    using Exception::Exception;
};

/// An optional operation that the class does not offer.
class QX_API UnsupportedOperationException : public Exception {
public:
    using Exception::Exception;
};

/// What there is to say about an exception: its description, the message of its code and the code,
/// as "Failed to attach shared memory: not found (0x80070002)". The last two are left out for the
/// unspecified failure; the name of the class stands for a missing description of it.
QX_API String describe(const Exception& exception);

/// Writes the text of describe as UTF-8.
QX_API std::ostream& operator<<(std::ostream& out, const Exception& exception);

} // namespace qx

using CQXException = qx::Exception;
