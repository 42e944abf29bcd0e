#pragma once

#include <qx/io/FilterSource.h>
#include <qx/io/InputStream.h>
#include <qx/platform/export.h>

namespace qx::io {

extern template class QX_API FilterSource<InputStream, signed char>;

/// Forwards every operation to the stream it wraps; the base of streams that change a few.
class QX_API FilterInputStream : public FilterSource<InputStream, signed char> {
public:
    explicit FilterInputStream(InputStream* in) : FilterSource(in) {}
    ~FilterInputStream() override;
};

} // namespace qx::io

using CQXFilterInputStream = qx::io::FilterInputStream;
