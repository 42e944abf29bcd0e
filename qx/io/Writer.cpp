#include <qx/io/Writer.h>

#include <qx/core/String.h>
#include <qx/platform/text.h>

namespace qx::io {

namespace {

/// Keeps the units of a string in place while they are written.
class ReadLock {
public:
    explicit ReadLock(const String& text) : m_text(text), m_units(text.getReadLock()) {}
    ~ReadLock() { m_text.ReleaseReadLock(); }
    ReadLock(const ReadLock&) = delete;
    ReadLock& operator=(const ReadLock&) = delete;

    const char16_t* units() const { return m_units; }

private:
    const String& m_text;
    const char16_t* m_units;
};

} // namespace

void Writer::write(const String& text) {
    const ReadLock lock(text);
    write(lock.units(), text.getLength());
}

void Writer::write(const char16_t* text) { write(text, QXStrLenW_32(text)); }

void Writer::write(char16_t unit) { write(&unit, 1); }

void Writer::flush() {}

void Writer::close() {}

} // namespace qx::io
