#pragma once

#include <cstdint>

#include <qx/core/ProcessMark.h>
#include <qx/io/FilterWriter.h>
#include <qx/platform/export.h>
#include <qx/sync/ForkSafeMutex.h>

namespace qx::io {

namespace detail {
class Utf8Turn;
struct Utf8Writers;
} // namespace detail

/// Holds back the flushes of the writer that it wraps, so that what is flushed often reaches a file
/// in large pieces. A held-back flush is carried out by release, by the first flush that is asked
/// for when the time bound has passed since the oldest one held back, by close and by the
/// destructor. The writer has no timer: call release when nothing more is written
/// for a while.
///
/// Everything written is passed on at once, so the wrapped writer has to have a buffer. A flush
/// that fails stays held back; whoever carries it out gets the failure, only the destructor
/// swallows it. In a child made by fork the destructor carries out none: what was written before
/// the fork is its parent's to flush.
///
/// Any thread may call any member; the calls reach the wrapped writer one at a time.
class QX_API HeldFlushWriter : public FilterWriter {
public:
    static constexpr uint32_t DefaultLongest = 100;

    /// @param longest  time bound in milliseconds; one of 50 or more is kept to within 10
    explicit HeldFlushWriter(Writer* out, uint32_t longest = DefaultLongest);
    ~HeldFlushWriter() override;

    using FilterWriter::write;
    void write(const String& text) override;
    void write(const char16_t* text) override;
    void write(const char16_t* from, int32_t length) override;
    void write(char16_t unit) override;
    /// Holds the flush back, or carries it out when the time bound has passed.
    void flush() override;
    /// Carries out a flush that is held back and closes the writer, also when that fails.
    void close() override;

    /// Carries out a flush that is held back, if there is one.
    void release();

private:
    friend class detail::Utf8Turn;
    friend struct detail::Utf8Writers;

    int64_t now() const;
    void holdFlush();
    void flushHeld();

    sync::ForkSafeMutex m_lock;
    const int64_t m_longest; // microseconds, as m_heldSince
    const ProcessMark m_mark;
    bool m_isHeld = false;
    int64_t m_heldSince = 0;
};

} // namespace qx::io
