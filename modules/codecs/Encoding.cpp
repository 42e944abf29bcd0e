#include "Encoding.h"

#include <algorithm>
#include <mutex>

namespace qx::codecs {

using text::charset::RunLength;

namespace {

DecodeTable decodeTable(const EncodingRow& row) {
    return row.units ? DecodeTable(std::span<const char16_t, 256>(row.units, 256))
                     : DecodeTable(row.name);
}

} // namespace

Reference<Encoding> Encoding::get(std::size_t index) {
    static std::mutex lock;
    static Reference<Encoding> made[EncodingCount];
    const std::lock_guard guard(lock);
    if (!made[index])
        made[index] = makeReference<Encoding>(EncodingRows[index]);
    return made[index];
}

Encoding::Encoding(const EncodingRow& row)
    : m_name(row.name), m_decode(decodeTable(row)),
      m_encode(row.units ? EncodeTable(m_decode) : EncodeTable(row.name)) {
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
