#pragma once

#include <cstdint>

#include <qx/core/AnyText.h>
#include <qx/core/Object.h>

namespace qx::io {

/// A sink of UTF-16 code units. A concrete writer supplies the block write; everything else has a
/// default that rests on it.
///
/// Counts are in units. Writers are used by one thread at a time. Destroying a writer that wraps
/// another sink releases it and neither flushes nor closes it.
class QX_API Writer : public Object {
public:
    /// @throws ResultException when the text cannot expose its units
    virtual void write(const String& text);
    /// Writes up to the terminating 0 unit; nothing for null.
    virtual void write(const char16_t* text);
    /// Writes all @p length units.
    virtual void write(const char16_t* from, int32_t length) = 0;
    virtual void write(char16_t unit);
    /// Texts in other forms: views, strings of the standard library, UTF-8.
    void write(const OtherText auto& text) { write(stringOf(text)); }
    /// Passes on what the writer holds back. The default does nothing.
    virtual void flush();
    /// Gives up what the writer holds, without a flush. The default does nothing.
    virtual void close();
};

} // namespace qx::io

using CQXWriter = qx::io::Writer;
