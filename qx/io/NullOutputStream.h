#pragma once

#include <qx/io/OutputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Discards everything.
class QX_API NullOutputStream : public OutputStream {
public:
    using OutputStream::write;
    void write(const signed char* from, int32_t length) override;
    void write(signed char byte) override;
};

} // namespace qx::io

using CQXNullOutputStream = qx::io::NullOutputStream;
