#include "qx/io/OutputStream.h"

#include <algorithm>

namespace qx::io {

void OutputStream::write(const char* from, int32_t length) {
    write(reinterpret_cast<const signed char*>(from), length);
}

void OutputStream::write(const unsigned char* from, int32_t length) {
    write(reinterpret_cast<const signed char*>(from), length);
}

void OutputStream::write(signed char byte) { write(&byte, 1); }

void OutputStream::write(const ByteView& bytes) {
    constexpr size_t Largest = size_t{1} << 30;
    for (size_t done = 0; done < bytes.size();) {
        const size_t count = std::min(bytes.size() - done, Largest);
        write(bytes.data() + done, static_cast<int32_t>(count));
        done += count;
    }
}

void OutputStream::flush() {}

void OutputStream::close() {}

} // namespace qx::io
