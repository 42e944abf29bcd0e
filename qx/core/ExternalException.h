#pragma once

#include <qx/core/Exception.h>

namespace qx {

/// Base of the processor and operating-system faults. The library never throws this family: an
/// application that turns faults into exceptions does, from a signal handler's record for example.
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

class QX_API AccessViolationException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

class QX_API ArrayBoundsException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

class QX_API IllegalInstructionException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

class QX_API StackOverflowException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

/// The user broke the operation off, for example with Control-C at a console prompt.
class QX_API UserAbortException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

class QX_API IntErrorException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

class QX_API IntDivByZeroException : public IntErrorException {
public:
    using IntErrorException::IntErrorException;
};

class QX_API IntOverflowException : public IntErrorException {
public:
    using IntErrorException::IntErrorException;
};

class QX_API MathErrorException : public ExternalException {
public:
    using ExternalException::ExternalException;
};

class QX_API MathDivByZeroException : public MathErrorException {
public:
    using MathErrorException::MathErrorException;
};

class QX_API MathInvalidOpException : public MathErrorException {
public:
    using MathErrorException::MathErrorException;
};

class QX_API MathOverflowException : public MathErrorException {
public:
    using MathErrorException::MathErrorException;
};

class QX_API MathUnderflowException : public MathErrorException {
public:
    using MathErrorException::MathErrorException;
};

} // namespace qx
