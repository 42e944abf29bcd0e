#pragma once

#include <cstdint>
#include <cstdio>

#include <qx/io/OutputStream.h>

namespace qx::io::detail {

/// The writes and the flush of the streams over a C stream.
/// @throws IoException "stream write error" or "stream flush error"
void writeStdio(std::FILE* file, const signed char* from, int32_t length);
void writeStdio(std::FILE* file, signed char byte);
void flushStdio(std::FILE* file);

/// Any C stream: StdioOutputStream for a stream other than standard output.
class QX_API StdioFileOutputStream : public OutputStream {
public:
    /// @param owns  true to close the C stream on destruction
    StdioFileOutputStream(std::FILE* file, bool owns) noexcept : m_file(file), m_owns(owns) {}
    StdioFileOutputStream(const StdioFileOutputStream&) = delete;
    StdioFileOutputStream& operator=(const StdioFileOutputStream&) = delete;
    ~StdioFileOutputStream() override;

    using OutputStream::write;
    void write(const signed char* from, int32_t length) override;
    void write(signed char byte) override;
    void flush() override;

private:
    std::FILE* m_file;
    bool m_owns;
};

} // namespace qx::io::detail
