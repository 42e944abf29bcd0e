#include "qx/io/ReplacingFileOutputStream.h"

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/io/detail/OpenFile.h>

namespace qx::io {

ReplacingFileOutputStream::ReplacingFileOutputStream(const String& name,
                                                     FilePermissions permissions)
    : m_name(name, String::AM_COPY) {
    if (m_name.isEmpty())
        throw InvalidPathException(u"the stream has no file name"_qs);
    QXFileReplacement* replacement = nullptr;
    const int32_t result =
        QXFileReplaceBegin(detail::systemNameOf(m_name).c_str(), static_cast<uint32_t>(permissions),
                           &replacement, &m_file);
    m_replacement.reset(replacement);
    throwIfFailedOf(result, m_name);
}

void ReplacingFileOutputStream::write(const signed char* from, int32_t length) {
    requireOpen();
    detail::writeAll(m_file, from, length, m_name);
}

void ReplacingFileOutputStream::commit() {
    requireOpen();
    throwIfFailedOf(QXFileReplaceCommit(m_replacement.release(), nullptr), m_name);
}

void ReplacingFileOutputStream::requireOpen() const {
    if (!m_replacement)
        throwResultOf(result::InvalidHandle, m_name);
}

} // namespace qx::io
