#include "qx/io/FileInputStream.h"

#include <algorithm>

#include <qx/core/Result.h>
#include <qx/core/String.h>
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
    int64_t position = 0, size = 0;
    int32_t skipped = 0;
    if (count > 0 && QXFileGetSize(m_file.get(), &size) >= 0 && size > 0 &&
        QXFileSeek(m_file.get(), 0, QX_FILE_FROM_CURRENT, &position) >= 0 && position < size) {
        skipped = static_cast<int32_t>(std::min<int64_t>(count, size - position));
        throwIfFailedOf(QXFileSeek(m_file.get(), skipped, QX_FILE_FROM_CURRENT, nullptr), m_name);
    }
    // Behind its size there may be more of a file: one that grows, or that the system makes up.
    return skipped < count ? skipped + InputStream::skip(count - skipped) : skipped;
}

int32_t FileInputStream::available() {
    int32_t available = 0;
    return QXFileAvailable(m_file.get(), &available) < 0 ? 0 : std::max(available, 0);
}

void FileInputStream::close() { throwIfFailedOf(m_file.close(), m_name); }

} // namespace qx::io
