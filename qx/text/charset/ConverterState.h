#pragma once

#include <cstdint>

#include <qx/platform/export.h>
#include <qx/text/charset/ByteToCharConverter.h>
#include <qx/text/charset/CharToByteConverter.h>

namespace qx::text::charset {

/// How far the text of a converter has come, for a later setConverterState of the same converter: a
/// number that means nothing else. Half a surrogate pair is not in it.
/// Other converters than those of the library are always at the start.
QX_API uint32_t getConverterState(ByteToCharConverter& converter);
QX_API uint32_t getConverterState(CharToByteConverter& converter);
/// The character of such a state that the encoder has taken, but not written yet; 0 for none.
constexpr char16_t heldIn(uint32_t state) { return static_cast<char16_t>(state >> 16); }
/// False for an encoder that is always at the start.
QX_API bool hasConverterState(CharToByteConverter& converter);
/// Goes back to a state, in which no character is begun; 0 is that at the start of a text.
QX_API void setConverterState(ByteToCharConverter& converter, uint32_t state);
QX_API void setConverterState(CharToByteConverter& converter, uint32_t state);
/// Takes the character that the encoder holds for written, alone, and drops half a pair.
QX_API void passHeld(CharToByteConverter& encoder);

} // namespace qx::text::charset
