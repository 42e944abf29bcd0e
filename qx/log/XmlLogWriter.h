#pragma once

#include <cstdint>

#include <qx/core/ProcessMark.h>
#include <qx/core/Reference.h>
#include <qx/log/AbstractLogWriter.h>
#include <qx/platform/export.h>

namespace qx::log {

/// Writes entries as elements of one XML document: its declaration, which names UTF-8 whatever the
/// encoding of the writer, and the start of the root element `log` come with the constructor, its
/// end with the destructor. An entry is an element `entry` with an element for each field, in the
/// order of the entry's set of names:
///
///       <entry>
///         <text> what was logged </text>
///       </entry>
///
/// A child made by fork does not end the document, which is its parent's.
///
/// What the destination holds is never looked at. A failure of the writer in the destructor is
/// swallowed; the document then lacks its end.
class QX_API XmlLogWriter : public AbstractLogWriter {
public:
    enum class Escaping {
        /// Names and values are written as they are. A name may carry attributes behind a blank:
        /// the element ends with what stands before it.
        None,
        /// The document is well-formed whatever was logged. In values the characters & < > " ' and
        /// the carriage return become references, so that a parser gives them back; what XML 1.0
        /// does not allow, lone surrogates among it, becomes U+FFFD. A field whose name consists of
        /// ASCII letters, digits, "_", "-" and "." and begins with a letter or "_" has an element
        /// of that name. Any other name is cut at its first blank, each unit that does not fit
        /// becomes "_" and "_" is put in front of a beginning that does not fit; the whole name
        /// stands escaped in the attribute `name` of the element.
        WellFormed,
    };

    /// Writes the beginning of the document.
    /// @param writer  kept by a reference
    /// @throws ResultException with result::NullPointer for null; what the writer throws
    static Reference<ILogProcessor> create(io::Writer* writer, Escaping escaping = Escaping::None);

    ~XmlLogWriter() override;

protected:
    String format(const ILogEntry* entry) override;

private:
    XmlLogWriter(io::Writer* writer, Escaping escaping);

    static void encode(const AbstractLogWriter& self, const detail::FieldSource& fields,
                       detail::Utf8Text& text);

    const Escaping m_escaping;
    const ProcessMark m_begun; // in the process that ends the document, too
};

} // namespace qx::log
