#include "qx/io/FileInputStream.h"

#include <algorithm>

#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/io/detail/ExactClass.h>
#include <qx/io/detail/OpenFile.h>
#include <qx/util/FilePath.h>

namespace qx::io {

FileInputStream::FileInputStream(const util::FilePath& name) : FileInputStream(name.toString()) {}

FileInputStream::FileInputStream(const String& name) : m_name(name.view()) {
    detail::openFile(name, QX_FILE_READ, m_file);
}

int32_t FileInputStream::read(signed char* to, int32_t length) {
    int32_t count = 0;
    const int32_t result = QXFileRead(m_file.get(), to, length, &count);
    if (result == result::EndOfFile)
        return -1;
    throwIfFailedOf(result, m_name);
    return count > 0 ? count : -1;
}

int32_t FileInputStream::skip(int32_t count) {
    // A derived class may see every byte.
    const int32_t skipped = detail::exactly<FileInputStream>(*this) ? skipWithin(count) : 0;
    // Behind its size there may be more of a file: one that grows, or that the system makes up.
    return skipped < count ? skipped + InputStream::skip(count - skipped) : skipped;
}

/// Moves on within the size of the file, 0 where that cannot be. A file that the system makes up
/// may have less than its size, so that the last byte is read.
int32_t FileInputStream::skipWithin(int32_t count) {
    int64_t position = 0, size = 0;
    if (count < 1 || QXFileGetSize(m_file.get(), &size) < 0 || size < 1 ||
        QXFileSeek(m_file.get(), 0, QX_FILE_FROM_CURRENT, &position) < 0 || position >= size)
        return 0;
    const auto skipped = static_cast<int32_t>(std::min<int64_t>(count, size - position));
    throwIfFailedOf(QXFileSeek(m_file.get(), skipped - 1, QX_FILE_FROM_CURRENT, nullptr), m_name);
    signed char last = 0;
    int32_t read = 0;
    if (QXFileRead(m_file.get(), &last, 1, &read) >= 0 && read == 1)
        return skipped;
    throwIfFailedOf(QXFileSeek(m_file.get(), position, QX_FILE_FROM_START, nullptr), m_name);
    return 0;
}

int32_t FileInputStream::available() {
    int32_t available = 0;
    return QXFileAvailable(m_file.get(), &available) < 0 ? 0 : std::max(available, 0);
}

void FileInputStream::close() { throwIfFailedOf(m_file.close(), m_name); }

} // namespace qx::io
