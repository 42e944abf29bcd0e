#pragma once

#include <qx/io/FilterSource.h>
#include <qx/io/Reader.h>
#include <qx/platform/export.h>

namespace qx::io {

extern template class QX_API FilterSource<Reader, char16_t>;

/// Forwards every operation to the reader it wraps; the base of readers that change a few.
class QX_API FilterReader : public FilterSource<Reader, char16_t> {
public:
    explicit FilterReader(Reader* in) : FilterSource(in) {}
    ~FilterReader() override;
};

} // namespace qx::io

using CQXFilterReader = qx::io::FilterReader;
