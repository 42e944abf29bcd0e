#include "qx/text/charset/EncodingException.h"

namespace qx::text::charset {

int32_t InvalidCharacterException::getResult() const { return result::InvalidCharacter; }

int32_t UnmappableCharacterException::getResult() const { return result::UnmappableCharacter; }

int32_t UnknownEncodingException::getResult() const { return result::UnknownEncoding; }

} // namespace qx::text::charset
