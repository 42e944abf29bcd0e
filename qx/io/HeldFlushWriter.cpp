#include "qx/io/HeldFlushWriter.h"

#include <chrono>
#include <mutex>

#include <qx/core/Result.h>
#include <qx/platform/time.h>

namespace qx::io {

namespace {

constexpr int64_t Microseconds = 1000; // in a millisecond
/// From this bound on the steps of the quick clock do not matter. Reading the exact one would be a
/// tenth of what it takes to write a line of a log.
constexpr int64_t Coarse = 50 * Microseconds;

} // namespace

HeldFlushWriter::HeldFlushWriter(Writer* out, uint32_t longest)
    : FilterWriter(out), m_longest(longest * Microseconds) {}

HeldFlushWriter::~HeldFlushWriter() {
    if (!m_mark.isFromParent())
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
    holdFlush();
}

/// For holders of the lock, as flushHeld.
void HeldFlushWriter::holdFlush() {
    const int64_t time = now();
    if (!m_isHeld) {
        m_isHeld = true;
        m_heldSince = time;
    }
    if (time - m_heldSince >= m_longest)
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

int64_t HeldFlushWriter::now() const {
    if (m_longest >= Coarse)
        return QXTimeGetTicks() * Microseconds;
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

void HeldFlushWriter::flushHeld() {
    if (!m_isHeld)
        return;
    FilterWriter::flush();
    m_isHeld = false;
}

} // namespace qx::io
