#pragma once

#include <cstdint>

#include <qx/io/InputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Reads keystrokes from the console without echo, for passwords and the like.
class QX_API MaskedConsoleInputStream : public InputStream {
public:
    using InputStream::read;
    /// Reads up to a line end (stored as LF and counted), Control-Z (not stored) or @p length
    /// bytes; backspace takes the last byte back.
    /// @return the number of bytes stored, or -1 when the user stored none
    /// @throws UserAbortException for Control-C
    int32_t read(signed char* to, int32_t length) override;
};

} // namespace qx::io

using CQXMaskedConsoleInputStream = qx::io::MaskedConsoleInputStream;
