#include "qx/text/charset/ConverterState.h"

#include <qx/core/CastTo.h>
#include <qx/text/charset/ByteOrderMark.h>
#include <qx/text/charset/ComCodec.h>
#include <qx/text/charset/detail/EncoderStop.h>

namespace qx::text::charset {

uint32_t getConverterState(ByteToCharConverter& converter) {
    const auto* const codec = castTo<const BTCCom>(&converter);
    if (codec)
        return codec->getState();
    const auto* const marked = castTo<const BTCMarked>(&converter);
    return marked && marked->hasBegun() ? 1 : 0;
}

uint32_t getConverterState(CharToByteConverter& converter) {
    if (const auto* const codec = castTo<const CTBCom>(&converter))
        return codec->getState();
    const auto* const marked = castTo<const CTBMarked>(&converter);
    return marked && marked->hasBegun() ? 1 : 0;
}

bool hasConverterState(CharToByteConverter& converter) {
    const auto* const codec = castTo<const CTBCom>(&converter);
    return codec ? codec->hasState() : castTo<const CTBMarked>(&converter) != nullptr;
}

void setConverterState(ByteToCharConverter& converter, uint32_t state) {
    if (state == 0)
        return converter.reset();
    if (auto* const codec = castTo<BTCCom>(&converter))
        codec->setState(state);
}

void setConverterState(CharToByteConverter& converter, uint32_t state) {
    converter.reset();
    if (state == 0)
        return;
    if (auto* const codec = castTo<CTBCom>(&converter))
        codec->setState(state);
    else if (auto* const marked = castTo<CTBMarked>(&converter))
        marked->setBegun(true);
}

void passHeld(CharToByteConverter& encoder) {
    auto* const codec = castTo<CTBCom>(&encoder);
    signed char bytes[detail::LongestSequence];
    if (const char16_t held = codec ? heldIn(codec->getState()) : u'\0')
        codec->convertChar(held, bytes, detail::LongestSequence); // which may switch to its set
    constexpr uint32_t WithoutHeld = 0xFFFF;
    setConverterState(encoder, getConverterState(encoder) & WithoutHeld);
}

} // namespace qx::text::charset
