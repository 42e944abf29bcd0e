#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/PendingSurrogate.h>
#include <qx/text/charset/detail/Kernels.h>

namespace qx::text::charset::detail {

/// One call of convert under way: the input that is left and the room that is left. The caller's
/// positions change only when the call ends well.
template <class In, class Out>
class Window {
public:
    template <class RawIn, class RawOut>
    Window(const RawIn* in, const int32_t* inPosition, int32_t inLength, RawOut* out,
           const int32_t* outPosition, int32_t outCapacity)
        : m_in(reinterpret_cast<const In*>(in) + *inPosition), m_inStart(m_in),
          m_inEnd(m_in + std::max(inLength - *inPosition, 0)),
          m_out(reinterpret_cast<Out*>(out) + *outPosition), m_outStart(m_out),
          m_outEnd(m_out + std::max(outCapacity - *outPosition, 0)) {}

    const In* in() const { return m_in; }
    size_t left() const { return static_cast<size_t>(m_inEnd - m_in); }
    Out* out() const { return m_out; }
    size_t room() const { return static_cast<size_t>(m_outEnd - m_out); }

    void advance(size_t read, size_t written) {
        m_in += read;
        m_out += written;
    }
    void advance(RunLength progress) { advance(progress.read, progress.written); }

    /// Lets @p kernel convert what it can.
    template <class InPointer, class OutPointer>
    void run(RunLength (*kernel)(InPointer, size_t, OutPointer, size_t)) {
        advance(kernel(m_in, left(), m_out, room()));
    }

    /// Writes @p units for @p read units of the input; false when they do not fit.
    template <class Unit>
    bool replace(size_t read, std::span<const Unit> units) {
        if (room() < units.size())
            return false;
        std::copy(units.begin(), units.end(), reinterpret_cast<Unit*>(m_out));
        advance(read, units.size());
        return true;
    }

    bool replace(size_t read, Out unit) { return replace(read, std::span<const Out>(&unit, 1)); }

    /// Moves the caller's positions and returns the count of units written.
    int32_t finish(int32_t* inPosition, int32_t* outPosition) const {
        const auto written = static_cast<int32_t>(m_out - m_outStart);
        *inPosition += static_cast<int32_t>(m_in - m_inStart);
        *outPosition += written;
        return written;
    }

private:
    const In* m_in;
    const In* m_inStart;
    const In* m_inEnd;
    Out* m_out;
    Out* m_outStart;
    Out* m_outEnd;
};

using DecodeWindow = Window<uint8_t, char16_t>;
using EncodeWindow = Window<char16_t, uint8_t>;

/// The same for an encoder that takes the first half of a pair in: what is pending changes only
/// when the call ends well, as the positions do.
class PendingWindow : public EncodeWindow {
public:
    template <class... Buffers>
    explicit PendingWindow(PendingSurrogate& pending, Buffers... buffers)
        : EncodeWindow(buffers...), m_pending(pending), m_before(pending) {}
    ~PendingWindow() {
        if (!m_hasEnded)
            m_pending = m_before;
    }
    PendingWindow(const PendingWindow&) = delete;
    PendingWindow& operator=(const PendingWindow&) = delete;

    int32_t finish(int32_t* inPosition, int32_t* outPosition) {
        m_hasEnded = true;
        return EncodeWindow::finish(inPosition, outPosition);
    }

private:
    PendingSurrogate& m_pending;
    const PendingSurrogate m_before;
    bool m_hasEnded = false;
};

/// For a character without mapping.
/// @throws UnmappableCharacterException unless @p substitutionMode is on
inline void requireSubstitution(bool substitutionMode) {
    if (!substitutionMode)
        throw UnmappableCharacterException();
}

} // namespace qx::text::charset::detail
