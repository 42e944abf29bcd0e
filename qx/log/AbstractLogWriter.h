#pragma once

#include <atomic>
#include <cstdint>

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/Writer.h>
#include <qx/log/ILogProcessor.h>
#include <qx/platform/export.h>
#include <qx/sync/ForkSafeMutex.h>

namespace qx::io {
class HeldFlushWriter;
class OutputStreamWriter;
} // namespace qx::io

namespace qx::log {

namespace detail {
class FieldSource;
class OwnTarget;
struct Record;
class Utf8Text;
} // namespace detail

/// The end of a chain of processors: turns each entry into text and writes it to a character
/// writer, with one write and one flush per entry. What these throw passes through; the part of the
/// entry that was written by then stays written. The writer is never closed. Half a surrogate pair,
/// which most encodings refuse, is written as U+FFFD.
///
/// Any thread may call process; the entries are formatted and written one after the other. A child
/// made by fork may go on writing to a writer that holds nothing back; when another thread was in
/// the middle of an entry at that moment, process throws IllegalStateException there.
class QX_API AbstractLogWriter : public qx::pcom::Implements<Object, ILogProcessor> {
public:
    /// Flushes the writer.
    virtual void flush();

    /// How many entries process has thrown for. They were not written, or only in part; but when
    /// only the flush failed, a writer that holds text back may still write the entry with the next
    /// one. Any thread may ask.
    uint64_t getLostCount() const noexcept { return m_lostCount; }

protected:
    /// @param writer  kept by a reference
    /// @throws ResultException with result::NullPointer for null
    explicit AbstractLogWriter(io::Writer* writer);

    /// The text to write for @p entry; called by process alone.
    virtual String format(const ILogEntry* entry) = 0;

    /// An empty text for format to fill and return. It keeps the memory of earlier entries, so that
    /// format seldom has to allocate any.
    String takeText();
    io::Writer& writer() const noexcept { return *m_writer; }

public:
    /// Writes the text that format gives and calls flush.
    void process(const ILogEntry* entry) override;

private:
    friend class detail::OwnTarget;
    friend class BasicLogWriter;
    friend class LineLogWriter;
    friend class XmlLogWriter;

    /// Appends what format makes of the fields; for objects of exactly one class.
    using Encode = void (*)(const AbstractLogWriter& self, const detail::FieldSource& fields,
                            detail::Utf8Text& text);

    void encodeBy(Encode encode) noexcept;
    template <class Body>
    auto counted(Body&& body);
    void write(const ILogEntry* entry);
    bool tryWriteBytes(const detail::FieldSource& fields);
    bool takesRecords() const noexcept { return m_encode != nullptr; }
    bool tryProcess(const detail::Record& record);

    const Reference<io::Writer> m_writer;
    sync::ForkSafeMutex m_lock;
    std::atomic<uint64_t> m_lostCount{0};
    String m_spare; // kept for its room; guarded by m_lock
    /// Null where format may be that of a derived class, or the bytes of the writer are out of
    /// reach.
    Encode m_encode = nullptr;
    io::OutputStreamWriter* m_out = nullptr;
    io::HeldFlushWriter* m_held = nullptr; // in front of it, or null
};

} // namespace qx::log
