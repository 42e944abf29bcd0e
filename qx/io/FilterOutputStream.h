#pragma once

#include <qx/io/FilterSink.h>
#include <qx/io/OutputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

extern template class QX_API FilterSink<OutputStream, signed char>;

/// Forwards every operation to the stream it wraps; the base of streams that change a few.
class QX_API FilterOutputStream : public FilterSink<OutputStream, signed char> {
public:
    explicit FilterOutputStream(OutputStream* out) : FilterSink(out) {}
    ~FilterOutputStream() override;
};

} // namespace qx::io

using CQXFilterOutputStream = qx::io::FilterOutputStream;
