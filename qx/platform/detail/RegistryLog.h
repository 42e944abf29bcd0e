#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include <qx/platform/export.h>

/*
 * The file format of the registry, little-endian on every machine: its own numbers, the units of
 * texts, and values that are texts or numbers. A file is a header and the transactions that led
 * from the empty tree to the present one:
 *
 *   header       "QXREG\r\n\x1A", uint32 format version, uint32 0, uint64 generation, uint32 0,
 *                uint32 CRC-32C of the 28 bytes before: 32 bytes
 *   transaction  records and a commit record
 *   record       uint32 checksum, uint8 kind, uint8 type, uint16 0, uint32 units of text,
 *                uint32 bytes of data, the text, the data, zeros up to a multiple of 8
 *
 * The generation is random and grows with each compaction. The checksum of a record is the CRC-32C
 * of its other bytes continued from the checksum of the record before it, over the commit records
 * of earlier transactions and back to the header. A commit record has 16 bytes of data: the
 * position of its transaction in the file (uint64), the checksum before it and the number of
 * records (uint32 each). Its own checksum continues a number made from the generation alone, so a
 * commit record can be told from other bytes wherever it lies.
 *
 * Thus a transaction counts only when it is whole and follows just what it followed when it was
 * written. One that is not whole at the end of the file is what an interrupted writer left: nobody
 * was told that its change is made, so that it is passed over and the next writer replaces it. One
 * with a commit record of a later transaction behind it is damage: whoever wrote that record had
 * found this transaction whole, and to cut it off would lose what was promised.
 *
 * The disk may write the blocks of one transaction in any order before it is durable. That is why
 * the commit record holds the checksum of what lies in front of it: a commit record alone, with
 * other records missing, does not count.
 */

namespace qx::platform::registry {

inline constexpr size_t HeaderBytes = 32;
inline constexpr size_t RecordBytes = 16; // in front of text and data
inline constexpr size_t CommitBytes = 32;
inline constexpr size_t LongestText = 65535; // units
inline constexpr size_t DeepestPath = 512;   // names
inline constexpr size_t LargestData = size_t{64} << 20;

enum class RecordKind : uint8_t {
    Key = 1,  ///< the key whose path is the text exists; the next records are about it
    Value,    ///< it has the value named by the text, with type and data
    NoValue,  ///< it has no value named by the text
    NoKey,    ///< the key whose path is the text does not exist, nor any below it
    KnownKey, ///< the next records are about the key whose path is the text, if it exists
    Commit = 8
};

struct Record {
    RecordKind kind;
    uint8_t type = 0;
    std::u16string_view text;
    std::span<const uint8_t> data;
};

/// Calls @p visit with each name of a path until it returns false.
template <class Visit>
bool forEachName(std::u16string_view path, Visit visit) {
    while (!path.empty()) {
        const size_t length = std::min(path.find(u'\\'), path.size());
        if (length > 0 && !visit(path.substr(0, length)))
            return false;
        path.remove_prefix(std::min(length + 1, path.size()));
    }
    return true;
}

QX_API size_t depthOf(std::u16string_view path) noexcept;

/// True when the value's data have the length and form that its type asks for.
QX_API bool isValueData(int32_t type, size_t bytes) noexcept;

/// Bytes of a record in the file.
constexpr size_t recordSize(size_t textUnits, size_t dataBytes) noexcept {
    return (RecordBytes + textUnits * sizeof(char16_t) + dataBytes + 7) / 8 * 8;
}

/// The 32 bytes in front of a place in the file, a header or a commit record; they differ whenever
/// anything before them does.
using Landmark = std::array<uint8_t, 32>;
static_assert(HeaderBytes == CommitBytes);

/// A place between transactions.
struct LogPlace {
    uint64_t generation = 0;
    uint64_t offset = 0; ///< in the file; a multiple of 8
    uint32_t chain = 0;  ///< checksum of what lies in front
    Landmark landmark{};
};

enum class HeaderState { Valid, Damaged, LaterVersion };

QX_API Landmark makeHeader(uint64_t generation) noexcept;
/// On success @p place is the one behind the header.
QX_API HeaderState readHeader(std::span<const uint8_t> bytes, LogPlace& place) noexcept;

/// Builds one transaction that begins at @p place.
class QX_API TransactionWriter {
public:
    explicit TransactionWriter(const LogPlace& place);

    /// @throws std::bad_alloc
    void add(const Record& record);
    /// Ends the transaction; its bytes.
    const std::vector<uint8_t>& commit();

private:
    void append(const Record& record, uint32_t seed);

    LogPlace m_place;
    uint32_t m_chain;
    uint32_t m_records = 0;
    std::vector<uint8_t> m_bytes;
};

enum class ReadResult {
    Whole,     ///< a transaction was read
    Ended,     ///< there is nothing more
    Torn,      ///< what follows is no whole transaction, and none comes later
    Malformed, ///< a whole transaction that no writer of this version makes, or damage
};

/// Reads one transaction after another.
class QX_API TransactionReader {
public:
    /// @param bytes  of the file from @p place to its end, aligned to 8; kept by the caller. What
    ///     is read of them is turned to the order of bytes of the machine in place.
    TransactionReader(std::span<uint8_t> bytes, const LogPlace& place)
        : m_bytes(bytes), m_place(place) {}

    /// @param records  receives the records of a Whole transaction without its commit record; they
    ///     refer to the bytes
    /// @throws std::bad_alloc
    ReadResult next(std::vector<Record>& records);

    /// Behind the last whole transaction.
    const LogPlace& place() const noexcept { return m_place; }

private:
    bool hasLaterCommit() const noexcept;

    std::span<uint8_t> m_bytes; // from the place on
    LogPlace m_place;
};

} // namespace qx::platform::registry
