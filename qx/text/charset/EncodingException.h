#pragma once

#include <qx/core/Exception.h>

namespace qx::text::charset {

/// Input of a converter that is no text in its encoding.
class QX_API InvalidCharacterException : public Exception {
public:
    using Exception::Exception;
    int32_t getResult() const override;
};

/// A character that the target encoding cannot express, with substitution switched off.
class QX_API UnmappableCharacterException : public Exception {
public:
    using Exception::Exception;
    int32_t getResult() const override;
};

/// No converter is known for the encoding whose name is the description.
class QX_API UnknownEncodingException : public Exception {
public:
    using Exception::Exception;
    int32_t getResult() const override;
};

} // namespace qx::text::charset
