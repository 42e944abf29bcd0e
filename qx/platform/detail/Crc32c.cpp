#include "qx/platform/detail/Crc32c.h"

#include <array>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <qx/platform/detail/ByteOrder.h>

namespace qx::platform {

namespace {

constexpr uint32_t Polynomial = 0x82F63B78; // reflected

using Table = std::array<uint32_t, 256>;

/// Row n holds the checksums of single bytes with n zero bytes behind them, so that eight bytes go
/// through eight rows at once.
constexpr std::array<Table, 8> makeTables() {
    std::array<Table, 8> tables{};
    for (uint32_t byte = 0; byte < 256; ++byte) {
        uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ ((crc & 1) != 0 ? Polynomial : 0);
        tables[0][byte] = crc;
    }
    for (size_t row = 1; row < tables.size(); ++row) {
        for (size_t byte = 0; byte < 256; ++byte) {
            const uint32_t crc = tables[row - 1][byte];
            tables[row][byte] = crc >> 8 ^ tables[0][crc & 0xFF];
        }
    }
    return tables;
}

constexpr std::array<Table, 8> Tables = makeTables();

#if defined(__x86_64__)
[[gnu::target("sse4.2")]] uint32_t byInstruction(uint32_t before, const void* data,
                                                 size_t length) noexcept {
    const auto* at = static_cast<const uint8_t*>(data);
    uint64_t crc = ~before;
    for (; length >= 8; at += 8, length -= 8) {
        uint64_t word;
        std::memcpy(&word, at, sizeof word);
        crc = _mm_crc32_u64(crc, word);
    }
    auto narrow = static_cast<uint32_t>(crc);
    for (; length > 0; ++at, --length)
        narrow = _mm_crc32_u8(narrow, *at);
    return ~narrow;
}
#endif

} // namespace

uint32_t crc32cByTable(uint32_t before, const void* data, size_t length) noexcept {
    const auto* at = static_cast<const uint8_t*>(data);
    uint32_t crc = ~before;
    for (; length >= 8; at += 8, length -= 8) {
        const uint64_t word = loadOrdered<uint64_t, std::endian::little>(at) ^ crc;
        crc = 0;
        for (size_t i = 0; i < 8; ++i)
            crc ^= Tables[7 - i][word >> (8 * i) & 0xFF];
    }
    for (; length > 0; ++at, --length)
        crc = crc >> 8 ^ Tables[0][(crc ^ *at) & 0xFF];
    return ~crc;
}

uint32_t crc32c(uint32_t before, const void* data, size_t length) noexcept {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("sse4.2"))
        return byInstruction(before, data, length);
#endif
    return crc32cByTable(before, data, length);
}

} // namespace qx::platform
