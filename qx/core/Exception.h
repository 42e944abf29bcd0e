#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <exception>
#include <new>
#include <system_error>

#include <qx/core/ErrorCode.h>
#include <qx/core/Object.h>
#include <qx/core/String.h>
#include <qx/platform/result.h>

namespace qx {

/// Root of what the library throws: a description and the result code that the failure has at a
/// component interface. Thrown by value, caught by reference; the reference count is never used.
///
/// A handler of std::exception catches it too, except an OutOfMemoryException.
class QX_API Exception : public Object, public std::exception {
public:
    Exception() = default;
    /// Shares a text that the string owns and copies any other: what only reads the memory of
    /// somebody else would not live as long. Without memory for a copy the description is empty.
    explicit Exception(const String& description) : m_description(kept(description)) {}

    /// The text given at construction, else empty.
    virtual String getDescription() const;
    virtual int32_t getResult() const;
    /// The text of describe as UTF-8, as it is at the first call. The exception owns it: it is
    /// valid until the exception is destroyed or assigned to, and a copy has one of its own.
    /// Threads that share the exception may ask at the same time. When the text cannot be had, as
    /// for want of memory, there is a fixed one.
    const char* what() const noexcept override;
    /// What the description leaves open, such as the name of the file or key that the exception is
    /// about; empty where the description says all. It is taken as the description is.
    String getDetail() const { return m_detail; }
    void setDetail(const String& detail);
    /// getResult as an error of the standard library.
    std::error_code code() const { return makeErrorCode(getResult()); }

private:
    /// What what() has returned, or null. It is made anew for a copy and after an assignment.
    struct Told {
        Told() noexcept = default;
        Told(const Told&) noexcept {}
        Told& operator=(const Told&) noexcept {
            delete[] text.exchange(nullptr, std::memory_order_relaxed);
            return *this;
        }
        ~Told() { delete[] text.load(std::memory_order_relaxed); }

        std::atomic<char*> text = nullptr;
    };

    static String kept(const String& text) noexcept;

    String m_description;
    String m_detail;
    mutable Told m_told;
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

/// Memory exhaustion, for handlers of Exception and for those of std::bad_alloc.
///
/// Both of its bases are a std::exception, so that it has two of them, and the language gives it to
/// no handler of std::exception, as little as it converts to one. A program that throws it has a
/// handler of one of the two beside that of std::exception. The library itself never throws it:
/// what cannot get memory throws std::bad_alloc.
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

/// An exception with a detail, to be thrown in one expression:
///
///     throw qx::withDetail(qx::Exception(u"Unknown colour"), name);
template <std::derived_from<Exception> Thrown>
Thrown withDetail(Thrown exception, const String& detail) {
    exception.setDetail(detail);
    return exception;
}

/// What there is to say about an exception: its description, its detail, the message of its code,
/// unless the description begins with it, and the code, as "Failed to open shared memory: /frames:
/// not found (0x80070002)" or "not found: settings.ini (0x80070002)". The last two are left out for
/// the unspecified failure; the name of the class, as the compiler knows it where it is not
/// registered, stands for a missing description and detail of it.
QX_API String describe(const Exception& exception);
/// The text of what(), with U+FFFD for what is no UTF-8 in it.
QX_API String describe(const std::exception& exception);

/// Writes the text of describe as UTF-8.
QX_API std::ostream& operator<<(std::ostream& out, const Exception& exception);

} // namespace qx

using CQXException = qx::Exception;
