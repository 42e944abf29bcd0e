#pragma once

#include <qx/core/Exception.h>

namespace qx {

/// Base of the faults of the processor and the operating system, for programs that turn them into
/// exceptions. The library itself throws none of this family but UserAbortException.
///
/// Where a program learns of a fault it throws the class that fits, with the record it was given;
/// whoever catches ExternalException can tell a fault from the failures that code reports:
///
///     void onDivision(const siginfo_t* record) { // in the thread that failed
///         throw qx::IntDivByZeroException(record);
///     }
///
/// A handler that throws needs code that was compiled with -fnon-call-exceptions, and only a fault
/// of the thread's own instruction may be thrown from one. The result code is 0x80004005 and the
/// description empty, unless a derived class says otherwise.
class QX_API ExternalException : public Exception {
public:
    /// @param record  the operating system's description of the fault; not owned, may be null
    explicit ExternalException(const void* record) : m_record(record) {}

    /// The record given at construction. Only valid as long as its giver says.
    const void* getRecord() const noexcept { return m_record; }

protected:
    ExternalException();

private:
    const void* m_record = nullptr;
};

/// Memory was used that is not there or must not be used so.
class QX_API AccessViolationException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

/// An index was outside of its array, as the processor found.
class QX_API ArrayBoundsException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

/// The processor does not know an instruction, or may not execute it.
class QX_API IllegalInstructionException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

/// A thread needed more stack than it has.
class QX_API StackOverflowException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

/// The user broke the operation off, for example with Control-C at a console prompt.
class QX_API UserAbortException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

/// Base of the faults of arithmetic with integers.
class QX_API IntErrorException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

/// An integer was divided by 0.
class QX_API IntDivByZeroException : public IntErrorException {
public:
    using IntErrorException::IntErrorException;
};

/// The result of an operation with integers does not fit.
class QX_API IntOverflowException : public IntErrorException {
public:
    using IntErrorException::IntErrorException;
};

/// Base of the faults of arithmetic with floating point.
class QX_API MathErrorException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

/// A floating-point number was divided by 0.
class QX_API MathDivByZeroException : public MathErrorException {
public:
    using MathErrorException::MathErrorException;
};

/// The operation has no result for these numbers, as the root of -1.
class QX_API MathInvalidOpException : public MathErrorException {
public:
    using MathErrorException::MathErrorException;
};

/// The result is too large for its floating-point type.
class QX_API MathOverflowException : public MathErrorException {
public:
    using MathErrorException::MathErrorException;
};

/// The result is so small that digits of it are lost.
class QX_API MathUnderflowException : public MathErrorException {
public:
    using MathErrorException::MathErrorException;
};

} // namespace qx
