#pragma once

#include <qx/io/Writer.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Discards everything.
class QX_API NullWriter : public Writer {
public:
    void write(const String& text) override;
    void write(const char16_t* text) override;
    void write(const char16_t* from, int32_t length) override;
    void write(char16_t unit) override;
};

} // namespace qx::io

using CQXNullWriter = qx::io::NullWriter;
