#pragma once

#include <cstdint>

#include <qx/core/Reference.h>
#include <qx/io/OutputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

/// The C library's standard output, for programs whose other output goes through std::printf or
/// std::cout. Single bytes go through the buffer of the C library, blocks straight to its
/// descriptor: flush between the two, and flush stdout before the first block. Closing the stream
/// or destroying it leaves standard output open. Used by one thread at a time.
///
///     auto out = makeReference<OutputStreamWriter>(makeReference<StdioOutputStream>(), u"UTF-8");
///     PrintWriter printer(out);
///     printer.println(u"done");
///     printer.flush(); // without it the text stays in the writer's buffer
class QX_API StdioOutputStream : public OutputStream {
public:
    using OutputStream::write;
    /// @throws IoException "stream write error" when not everything was written, now or earlier:
    ///     the C library drops what it could not write and remembers that it failed
    void write(const signed char* from, int32_t length) override;
    void write(signed char byte) override;
    /// @throws IoException "stream flush error"
    void flush() override;

    /// A new stream of the same kind over the C library's standard error.
    static Reference<OutputStream> getStdErrorStream();
};

} // namespace qx::io

using CQXStdioOutputStream = qx::io::StdioOutputStream;
