#include "qx/log/AbstractLogWriter.h"

#include <mutex>
#include <utility>

#include <qx/core/Required.h>

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

void AbstractLogWriter::process(const ILogEntry* entry) {
    required(entry);
    try {
        write(entry);
    } catch (...) {
        ++m_lostCount;
        throw;
    }
}

void AbstractLogWriter::write(const ILogEntry* entry) {
    // Two threads come here also behind a single worker: at shutdown, the one that destroys the
    // queue may not wait for the other.
    const std::lock_guard lock(m_lock);
    m_lock.requireWhole();
    String text = format(entry);
    m_writer->write(text.getData(), text.getLength());
    flush();
    if (text.getLength() <= LongestSpare)
        m_spare.swap(text);
}

} // namespace qx::log
