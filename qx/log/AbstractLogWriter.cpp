#include "qx/log/AbstractLogWriter.h"

#include <mutex>
#include <utility>

#include <qx/core/Required.h>
#include <qx/io/detail/Utf8Turn.h>
#include <qx/log/detail/FieldSource.h>
#include <qx/log/detail/FieldWalk.h>

namespace qx::log {

namespace {

/// One long text does not bind its memory for good.
constexpr int32_t LongestSpare = 1 << 16;

} // namespace

AbstractLogWriter::AbstractLogWriter(io::Writer* writer)
    : m_writer(required(writer)), m_lock("qx::log::AbstractLogWriter::m_lock") {}

void AbstractLogWriter::flush() { m_writer->flush(); }

String AbstractLogWriter::takeText() {
    String text;
    text.swap(m_spare);
    text.clear();
    return text;
}

/// What @p body returns; counts the entry that it throws for.
template <class Body>
auto AbstractLogWriter::counted(Body&& body) {
    try {
        return body();
    } catch (...) {
        ++m_lostCount;
        throw;
    }
}

void AbstractLogWriter::process(const ILogEntry* entry) {
    required(entry);
    counted([&] { write(entry); });
}

/// Lets entries of ours be written by @p encode where that cannot be told from a call of format.
void AbstractLogWriter::encodeBy(Encode encode) noexcept {
    const auto writers = io::detail::Utf8Writers::behind(*m_writer);
    m_encode = writers.out ? encode : nullptr;
    m_out = writers.out;
    m_held = writers.held;
}

void AbstractLogWriter::write(const ILogEntry* entry) {
    // Two threads come here also behind a single worker: at shutdown, the one that destroys the
    // queue may not wait for the other.
    const std::lock_guard lock(m_lock);
    m_lock.requireWhole();
    const LogEntry* const known = m_encode ? detail::asLogEntry(*entry) : nullptr;
    if (known && tryWriteBytes(detail::FieldSource(*known)))
        return;
    String text = format(entry);
    text.toWellFormed(); // half a character costs no entry
    m_writer->write(text.getData(), text.getLength());
    flush();
    if (text.getLength() <= LongestSpare)
        m_spare.swap(text);
}

/// Writes and flushes without making UTF-16 of the fields; false when that cannot be, and nothing
/// has happened.
bool AbstractLogWriter::tryWriteBytes(const detail::FieldSource& fields) {
    io::detail::Utf8Turn turn({m_held, m_out});
    detail::Utf8Text text(turn.room());
    m_encode(*this, fields, text);
    if (text.size() == 0)
        return false;
    turn.write(text.size());
    turn.flush();
    return true;
}

/// See OwnTarget::tryProcess.
bool AbstractLogWriter::tryProcess(const detail::Record& record) {
    if (!takesRecords())
        return false;
    return counted([&] {
        const std::lock_guard lock(m_lock);
        m_lock.requireWhole();
        return tryWriteBytes(detail::FieldSource(record));
    });
}

} // namespace qx::log
