#pragma once

#include <qx/core/Reference.h>
#include <qx/log/AbstractLogWriter.h>
#include <qx/platform/export.h>

namespace qx::log {

/// Writes entries as plain text: a line of name, "=" and value for each field, in the order of the
/// entry's set of names, then a line of 25 hyphens. Lines end with a line feed. Nothing is escaped:
/// a value with a line feed goes on in the next line.
class QX_API BasicLogWriter : public AbstractLogWriter {
public:
    /// @param writer  kept by a reference
    /// @throws ResultException with result::NullPointer for null
    static Reference<ILogProcessor> create(io::Writer* writer);

protected:
    String format(const ILogEntry* entry) override;

private:
    static void encode(const AbstractLogWriter& self, const detail::FieldSource& fields,
                       detail::Utf8Text& text);

    using AbstractLogWriter::AbstractLogWriter;
};

} // namespace qx::log
