#include "qx/io/OutputStreamWriter.h"

#include <algorithm>
#include <utility>

#include <qx/core/Required.h>
#include <qx/core/Result.h>
#include <qx/io/EarlierText.h>
#include <qx/io/IoException.h>
#include <qx/io/detail/ExactClass.h>
#include <qx/text/charset/ConverterState.h>
#include <qx/text/charset/PendingSurrogate.h>
#include <qx/text/charset/UTF8.h>
#include <qx/text/charset/detail/EncoderStop.h>

namespace qx::io {

namespace {

using text::charset::PendingSurrogate;
using text::charset::detail::LongestSequence;

constexpr int32_t MinimumSize = 6;

} // namespace

OutputStreamWriter::OutputStreamWriter(OutputStream* out, const char16_t* encoding, int32_t size)
    : m_out(required(out)), m_converter(text::charset::CharToByteConverter::getConverter(encoding)),
      m_hasState(text::charset::hasConverterState(*m_converter)),
      m_utf8(detail::exactly<const text::charset::CTBUTF8>(*m_converter)),
      m_size(std::max(size, MinimumSize)),
      m_bytes(std::make_unique_for_overwrite<signed char[]>(static_cast<size_t>(m_size))) {}

void OutputStreamWriter::write(const char16_t* from, int32_t length) {
    requireOpen();
    if (length < 1)
        return;
    if ((m_isPassing || m_late) && setAside(from, length)) [[unlikely]]
        return;
    m_earlier = m_count;
    m_isPassedOn = m_isFault = false;
    if (m_hasState)
        m_place.state = text::charset::getConverterState(*m_converter);
    const Place before = m_place;
    try {
        const char16_t last = from[length - 1];
        while (m_place.held != 0 && length > 0) { // the unit may be one that is held, too
            const char16_t pair[] = {std::exchange(m_place.held, u'\0'), *from++};
            encode(pair, 2);
            --length;
        }
        encode(from, length);
        m_place.open = m_place.held == 0 && text::charset::isHighSurrogate(last) ? last : u'\0';
    } catch (...) {
        if (m_converter) // else the stream has closed this writer
            goBack(before, !m_isFault);
        throw;
    }
}

/// While the stream is at work: keeps a text for later. Else false, with the one that was kept
/// written.
bool OutputStreamWriter::setAside(const char16_t* from, int32_t length) {
    if (!m_isPassing) {
        writeLate();
        return false;
    }
    if (!m_late)
        m_late = std::make_unique<std::u16string>();
    m_late->append(from, static_cast<size_t>(length));
    return true;
}

/// Writes what has come while the stream was at work. It is not kept, whether that succeeds or not.
void OutputStreamWriter::writeLate() {
    const auto late = std::exchange(m_late, nullptr);
    writeEarlierText(
        [&] { OutputStreamWriter::write(late->data(), static_cast<int32_t>(late->size())); },
        [] {});
}

/// Makes all as it was in front of a text that failed, except for half a pair that was refused with
/// it. What the stream has already taken a part of goes on behind that.
void OutputStreamWriter::goBack(const Place& before, bool isRefused) {
    m_place = {};
    if (m_isPassedOn)
        return dropHalf();
    m_count = m_earlier;
    text::charset::setConverterState(*m_converter, before.state);
    if (isRefused)
        return;
    m_place = before;
    if (m_place.open == 0)
        return;
    signed char written[LongestSequence]; // if anything, bytes that stand already in the buffer
    int32_t consumed = 0;
    int32_t produced = 0;
    m_converter->convert(&m_place.open, &consumed, 1, written, &produced, LongestSequence);
}

/// Drops half a pair that the converter holds, and nothing else of its state.
void OutputStreamWriter::dropHalf() {
    const uint32_t state = m_hasState ? text::charset::getConverterState(*m_converter) : 0;
    text::charset::setConverterState(*m_converter, state);
}

void OutputStreamWriter::flush() {
    requireOpen();
    if (m_isPassing)
        return; // whoever passes the bytes on goes on with what is behind them
    for (;;) {
        m_place.open = 0;
        if (std::exchange(m_place.held, u'\0') != 0) {
            if (!m_converter->replacesHalves())
                PendingSurrogate::throwUnpaired();
            encode(&text::charset::ReplacementCharacter, 1);
        }
        for (bool isEmpty = false; !isEmpty;) {
            const int32_t pending = m_count;
            // A converter that had room for anything and wrote nothing holds nothing.
            isEmpty = flushConverter() && m_count == pending &&
                      (pending == 0 || m_size - pending >= LongestSequence);
            drain();
        }
        if (!m_late) [[likely]]
            break;
        writeLate();
    }
    m_out->flush();
}

void OutputStreamWriter::close() {
    requireOpen();
    m_converter.reset(); // the bytes stay: the stream may do this while it is taking them
    m_count = 0;
    m_late.reset();
    m_out->close();
}

void OutputStreamWriter::setReplaceHalves(bool replace) {
    requireOpen();
    m_converter->setReplaceHalves(replace);
}

const char16_t* OutputStreamWriter::getEncodingName() {
    requireOpen();
    return m_converter->getEncodingName();
}

void OutputStreamWriter::requireOpen() const {
    if (!m_converter)
        throwIo(u"stream closed");
}

void OutputStreamWriter::encode(const char16_t* from, int32_t length) {
    for (int32_t consumed = 0; consumed < length;) {
        const int32_t consumedBefore = consumed;
        const int32_t countBefore = m_count;
        m_converter->convert(from, &consumed, length, m_bytes.get(), &m_count, m_size);
        const bool producedNone = m_count == countBefore;
        if (m_count >= m_size || producedNone)
            drain();
        if (producedNone && countBefore == 0 && consumed == consumedBefore)
            onNoProgress(from, consumed, length);
    }
}

/// Takes what the converter holds. Half a pair is not held any more afterwards, also when it is
/// reported as no whole character. False, and it holds it still, when there is too little room
/// behind what is pending.
bool OutputStreamWriter::flushConverter() {
    const int32_t pending = m_count;
    try {
        m_converter->flush(m_bytes.get(), &m_count, m_size);
        return true;
    } catch (const Exception& failure) {
        if (failure.getResult() == result::BufferTooSmall && pending > 0)
            return false;
        dropHalf();
        throw;
    } catch (...) {
        dropHalf();
        throw;
    }
}

/// An empty buffer, and still the converter did nothing: it waits for room, or when there is enough
/// for any character, for the second half of a pair.
void OutputStreamWriter::onNoProgress(const char16_t* from, int32_t& consumed, int32_t length) {
    if (m_size < LongestSequence) {
        m_bytes = std::make_unique_for_overwrite<signed char[]>(size_t{LongestSequence});
        m_size = LongestSequence;
    } else if (length - consumed == 1 && text::charset::isHighSurrogate(from[consumed])) {
        m_place.held = from[consumed++];
    } else {
        throwResult(result::Fail, u"converter makes no progress");
    }
}

void OutputStreamWriter::drain() {
    if (m_count == 0)
        return;
    m_isPassing = m_isFault = true;
    try {
        m_out->write(m_bytes.get(), m_count);
    } catch (...) {
        m_isPassing = false;
        throw;
    }
    m_isPassing = m_isFault = false;
    m_isPassedOn |= m_count > m_earlier;
    m_count = m_earlier = 0;
    requireOpen(); // the stream may have closed this writer
}

} // namespace qx::io
