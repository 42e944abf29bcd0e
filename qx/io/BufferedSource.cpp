#include "qx/io/BufferedSource.h"

#include <qx/io/FileInputStream.h>
#include <qx/io/detail/ExactClass.h>
#include <qx/platform/files.h>

namespace qx::io {

bool detail::neverWaits(InputStream& in) noexcept {
    const auto* const file = exactly<FileInputStream>(in);
    return file && QXFileNeverWaits(file->getHandle()) != 0;
}

} // namespace qx::io
