#pragma once

#include <qx/io/FilterSink.h>
#include <qx/io/Writer.h>
#include <qx/platform/export.h>

namespace qx::io {

extern template class QX_API FilterSink<Writer, char16_t>;

/// Forwards every operation to the same operation of the writer it wraps; the base of writers that
/// change a few.
class QX_API FilterWriter : public FilterSink<Writer, char16_t> {
public:
    explicit FilterWriter(Writer* out) : FilterSink(out) {}

    using FilterSink::write;
    void write(const String& text) override;
    void write(const char16_t* text) override;
};

} // namespace qx::io

using CQXFilterWriter = qx::io::FilterWriter;
