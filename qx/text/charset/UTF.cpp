#include "qx/text/charset/UTF.h"

namespace qx::text::charset {

int32_t ByteToCharUTF::flush(char16_t*, int32_t*, int32_t) { return 0; }

void ByteToCharUTF::reset() {}

int32_t ByteToCharUTF::getMaxBytesPerChar() const { return 4; }

int32_t ByteToCharUTF::getMaxCharsPerByte() const { return 4; }

int32_t CharToByteUTF::getMaxBytesPerChar() const { return 4; }

int32_t CharToByteUTF::getMaxCharsPerByte() const { return 4; }

} // namespace qx::text::charset
