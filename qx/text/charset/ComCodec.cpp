#include "qx/text/charset/ComCodec.h"

#include <algorithm>

#include <qx/core/Required.h>
#include <qx/core/Result.h>
#include <qx/core/detail/TakeInterface.h>
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

/// Lets the codec convert a run. It may come from elsewhere: what it cannot have done is cut off.
template <class In, class Out>
RunLength run(IQXCharRunCodec* codec,
              int32_t (IQXCharRunCodec::*convert)(const In*, int32_t*, Out*, int32_t*),
              const void* in, size_t size, void* out, size_t capacity) {
    if (!codec)
        return {};
    const auto available = static_cast<int32_t>(size);
    const auto room = static_cast<int32_t>(capacity);
    int32_t read = available;
    int32_t written = room;
    if ((codec->*convert)(static_cast<const In*>(in), &read, static_cast<Out*>(out), &written) < 0)
        return {};
    return {static_cast<size_t>(std::clamp(read, int32_t{0}, available)),
            static_cast<size_t>(std::clamp(written, int32_t{0}, room))};
}

/// Converts with @p body, and goes back to the state at its start when that fails: so do positions.
template <class Converter, class Body>
int32_t keepingState(Converter& converter, Body&& body) {
    const uint32_t state = converter.getState();
    try {
        return body();
    } catch (...) {
        converter.setState(state);
        throw;
    }
}

/// 0 also for a codec that does not tell.
uint32_t stateOf(IQXCharStateCodec* codec) {
    uint32_t state = 0;
    return codec && codec->GetState(&state) >= 0 ? state : 0;
}

void restore(IQXCharStateCodec* codec, uint32_t state) {
    if (codec)
        codec->SetState(state);
}

} // namespace

BTCCom::BTCCom(Reference<IQXCharCodec> codec)
    : BTCMultiByte(askCodec(*required(codec))), m_codec(std::move(codec)),
      m_runs(qx::detail::interfaceOf<IQXCharRunCodec>(*m_codec)),
      m_state(qx::detail::interfaceOf<IQXCharStateCodec>(*m_codec)) {}

int32_t BTCCom::convert(const signed char* in, int32_t* inPosition, int32_t inLength, char16_t* out,
                        int32_t* outPosition, int32_t outCapacity) {
    const auto run = [&] {
        return BTCMultiByte::convert(in, inPosition, inLength, out, outPosition, outCapacity);
    };
    return m_state ? keepingState(*this, run) : run();
}

void BTCCom::reset() {
    BTCMultiByte::reset();
    setState(0);
}

uint32_t BTCCom::getState() const { return stateOf(m_state.get()); }

void BTCCom::setState(uint32_t state) { restore(m_state.get(), state); }

RunLength BTCCom::convertRun(const uint8_t* in, size_t size, char16_t* out, size_t capacity) {
    return run(m_runs.get(), &IQXCharRunCodec::DecodeRun, in, size, out, capacity);
}

char32_t BTCCom::convertBytes(const signed char* bytes, int32_t* count) {
    char32_t codePoint = ReplacementCharacter;
    m_codec->Decode(bytes, count, &codePoint);
    return codePoint;
}

CTBCom::CTBCom(Reference<IQXCharCodec> codec)
    : CTBMultiByte(askCodec(*required(codec))), m_codec(std::move(codec)),
      m_runs(qx::detail::interfaceOf<IQXCharRunCodec>(*m_codec)),
      m_state(qx::detail::interfaceOf<IQXCharStateCodec>(*m_codec)),
      m_buffer(new util::RWByteBuffer(16)) {}

RunLength CTBCom::convertRun(const char16_t* in, size_t size, uint8_t* out, size_t capacity) {
    return run(m_runs.get(), &IQXCharRunCodec::EncodeRun, in, size, out, capacity);
}

template <class Write>
int32_t CTBCom::take(signed char* bytes, int32_t room, Write&& write) {
    m_buffer->releaseWriteLock(0); // length 0, whatever the last call left
    m_buffer->ensureCapacity(room);
    if (write() < 0)
        return 0;
    const int32_t count = m_buffer->getLength();
    if (count < 1 || count > room)
        return 0;
    std::copy_n(m_buffer->getData(), count, bytes);
    return count;
}

int32_t CTBCom::convertChar(char32_t codePoint, signed char* bytes, int32_t room) {
    m_before = getState();
    return take(bytes, room, [&] { return m_codec->Encode(codePoint, m_buffer); });
}

int32_t CTBCom::convert(const char16_t* in, int32_t* inPosition, int32_t inLength, signed char* out,
                        int32_t* outPosition, int32_t outCapacity) {
    const auto run = [&] {
        return CTBMultiByte::convert(in, inPosition, inLength, out, outPosition, outCapacity);
    };
    return m_state ? keepingState(*this, run) : run();
}

int32_t CTBCom::flush(signed char* out, int32_t* outPosition, int32_t outCapacity) {
    const PendingSurrogate pending = m_pending;
    const uint32_t state = getState();
    int32_t end = *outPosition;
    CTBMultiByte::flush(out, &end, outCapacity);
    signed char bytes[LongestForm];
    const int32_t count = beginSubstitution(bytes, LongestForm);
    if (count > outCapacity - end) {
        m_pending = pending;
        setState(state);
        throwResult(result::BufferTooSmall);
    }
    std::copy_n(bytes, count, out + end);
    const int32_t written = end + count - *outPosition;
    *outPosition += written;
    return written;
}

void CTBCom::reset() {
    CTBMultiByte::reset();
    setState(0);
}

uint32_t CTBCom::getState() const { return stateOf(m_state.get()); }

void CTBCom::setState(uint32_t state) { restore(m_state.get(), state); }

/// The substitution is written in the set of characters that a text starts with.
int32_t CTBCom::beginSubstitution(signed char* bytes, int32_t room) {
    if (!m_state)
        return 0;
    m_before = getState();
    return take(bytes, room, [&] { return m_state->EncodeEnd(m_buffer); });
}

void CTBCom::takeBack() { setState(m_before); }

} // namespace qx::text::charset
