#pragma once

#include <qx/core/String.h>
#include <qx/io/Writer.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Collects text in a string.
class QX_API StringWriter : public Writer {
public:
    StringWriter() = default;
    /// @param capacity  units that the text may grow to without new memory
    explicit StringWriter(int capacity) : m_text(capacity) {}
    StringWriter(const StringWriter& other) : Writer(), m_text(other.m_text) {}

    using Writer::write;
    void write(const char16_t* from, int32_t length) override;

    /// The text so far. Writing may go on afterwards.
    String toString() const override { return m_text; }

private:
    String m_text;
};

} // namespace qx::io

using CQXStringWriter = qx::io::StringWriter;
