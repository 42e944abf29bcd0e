#include <qx/io/HeldFlushWriter.h>

#include <mutex>

#include <qx/core/Result.h>

namespace qx::io {

HeldFlushWriter::HeldFlushWriter(Writer* out, uint32_t longest)
    : FilterWriter(out), m_longest(std::chrono::milliseconds(longest)) {}

HeldFlushWriter::~HeldFlushWriter() {
    resultOf([this] { flushHeld(); });
}

void HeldFlushWriter::write(const String& text) {
    const std::lock_guard lock(m_lock);
    FilterWriter::write(text);
}

void HeldFlushWriter::write(const char16_t* text) {
    const std::lock_guard lock(m_lock);
    FilterWriter::write(text);
}

void HeldFlushWriter::write(const char16_t* from, int32_t length) {
    const std::lock_guard lock(m_lock);
    FilterWriter::write(from, length);
}

void HeldFlushWriter::write(char16_t unit) {
    const std::lock_guard lock(m_lock);
    FilterWriter::write(unit);
}

void HeldFlushWriter::flush() {
    const std::lock_guard lock(m_lock);
    const auto now = Clock::now();
    if (!m_isHeld) {
        m_isHeld = true;
        m_heldSince = now;
    }
    if (now - m_heldSince >= m_longest)
        flushHeld();
}

void HeldFlushWriter::close() {
    const std::lock_guard lock(m_lock);
    try {
        flushHeld();
    } catch (...) {
        m_isHeld = false; // nothing is left that could be flushed
        FilterWriter::close();
        throw;
    }
    FilterWriter::close();
}

void HeldFlushWriter::release() {
    const std::lock_guard lock(m_lock);
    flushHeld();
}

void HeldFlushWriter::flushHeld() {
    if (!m_isHeld)
        return;
    FilterWriter::flush();
    m_isHeld = false;
}

} // namespace qx::io
