#include "tools/common/Program.h"

#include <algorithm>
#include <cstdio>

#include <qx/io/FileOutputStream.h>
#include <qx/platform/files.h>

void print(std::string_view text) {
    constexpr size_t LargestWrite = size_t{1} << 30; // of what a length of 32 bits can say
    try {
        qx::io::FileOutputStream out(QXFileStandardOutput(), false);
        while (!text.empty()) {
            const size_t count = std::min(text.size(), LargestWrite);
            out.write(text.data(), static_cast<int32_t>(count));
            text.remove_prefix(count);
        }
    } catch (const qx::ResultException& e) {
        throw fileFailure("standard output", e.getResult());
    }
}

int fail(const char* program, int status, std::string_view message) {
    if (!message.empty())
        std::fprintf(stderr, "%s: %.*s\n", program, static_cast<int>(message.size()),
                     message.data());
    return status;
}
