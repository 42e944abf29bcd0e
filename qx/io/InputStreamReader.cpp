#include "qx/io/InputStreamReader.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <utility>

#include <qx/core/Required.h>
#include <qx/io/BufferedSource.h>
#include <qx/io/IoException.h>
#include <qx/io/MovedLength.h>
#include <qx/io/detail/SourceDefaults.h>
#include <qx/text/charset/ByteOrderMark.h>
#include <qx/text/charset/Surrogates.h>

namespace qx::io {

namespace {

constexpr int32_t MinimumSize = 6;
/// Longer than a sequence of any encoding: what fills this much without becoming a character never
/// will.
constexpr int32_t LongestSequence = 32;

} // namespace

InputStreamReader::InputStreamReader(InputStream* in, const char16_t* encoding, int32_t size)
    : m_in(required(in)), m_converter(text::charset::ByteToCharConverter::getConverter(encoding)),
      m_size(std::max(size, MinimumSize)),
      m_bytes(std::make_unique_for_overwrite<signed char[]>(static_cast<size_t>(m_size))) {}

int32_t InputStreamReader::read(char16_t* to, int32_t length) {
    requireOpen();
    if (length < 1)
        return 0;
    int32_t produced = takeHeld(to, length);
    if (produced == 0)
        m_failure.raise();
    m_failure.guard(produced, [&] { convertInto(to, produced, length); });
    return produced > 0 ? produced : -1;
}

/// Produces units until there are @p length of them or waiting would be necessary, none at the end.
void InputStreamReader::convertInto(char16_t* to, int32_t& produced, int32_t length) {
    if (m_detectsMark)
        detectMark();
    bool stalled = false;
    bool tookAll = false; // by the last read, which had room for more
    while (produced < length) {
        if (m_position < m_count && !stalled) {
            convertToFault(to, produced, length);
            stalled = m_position < m_count;
            // The next character may just need more room than the caller has left.
            if (stalled && produced < length && convertBeyond(to, produced, length))
                return;
        } else if (!m_endOfInput && makeRoom()) {
            const bool isAtHand = produced > 0 && detail::neverWaits(*m_in);
            if (produced > 0 && (isAtHand ? tookAll : availableBytes() == 0))
                return;
            readBytes();
            tookAll = m_count < m_size;
            if (isAtHand && std::exchange(m_endOfInput, false))
                return; // nothing was available
            stalled = stalled && m_endOfInput;
        } else if (m_position == m_count) {
            m_converter->flush(to, &produced, length);
            return;
        } else {
            to[produced++] = text::charset::ReplacementCharacter;
            ++m_position;
            stalled = false;
        }
    }
}

/// Converts what there is. A converter that refuses some of it has told nothing of what stands in
/// front, which is found by halves.
void InputStreamReader::convertToFault(char16_t* to, int32_t& produced, int32_t length) {
    const auto convert = [&](int32_t end) {
        m_converter->convert(m_bytes.get(), &m_position, end, to, &produced, length);
    };
    try {
        convert(m_count);
    } catch (const Exception&) {
        int32_t taken = m_position;
        int32_t refused = m_count;
        while (refused - taken > 1 && produced < length) {
            const int32_t end = std::midpoint(taken, refused);
            try {
                convert(end);
                taken = end;
            } catch (const Exception&) {
                refused = end;
            }
        }
        if (produced < length)
            throw;
    }
}

void InputStreamReader::setDetectMark(bool detect) {
    requireOpen();
    m_detectsMark = detect;
}

/// Reads until the first bytes tell whether they are a mark.
void InputStreamReader::detectMark() {
    const auto find = [this] {
        return text::charset::findByteOrderMark(m_bytes.get() + m_position, m_count - m_position);
    };
    while (find().isOpen && !m_endOfInput && makeRoom())
        readBytes();
    m_detectsMark = false;
    const text::charset::ByteOrderMark mark = find();
    if (!mark.encoding)
        return;
    m_converter = text::charset::ByteToCharConverter::getConverter(mark.encoding);
    m_position += mark.length;
}

int32_t InputStreamReader::available() {
    requireOpen();
    const int64_t bytes = int64_t{availableBytes()} + (m_count - m_position);
    const int64_t units =
        bytes / std::max(m_converter->getMaxBytesPerChar(), 1) + (m_heldCount - m_heldPosition);
    return static_cast<int32_t>(std::min<int64_t>(units, std::numeric_limits<int32_t>::max()));
}

int32_t InputStreamReader::skip(int32_t count) {
    requireOpen();
    return detail::skipByReading<char16_t>(*this, count, m_failure);
}

bool InputStreamReader::markSupported() {
    requireOpen();
    return Reader::markSupported();
}

void InputStreamReader::mark(int32_t readLimit) {
    requireOpen();
    Reader::mark(readLimit);
}

void InputStreamReader::reset() {
    requireOpen();
    Reader::reset();
}

void InputStreamReader::close() {
    requireOpen();
    m_converter.reset(); // the bytes stay: the stream may do this while it is reading to them
    m_in->close();
}

const char16_t* InputStreamReader::getEncodingName() {
    requireOpen();
    return m_converter->getEncodingName();
}

void InputStreamReader::requireOpen() const {
    if (!m_converter)
        throwIo(u"stream closed");
}

int32_t InputStreamReader::takeHeld(char16_t* to, int32_t length) noexcept {
    const int32_t taken = std::min(length, m_heldCount - m_heldPosition);
    std::copy_n(m_held.begin() + m_heldPosition, taken, to);
    m_heldPosition += taken;
    return taken;
}

/// True when the character at the position is complete and only found too little room behind the
/// @p produced units. Its units are held for the next read, except for those that the caller still
/// gets because there are none yet.
bool InputStreamReader::convertBeyond(char16_t* to, int32_t& produced, int32_t length) {
    const int32_t room = length - produced;
    for (auto capacity = room + 1; capacity <= static_cast<int32_t>(m_held.size()); ++capacity) {
        m_heldPosition = m_heldCount = 0;
        m_converter->convert(m_bytes.get(), &m_position, m_count, m_held.data(), &m_heldCount,
                             capacity);
        if (m_heldCount == 0)
            continue;
        if (produced == 0)
            produced = takeHeld(to, room);
        return true;
    }
    return false;
}

/// Moves the bytes that are not converted to the front of the buffer, which grows when a sequence
/// fills it. False when they are too many to be one sequence.
bool InputStreamReader::makeRoom() {
    const int32_t kept = m_count - m_position;
    if (kept == m_size) {
        if (m_size >= LongestSequence)
            return false;
        auto larger = std::make_unique_for_overwrite<signed char[]>(size_t{LongestSequence});
        std::memcpy(larger.get(), m_bytes.get() + m_position, static_cast<size_t>(kept));
        m_bytes = std::move(larger);
        m_size = LongestSequence;
    } else if (kept > 0) {
        std::memmove(m_bytes.get(), m_bytes.get() + m_position, static_cast<size_t>(kept));
    }
    m_position = 0;
    m_count = kept;
    return true;
}

// The stream may close this reader in every call of it.

int32_t InputStreamReader::availableBytes() {
    const int32_t count = m_in->available();
    requireOpen();
    return count;
}

void InputStreamReader::readBytes() {
    const int32_t room = m_size - m_count;
    const int32_t count = checkedMove(m_in->read(m_bytes.get() + m_count, room), room);
    requireOpen();
    if (count < 0)
        m_endOfInput = true;
    else
        m_count += count;
}

} // namespace qx::io
