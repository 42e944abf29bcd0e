#include "qx/io/FileInputStream.h"

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

void FileInputStream::close() { throwIfFailedOf(m_file.close(), m_name); }

} // namespace qx::io
