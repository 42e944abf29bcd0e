#pragma once

#include <cstdint>

#include <qx/io/InputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Reads keystrokes from the console without echo, for passwords and the like.
///
///     qx::io::MaskedConsoleInputStream console;
///     signed char typed[128];
///     const int32_t length = console.read(typed, sizeof typed); // a line, with its LF
///
/// The console is the terminal of the process, whatever standard input is; where there is none it
/// is standard input. A read switches the echo
/// off and restores the terminal before it returns or throws, and when the process is stopped or
/// ended by a signal meanwhile. Used by one thread at a time. The bytes are those the terminal
/// sends, nearly always UTF-8; overwrite the buffer when the secret is no longer needed.
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
