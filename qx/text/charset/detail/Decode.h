#pragma once

#include <cstdint>
#include <cstring>

#include <qx/core/detail/CheckedSize.h>
#include <qx/text/charset/ByteToCharConverter.h>

namespace qx::detail {

/// @p length, or the bytes up to the first 0 byte when it is negative; 0 for null.
inline int32_t byteLength(const signed char* bytes, int32_t length) {
    if (!bytes)
        return 0;
    return length >= 0 ? length
                       : checkedSize(static_cast<int64_t>(
                             std::strlen(reinterpret_cast<const char*>(bytes))));
}

/// Appends the characters of @p bytes to @p target, which has length(), prepare(capacity) that
/// makes room and keeps the text, and commit(length). Room is made for one unit a byte at first,
/// which nearly always suffices; what does not fit is given more.
/// @return bytes that were converted: all but a sequence that the end cuts off
template <class Target>
int32_t decode(text::charset::ByteToCharConverter& decoder, const signed char* bytes,
               int32_t length, Target&& target) {
    // No single result is larger: a pair of surrogates, or the substitution and one unit.
    constexpr int32_t LargestResult = 4;
    int32_t read = 0;
    int32_t written = target.length();
    for (bool isFull = length > 0; isFull;) {
        const int32_t capacity = checkedSize(int64_t{written} + (length - read) + LargestResult);
        char16_t* const units = target.prepare(capacity);
        decoder.convert(bytes, &read, length, units, &written, capacity);
        target.commit(written);
        isFull = read < length && capacity - written < LargestResult;
    }
    const int32_t capacity = checkedSize(int64_t{written} + LargestResult);
    char16_t* const units = target.prepare(capacity);
    decoder.flush(units, &written, capacity);
    target.commit(written);
    return read;
}

} // namespace qx::detail
