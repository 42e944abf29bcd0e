#pragma once

#include <algorithm>
#include <cstdint>

#include <qx/core/Reference.h>
#include <qx/text/charset/ConverterState.h>
#include <qx/text/charset/EncodingException.h>

#include "Buffer.h"

/// Thrown at the first bad text when it is to be rejected.
struct TextFault {
    enum class Kind { Invalid, Incomplete, Unmappable };

    Kind kind;
    int32_t position;       ///< in what was handed over for conversion
    char32_t character = 0; ///< for Unmappable
};

/// How far a conversion came, and the length of the bad sequence that stands there (0: none).
struct Piece {
    int32_t consumed;
    int32_t faultLength;
};

/// A converter that throws at bad text, without telling where, and the search for the place.
///
/// It rests on what every converter keeps to: it works from front to back and throws only when it
/// has seen the bad sequence whole. So the shortest input that throws ends with that sequence, and
/// one item less converts everything before it. The cost is one conversion for each halving.
template <class Converter, class In, class Out>
class FaultFinder {
public:
    /// @param growth  items that the converter may write for one that it reads
    FaultFinder(qx::Reference<Converter> converter, int32_t growth)
        : m_converter(std::move(converter)), m_growth(growth) {}

    Converter& converter() const { return *m_converter; }

    /// To be called at the start of a text.
    void restart() { m_state = m_blockState = 0; }
    /// To be called before a block of it.
    void beginBlock() { m_blockState = m_state; }
    /// Writes what the text has to end with.
    void finish(Buffer<Out>& output) {
        constexpr int32_t Room = 32;
        output.reserve(Room);
        qx::text::charset::setConverterState(*m_converter, m_state);
        int32_t written = 0;
        m_converter->flush(output.end(), &written, Room);
        output.added(written);
        m_state = 0;
    }

    /// Converts @p input up to its end, a sequence that is incomplete there, or bad text.
    Piece convert(const In* input, int32_t length, Buffer<Out>& output) {
        int32_t consumed = 0;
        if (tryConvert(input, length, output, consumed)) {
            m_state = qx::text::charset::getConverterState(*m_converter);
            return {consumed, 0};
        }
        int32_t clean = 0;
        int32_t faulty = length;
        while (faulty - clean > 1) {
            const int32_t middle = clean + (faulty - clean) / 2;
            m_scratch.truncate(0);
            (tryConvert(input, middle, m_scratch, consumed) ? clean : faulty) = middle;
        }
        consumed = 0;
        tryConvert(input, clean, output, consumed);
        m_state = qx::text::charset::getConverterState(*m_converter);
        return {consumed, faulty - consumed};
    }

    /// Items of the clean @p input, the start of the block, that stand for the first @p count items
    /// of the output.
    int32_t consumedFor(int32_t count, const In* input, int32_t length) {
        m_scratch.truncate(0);
        m_scratch.reserve(count);
        int32_t consumed = 0;
        int32_t produced = 0;
        qx::text::charset::setConverterState(*m_converter, m_blockState);
        m_converter->convert(input, &consumed, length, m_scratch.end(), &produced, count);
        return consumed;
    }

private:
    bool tryConvert(const In* input, int32_t length, Buffer<Out>& output, int32_t& consumed) {
        output.reserve(length * m_growth);
        consumed = 0;
        int32_t produced = 0;
        try {
            qx::text::charset::setConverterState(*m_converter, m_state);
            m_converter->convert(input, &consumed, length, output.end(), &produced, output.room());
        } catch (const qx::text::charset::InvalidCharacterException&) {
            return false;
        } catch (const qx::text::charset::UnmappableCharacterException&) {
            return false;
        }
        output.added(produced);
        return true;
    }

    qx::Reference<Converter> m_converter;
    int32_t m_growth;
    uint32_t m_state = 0; ///< at the end of what was converted
    uint32_t m_blockState = 0;
    Buffer<Out> m_scratch;
};

/// Length of the next piece to convert: everything, but short pieces behind bad text, so that text
/// that is bad all over is not converted again and again.
class Stride {
public:
    int32_t length(int32_t left) const { return std::min(m_length, left); }
    void lengthen() { m_length = std::min(2 * m_length, Longest); }
    void shorten() { m_length = Shortest; }

private:
    static constexpr int32_t Shortest = 16;
    static constexpr int32_t Longest = 1 << 24;
    int32_t m_length = Longest;
};
