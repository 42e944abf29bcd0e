#include "qx/io/Writer.h"

#include <qx/core/String.h>
#include <qx/platform/text.h>
#include <qx/util/buffer/detail/BufferHold.h>

namespace qx::io {

void Writer::write(const String& text) {
    const util::detail::ReadHold<char16_t> held(text);
    write(held.units(), text.getLength());
}

void Writer::write(const char16_t* text) { write(text, text ? QXStrLenW_32(text) : 0); }

void Writer::write(char16_t unit) { write(&unit, 1); }

void Writer::flush() {}

void Writer::close() {}

} // namespace qx::io
