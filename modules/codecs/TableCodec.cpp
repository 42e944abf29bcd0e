#include "TableCodec.h"

#include <algorithm>
#include <utility>

#include <qx/core/Result.h>
#include <qx/text/charset/Surrogates.h>
#include <qx/util/buffer/CopyCharBuffer.h>

namespace qx::codecs {

using text::charset::ReplacementCharacter;
using text::charset::RunLength;

namespace {

/// A count that came in; a negative one is none.
std::size_t countOf(const int32_t* count) {
    return static_cast<std::size_t>(std::max(*count, int32_t{0}));
}

/// Checks the arguments of a run, lets @p convert do it, and reports how far it came.
template <class In, class Out, class Convert>
int32_t run(const In* in, int32_t* count, Out* out, int32_t* capacity, Convert convert) {
    if (!in || !count || !out || !capacity)
        return result::NullPointer;
    const RunLength length = convert(countOf(count), countOf(capacity));
    *count = static_cast<int32_t>(length.read);
    *capacity = static_cast<int32_t>(length.written);
    return result::Ok;
}

int32_t answer(int32_t* out, int32_t value) {
    if (!out)
        return result::NullPointer;
    *out = value;
    return result::Ok;
}

} // namespace

int32_t TableCodec::GetEncodingName(IQXCharBuffer* name) {
    if (!name)
        return result::NullPointer;
    return resultOf([&] {
        const String text = m_encoding->name();
        return QXCopyCharBuffer(name, &text);
    });
}

int32_t TableCodec::GetMaxBytesPerChar(int32_t* bytes) {
    return answer(bytes, m_encoding->maxBytesPerChar());
}

int32_t TableCodec::GetMaxCharsPerByte(int32_t* chars) { return answer(chars, 1); }

int32_t TableCodec::Decode(const signed char* bytes, int32_t* count, char32_t* codePoint) {
    if (!bytes || !count || !codePoint)
        return result::NullPointer;
    std::size_t read = 0;
    *codePoint = m_encoding->decode(reinterpret_cast<const uint8_t*>(bytes), countOf(count), &read);
    *count = static_cast<int32_t>(read);
    return result::Ok;
}

int32_t TableCodec::Encode(char32_t codePoint, IQXByteBuffer* bytes) {
    if (!bytes)
        return result::NullPointer;
    signed char* to = nullptr;
    const int32_t locked = bytes->GetWriteLock(m_encoding->maxBytesPerChar(), &to);
    if (locked < 0)
        return locked;
    std::size_t length = 0;
    if (codePoint <= 0xFFFF && to)
        length =
            m_encoding->encode(static_cast<char16_t>(codePoint), reinterpret_cast<uint8_t*>(to));
    return bytes->ReleaseWriteLock(static_cast<int32_t>(length));
}

int32_t TableCodec::DecodeRun(const signed char* bytes, int32_t* count, char16_t* units,
                              int32_t* capacity) {
    return run(bytes, count, units, capacity, [&](std::size_t size, std::size_t room) {
        return m_encoding->decodeRun(reinterpret_cast<const uint8_t*>(bytes), size, units, room);
    });
}

int32_t TableCodec::EncodeRun(const char16_t* units, int32_t* count, signed char* bytes,
                              int32_t* capacity) {
    return run(units, count, bytes, capacity, [&](std::size_t size, std::size_t room) {
        return m_encoding->encodeRun(units, size, reinterpret_cast<uint8_t*>(bytes), room);
    });
}

} // namespace qx::codecs
