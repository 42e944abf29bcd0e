#include "qx/io/AlphaNumOutputStream.h"

#include <algorithm>

#include <qx/io/detail/AlphaNumAlphabet.h>

namespace qx::io {

AlphaNumOutputStream::AlphaNumOutputStream(OutputStream* out, const char16_t* alphabet)
    : FilterOutputStream(out) {
    const auto symbols = detail::alphaNumSymbols(alphabet);
    std::transform(symbols.begin(), symbols.end(), m_symbols.begin(),
                   [](char16_t unit) { return static_cast<signed char>(unit); });
}

void AlphaNumOutputStream::write(const signed char* from, int32_t length) {
    constexpr int32_t BytesPerBlock = 320;
    signed char block[BytesPerBlock / 5 * 8]; // also enough when a block begins amid a group
    for (int32_t done = 0; done < length;) {
        const int32_t end = length - done > BytesPerBlock ? done + BytesPerBlock : length;
        uint32_t window = m_previous;
        int32_t bits = m_bits;
        int32_t count = 0;
        for (; done < end; ++done) {
            window = window << 8 | static_cast<uint8_t>(from[done]);
            for (bits += 8; bits >= 5; bits -= 5)
                block[count++] = m_symbols[window >> (bits - 5) & 31];
        }
        wrapped().write(block, count);
        m_previous = static_cast<uint8_t>(window);
        m_bits = bits;
    }
}

void AlphaNumOutputStream::flush() {
    if (m_bits > 0) {
        const signed char symbol = m_symbols[m_previous << (5 - m_bits) & 31];
        wrapped().write(&symbol, 1);
        m_bits = 0;
    }
    FilterOutputStream::flush();
}

} // namespace qx::io
