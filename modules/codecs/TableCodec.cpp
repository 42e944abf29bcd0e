#include "TableCodec.h"

#include <algorithm>
#include <utility>

#include <qx/core/Result.h>
#include <qx/text/charset/Surrogates.h>
#include <qx/util/buffer/CopyCharBuffer.h>

namespace qx::codecs {

using text::charset::LastCodePoint;
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

const uint8_t* raw(const signed char* bytes) { return reinterpret_cast<const uint8_t*>(bytes); }
uint8_t* raw(signed char* bytes) { return reinterpret_cast<uint8_t*>(bytes); }

} // namespace

int32_t TableCodec::QueryInterface(const GUID& iid, void** out) {
    if (out && iid == IQXCharStateCodec::Iid && !m_encoding->hasState()) {
        *out = nullptr;
        return result::NoInterface;
    }
    return Implements::QueryInterface(iid, out);
}

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
    const Meaning meaning = m_encoding->hasState()
                                ? m_encoding->decode(m_state, raw(bytes), countOf(count), &read)
                                : m_encoding->decode(raw(bytes), countOf(count), &read);
    // Two characters come out of a run, which may want more room.
    *count = meaning.second == 0 ? static_cast<int32_t>(read) : 0;
    *codePoint = meaning.first;
    return result::Ok;
}

template <class Write>
int32_t TableCodec::writeTo(IQXByteBuffer* bytes, Write&& write) {
    if (!bytes)
        return result::NullPointer;
    signed char* to = nullptr;
    const int32_t locked = bytes->GetWriteLock(static_cast<int32_t>(Encoding::LongestForm), &to);
    if (locked < 0)
        return locked;
    return bytes->ReleaseWriteLock(to ? static_cast<int32_t>(write(raw(to))) : 0);
}

int32_t TableCodec::Encode(char32_t codePoint, IQXByteBuffer* bytes) {
    return writeTo(bytes, [&](uint8_t* to) -> std::size_t {
        if (codePoint > LastCodePoint)
            return 0;
        return m_encoding->hasState() ? m_encoding->encode(m_state, codePoint, to)
                                      : m_encoding->encode(codePoint, to);
    });
}

int32_t TableCodec::DecodeRun(const signed char* bytes, int32_t* count, char16_t* units,
                              int32_t* capacity) {
    return run(bytes, count, units, capacity, [&](std::size_t size, std::size_t room) {
        return m_encoding->hasState()
                   ? m_encoding->decodeRun(m_state, raw(bytes), size, units, room)
                   : m_encoding->decodeRun(raw(bytes), size, units, room);
    });
}

int32_t TableCodec::EncodeRun(const char16_t* units, int32_t* count, signed char* bytes,
                              int32_t* capacity) {
    return run(units, count, bytes, capacity, [&](std::size_t size, std::size_t room) {
        return m_encoding->hasState()
                   ? m_encoding->encodeRun(m_state, units, size, raw(bytes), room)
                   : m_encoding->encodeRun(units, size, raw(bytes), room);
    });
}

int32_t TableCodec::GetState(uint32_t* state) {
    if (!state)
        return result::NullPointer;
    *state = static_cast<uint32_t>(m_state.held) << 16 | m_state.set;
    return result::Ok;
}

int32_t TableCodec::SetState(uint32_t state) {
    const Encoding::State wanted{static_cast<uint8_t>(state), static_cast<char16_t>(state >> 16)};
    if (!m_encoding->isState(wanted) || (state & 0xFF00) != 0)
        return result::InvalidArgument;
    m_state = wanted;
    return result::Ok;
}

int32_t TableCodec::EncodeEnd(IQXByteBuffer* bytes) {
    return writeTo(bytes, [&](uint8_t* to) { return m_encoding->encodeEnd(m_state, to); });
}

} // namespace qx::codecs
