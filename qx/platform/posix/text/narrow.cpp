#include "qx/platform/posix/text/narrow.h"

#include <cstring>

#include <qx/platform/result.h>
#include <qx/platform/text.h>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/path.h>

namespace qx::platform {

std::string toNarrow(std::u16string_view text) {
    constexpr size_t LongestText = size_t{1} << 24;
    if (text.size() > LongestText)
        throw Failure{NameTooLong};
    std::string narrow;
    // Four bytes hold a unit in all but the strangest encodings.
    for (size_t capacity = text.size() * 4 + 1;; capacity *= 2) {
        narrow.resize(capacity);
        const int32_t result = QXUnicodeToAnsi(text.data(), static_cast<int32_t>(text.size()),
                                               narrow.data(), static_cast<int32_t>(capacity));
        if (result == result::BufferTooSmall && capacity <= LongestText * 8)
            continue;
        throwIfFailed(result);
        narrow.resize(std::strlen(narrow.data()));
        return narrow;
    }
}

} // namespace qx::platform
