#include "Encoding.h"

#include <algorithm>
#include <mutex>

namespace qx::codecs {

using text::charset::RunLength;

namespace {

DecodeTable decodeTable(const EncodingRow& row) {
    return row.upperHalf ? DecodeTable(std::span<const char16_t, 128>(row.upperHalf, 128))
                         : DecodeTable(row.name);
}

} // namespace

Reference<Encoding> Encoding::get(std::size_t index) {
    static std::mutex lock;
    static Reference<Encoding> known[EncodingCount];
    {
        const std::lock_guard guard(lock);
        if (known[index])
            return known[index];
    }
    // Without the lock: who knows what the library and the system's converters ask for meanwhile.
    const auto made = makeReference<Encoding>(EncodingRows[index]);
    const std::lock_guard guard(lock);
    if (!known[index]) // else another thread was faster
        known[index] = made;
    return known[index];
}

Encoding::Encoding(const EncodingRow& row)
    // Without the default encoding, which may be the one that is being made.
    : m_name(String::fromUtf8(row.name)), m_decode(decodeTable(row)),
      m_encode(row.upperHalf ? EncodeTable(m_decode) : EncodeTable(row.name)) {
    if (m_decode.isSingleByte())
        m_singleByteDecoder.emplace(m_name.getData(), m_decode.units());
    if (m_encode.bytes())
        m_singleByteEncoder.emplace(m_name.getData(), m_encode.offsets(), m_encode.bytes());
}

RunLength Encoding::decodeRun(const uint8_t* bytes, std::size_t size, char16_t* units,
                              std::size_t capacity) const {
    if (!m_singleByteDecoder)
        return m_decode.decodeRun(bytes, size, units, capacity);
    const std::size_t length =
        m_singleByteDecoder->convertRun(bytes, std::min(size, capacity), units);
    return {length, length};
}

RunLength Encoding::encodeRun(const char16_t* units, std::size_t size, uint8_t* bytes,
                              std::size_t capacity) const {
    if (!m_singleByteEncoder)
        return m_encode.encodeRun(units, size, bytes, capacity);
    const std::size_t length =
        m_singleByteEncoder->convertRun(units, std::min(size, capacity), bytes);
    return {length, length};
}

} // namespace qx::codecs
