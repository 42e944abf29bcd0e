#include <qx/text/charset/ComCodec.h>

#include <algorithm>

#include <qx/core/Result.h>
#include <qx/text/charset/Surrogates.h>

namespace qx::text::charset {

namespace {

MultiByteTraits askCodec(IQXCharCodec& codec) {
    MultiByteTraits traits;
    util::RWCharBuffer name;
    throwIfFailed(codec.GetEncodingName(&name));
    traits.name = String(static_cast<const IQXCharBuffer*>(&name));
    throwIfFailed(codec.GetMaxBytesPerChar(&traits.maxBytesPerChar));
    throwIfFailed(codec.GetMaxCharsPerByte(&traits.maxCharsPerByte));
    return traits;
}

} // namespace

BTCCom::BTCCom(Reference<IQXCharCodec> codec)
    : BTCMultiByte(askCodec(*codec)), m_codec(std::move(codec)) {}

char32_t BTCCom::convertBytes(const signed char* bytes, int32_t* count) {
    char32_t codePoint = ReplacementCharacter;
    m_codec->Decode(bytes, count, &codePoint);
    return codePoint;
}

CTBCom::CTBCom(Reference<IQXCharCodec> codec)
    : CTBMultiByte(askCodec(*codec)), m_codec(std::move(codec)),
      m_buffer(new util::RWByteBuffer(16)) {}

int32_t CTBCom::convertChar(char32_t codePoint, signed char* bytes, int32_t room) {
    m_buffer->releaseWriteLock(0); // length 0, whatever the last call left
    m_buffer->ensureCapacity(room);
    if (m_codec->Encode(codePoint, m_buffer) < 0)
        return 0;
    const int32_t count = m_buffer->getLength();
    if (count < 1 || count > room)
        return 0;
    std::copy_n(m_buffer->getData(), count, bytes);
    return count;
}

} // namespace qx::text::charset
