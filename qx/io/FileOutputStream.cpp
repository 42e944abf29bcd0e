#include "qx/io/FileOutputStream.h"

#include <string>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/io/detail/OpenFile.h>
#include <qx/ipc/detail/Turn.h>
#include <qx/util/FilePath.h>
#include <qx/util/SystemName.h>

namespace qx::io {

namespace {

/// Name of the lock that all writers of the file @p name share, whichever slash they write.
std::string semaphoreName(const String& name) {
    String slashed(name);
    return util::toSystemName(slashed.translate(u'\\', u'/'));
}

} // namespace

/// Closes the file at the end of a scope, where the mode wants it closed between operations.
class FileOutputStream::ClosedAfter {
public:
    explicit ClosedAfter(FileOutputStream& stream) : m_stream(stream) {}
    ~ClosedAfter() {
        if (m_stream.keepsClosed() && m_stream.m_file.isOpen())
            resultOf([this] { m_stream.close(); });
    }
    ClosedAfter(const ClosedAfter&) = delete;
    ClosedAfter& operator=(const ClosedAfter&) = delete;

private:
    FileOutputStream& m_stream;
};

FileOutputStream::FileOutputStream(const util::FilePath& name, unsigned int mode)
    : FileOutputStream(name.toString(), mode) {}

// The name is copied, because files are opened again: a string may stand for units that somebody
// else keeps.
FileOutputStream::FileOutputStream(const String& name, unsigned int mode)
    : FileOutputStream(name, mode, FilePermissions::AllForOwner) {}

FileOutputStream::FileOutputStream(const String& name, unsigned int mode,
                                   FilePermissions permissions)
    : m_name(name, String::AM_COPY), m_mode(mode), m_permissions(permissions) {
    init();
}

FileOutputStream::FileOutputStream(const util::FilePath& name, bool append)
    : FileOutputStream(name.toString(), append) {}

FileOutputStream::FileOutputStream(const String& name, bool append)
    : FileOutputStream(name, append ? ATEND : TRUNC) {}

void FileOutputStream::init() {
    requireName();
    if ((m_mode & (APPEND | KEEPCLOSED | LOCK)) != 0)
        m_mutex = makeReference<sync::Mutex>();
    if ((m_mode & (APPEND | LOCK)) != 0)
        m_semaphore = makeReference<ipc::SemaphoreR>(semaphoreName(m_name).c_str(), 1u, m_mutex);
    m_path = util::anchoredName(detail::systemNameOf(m_name)); // it may be opened again
    const ClosedAfter closed(*this);
    openFile((m_mode & TRUNC) != 0);
}

void FileOutputStream::write(const signed char* from, int32_t length) {
    // The turn is waited for without the mutex: its holder in this process may need the mutex to
    // get to the end of its turn.
    const ipc::detail::Turn turn(m_semaphore.get());
    const auto lock = exclusive();
    if (keepsClosed())
        open();
    const ClosedAfter closed(*this);
    if ((m_mode & APPEND) != 0)
        throwIfFailedOf(QXFileSeek(m_file.get(), 0, QX_FILE_FROM_END, nullptr), m_name);
    writeAll(from, length);
    if (keepsClosed())
        flush();
}

void FileOutputStream::flush() {
    const auto lock = exclusive();
    const ClosedAfter closed(*this);
    if (m_file.isOpen() && (m_mode & NOSYNC) == 0)
        throwIfFailedOf(m_file.sync(), m_name);
}

void FileOutputStream::sync() {
    const auto lock = exclusive();
    if (keepsClosed())
        open();
    const ClosedAfter closed(*this);
    if (m_file.isOpen())
        throwIfFailedOf(m_file.sync(), m_name);
}

void FileOutputStream::close() {
    const auto lock = exclusive();
    m_file.close();
}

int16_t FileOutputStream::is_open() const {
    const auto lock = exclusive();
    return m_file.isOpen() ? 1 : 0;
}

uint64_t FileOutputStream::getHandle() const {
    const auto lock = exclusive();
    return m_file.get();
}

void FileOutputStream::open() {
    const auto lock = exclusive();
    requireName();
    if (!m_file.isOpen())
        openFile(false);
}

int64_t FileOutputStream::getSize() {
    const auto lock = exclusive();
    if (keepsClosed())
        open();
    const ClosedAfter closed(*this);
    int64_t size = 0;
    throwIfFailedOf(QXFileGetSize(m_file.get(), &size), m_name);
    return size;
}

void FileOutputStream::wait() {
    if (m_semaphore)
        m_semaphore->wait();
}

void FileOutputStream::signal() {
    if (m_semaphore)
        m_semaphore->signal();
}

void FileOutputStream::openFile(bool truncate) {
    uint32_t flags = QX_FILE_WRITE | QX_FILE_CREATE;
    if ((m_mode & ATEND) != 0)
        flags |= QX_FILE_AT_END;
    // The lock goes by the name, of which a file may have several.
    if ((m_mode & APPEND) != 0)
        flags |= QX_FILE_APPEND;
    if (truncate)
        flags |= QX_FILE_TRUNCATE;
    detail::openFile(m_name, m_path, flags, m_file, static_cast<uint32_t>(m_permissions));
}

void FileOutputStream::requireName() const {
    if (m_name.isEmpty())
        throw InvalidPathException(u"the stream has no file name"_qs);
    detail::requireWhole(m_name);
}

std::unique_lock<sync::Mutex> FileOutputStream::exclusive() const {
    return keepsClosed() ? std::unique_lock(*m_mutex) : std::unique_lock<sync::Mutex>();
}

void FileOutputStream::writeAll(const signed char* from, int32_t length) {
    detail::writeAll(m_file.get(), from, length, m_name);
}

} // namespace qx::io
