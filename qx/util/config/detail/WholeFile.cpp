#include "qx/util/config/detail/WholeFile.h"

#include <algorithm>

#include <qx/core/PlatformHandle.h>
#include <qx/core/Result.h>
#include <qx/platform/files.h>

namespace qx::util::detail {

namespace {

/// Reads what is left of an open file, of which about @p expected bytes are to come.
int32_t readAll(QXHandle file, int64_t expected, int64_t largest, std::string& bytes) {
    constexpr size_t Step = 4096;
    size_t length = 0;
    for (;;) {
        if (static_cast<int64_t>(length) > largest || expected > largest)
            return result::FileTooLarge;
        bytes.resize(std::max(length + Step, static_cast<size_t>(expected) + 1));
        int32_t count = 0;
        if (const int32_t result = QXFileRead(file, bytes.data() + length,
                                              static_cast<int32_t>(bytes.size() - length), &count);
            result < 0)
            return result;
        length += static_cast<size_t>(count);
        if (count == 0)
            break;
    }
    bytes.resize(length);
    return result::Ok;
}

} // namespace

int32_t WholeFile::read(const char* path, int64_t largest, uint32_t flags) {
    constexpr int Attempts = 3;
    isStable = false;
    for (int attempt = 0; attempt < Attempts && !isStable; ++attempt) {
        QXFileState after;
        PlatformHandle<&QXFileClose> file;
        int32_t result = QXFileOpen(path, QX_FILE_READ | flags, 0, file.put());
        if (result >= 0)
            result = QXFileGetHandleState(file.get(), &state);
        if (result >= 0)
            result = readAll(file.get(), state.size, largest, bytes);
        if (result >= 0)
            result = QXFileGetHandleState(file.get(), &after);
        if (result < 0)
            return result;
        isStable = QXFileIsSameState(&state, &after) != 0;
    }
    return result::Ok;
}

} // namespace qx::util::detail
