#include "qx/platform/posix/text/narrow.h"

#include <cstring>

#include <qx/platform/result.h>
#include <qx/platform/text.h>

#include <qx/platform/posix/files/path.h>

namespace qx::platform {

int32_t toNarrow(std::u16string_view text, std::string& narrow) {
    constexpr size_t LongestText = size_t{1} << 24;
    narrow.clear();
    if (text.size() > LongestText)
        return NameTooLong;
    // Four bytes hold a unit in all but the strangest encodings.
    for (size_t capacity = text.size() * 4 + 1;; capacity *= 2) {
        narrow.resize(capacity);
        const int32_t result = QXUnicodeToAnsi(text.data(), static_cast<int32_t>(text.size()),
                                               narrow.data(), static_cast<int32_t>(capacity));
        if (result == result::BufferTooSmall && capacity <= LongestText * 8)
            continue;
        narrow.resize(result < 0 ? 0 : std::strlen(narrow.data()));
        return result;
    }
}

} // namespace qx::platform
