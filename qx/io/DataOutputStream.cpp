#include "qx/io/DataOutputStream.h"

#include <algorithm>

namespace qx::io {

namespace {

/// Bytes that are put in order and then written.
constexpr size_t BlockSize = 16'384;

} // namespace

void DataOutputStream::writeBool(bool value) { wrapped().write(static_cast<signed char>(value)); }

void DataOutputStream::writeByte(signed char value) { wrapped().write(value); }

void DataOutputStream::writeChar16(char16_t value) { writeInt16(static_cast<int16_t>(value)); }

void DataOutputStream::writeChar32(uint32_t value) { writeInt32(static_cast<int32_t>(value)); }

void DataOutputStream::writeInt64(int64_t value) {
    writeInt32(static_cast<int32_t>(value >> 32));
    writeInt32(static_cast<int32_t>(value));
}

void DataOutputStream::writeFloat(float value) { writeInt32(std::bit_cast<int32_t>(value)); }

void DataOutputStream::writeDouble(double value) { writeInt64(std::bit_cast<int64_t>(value)); }

void DataOutputStream::writeString(const util::AbstractCharBuffer&) {}

/// Writes the lowest @p count bytes of @p value one by one.
void DataOutputStream::putBytes(int32_t value, int count) {
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8)
        wrapped().write(static_cast<signed char>(value >> shift));
}

void DataOutputStream::writeWords(const void* from, int32_t count, size_t wordSize) {
    const auto* bytes = static_cast<const signed char*>(from);
    for (size_t left = count < 0 ? 0 : static_cast<size_t>(count); left != 0;) {
        const size_t words = std::min(left, BlockSize / wordSize);
        const auto length = static_cast<int32_t>(words * wordSize);
        if (signed char* const claimed = m_memory.tryClaim(length)) {
            copyInOrder(claimed, bytes, words, wordSize, QX_ENDIAN_BIG);
        } else {
            signed char block[BlockSize];
            copyInOrder(block, bytes, words, wordSize, QX_ENDIAN_BIG);
            wrapped().write(block, length);
        }
        bytes += length;
        left -= words;
    }
}

} // namespace qx::io
