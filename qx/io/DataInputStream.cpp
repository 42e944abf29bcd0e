#include "qx/io/DataInputStream.h"

#include <algorithm>

#include <qx/core/String.h>
#include <qx/io/IoException.h>
#include <qx/io/MovedLength.h>

namespace qx::io {

namespace {

/// Bytes that are read and then put in order: what stays in the caches between the two.
constexpr size_t BlockSize = 65'536;

[[noreturn]] void throwEnded() {
    throw withDetail(UnexpectedEOFException(), u"the stream ends inside a value"_qs);
}

/// The next byte as 0 to 255.
int requireByte(InputStream& in) {
    const int byte = in.next();
    if (byte < 0)
        throwEnded();
    return byte;
}

} // namespace

void DataInputStream::readFully(signed char* to, int32_t length) {
    while (length > 0) {
        const int32_t count = checkedMove(wrapped().read(to, length), length);
        if (count < 0)
            throwEnded();
        to += count;
        length -= count;
    }
}

bool DataInputStream::readBool() { return requireByte(wrapped()) != 0; }

signed char DataInputStream::readByte() { return static_cast<signed char>(requireByte(wrapped())); }

char16_t DataInputStream::readChar16() { return static_cast<char16_t>(readInt16()); }

uint32_t DataInputStream::readChar32() { return static_cast<uint32_t>(readInt32()); }

int64_t DataInputStream::readInt64() {
    const int64_t high = readInt32();
    return high << 32 | static_cast<uint32_t>(readInt32());
}

float DataInputStream::readFloat() { return std::bit_cast<float>(readInt32()); }

double DataInputStream::readDouble() { return std::bit_cast<double>(readInt64()); }

String DataInputStream::readString() { return {}; }

/// Reads @p count bytes one by one. The end is looked at when all of them were asked for.
uint32_t DataInputStream::takeBytes(int count) {
    uint32_t word = 0;
    bool ended = false;
    for (; count > 0; --count) {
        const int byte = wrapped().next();
        ended = ended || byte < 0;
        word = word << 8 | (byte & 0xFF);
    }
    if (ended)
        throwEnded();
    return word;
}

void DataInputStream::readWords(void* to, int32_t count, size_t wordSize) {
    auto* bytes = static_cast<signed char*>(to);
    for (size_t left = count < 0 ? 0 : static_cast<size_t>(count); left != 0;) {
        const size_t words = std::min(left, BlockSize / wordSize);
        const auto length = static_cast<int32_t>(words * wordSize);
        if (const signed char* const taken = m_memory.tryTake(length)) {
            copyInOrder(bytes, taken, words, wordSize, QX_ENDIAN_BIG);
        } else {
            DataInputStream::readFully(bytes, length);
            copyInOrder(bytes, bytes, words, wordSize, QX_ENDIAN_BIG);
        }
        bytes += length;
        left -= words;
    }
}

} // namespace qx::io
