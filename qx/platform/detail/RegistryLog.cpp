#include "qx/platform/detail/RegistryLog.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include <qx/platform/registry.h>

#include <qx/platform/detail/ByteOrder.h>
#include <qx/platform/detail/Crc32c.h>

namespace qx::platform::registry {

namespace {

constexpr uint32_t FormatVersion = 1;
constexpr char Magic[8] = {'Q', 'X', 'R', 'E', 'G', '\r', '\n', '\x1A'};

struct Header {
    char magic[8];
    LittleEndian<uint32_t> version;
    uint32_t zero;
    LittleEndian<uint64_t> generation;
    uint32_t zeroToo;
    LittleEndian<uint32_t> checksum;
};
static_assert(sizeof(Header) == HeaderBytes);

struct RecordHead {
    LittleEndian<uint32_t> checksum;
    RecordKind kind;
    uint8_t type;
    uint16_t zero;
    LittleEndian<uint32_t> textUnits;
    LittleEndian<uint32_t> dataBytes;
};
static_assert(sizeof(RecordHead) == RecordBytes);

struct CommitData {
    LittleEndian<uint64_t> start;
    LittleEndian<uint32_t> chain;
    LittleEndian<uint32_t> records;
};
static_assert(RecordBytes + sizeof(CommitData) == CommitBytes);

uint32_t commitSeed(LittleEndian<uint64_t> generation) noexcept {
    return crc32c(0, &generation, sizeof generation);
}

/// Checksum of a whole record but for its own place.
uint32_t checksumOf(const uint8_t* record, size_t size, uint32_t seed) noexcept {
    return crc32c(seed, record + sizeof(uint32_t), size - sizeof(uint32_t));
}

template <class T>
T load(const uint8_t* from) noexcept {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

/// Size of the record at the start of @p bytes; 0 when it does not lie there as a whole.
size_t sizeAt(std::span<const uint8_t> bytes) noexcept {
    if (bytes.size() < RecordBytes)
        return 0;
    const auto head = load<RecordHead>(bytes.data());
    const size_t size = recordSize(head.textUnits, head.dataBytes);
    return size <= bytes.size() ? size : 0;
}

template <class Word>
void turnWords(uint8_t* words, size_t bytes) noexcept {
    for (size_t at = 0; at + sizeof(Word) <= bytes; at += sizeof(Word))
        storeOrdered<std::endian::little>(loadOrdered<Word, std::endian::native>(words + at),
                                          words + at);
}

/// Turns the text and the value of a record from the order of bytes of the machine to that of the
/// file, or back.
void turnContents(uint8_t* bytes) noexcept {
    if constexpr (IsLittleEndian)
        return;
    const auto head = load<RecordHead>(bytes);
    uint8_t* const text = bytes + RecordBytes;
    uint8_t* const data = text + head.textUnits * sizeof(char16_t);
    turnWords<char16_t>(text, head.textUnits * sizeof(char16_t));
    if (head.kind != RecordKind::Value)
        return;
    if (head.type == QX_REG_STRING)
        turnWords<char16_t>(data, head.dataBytes);
    else if (head.type == QX_REG_UINT32)
        turnWords<uint32_t>(data, head.dataBytes);
    else if (head.type == QX_REG_UINT64)
        turnWords<uint64_t>(data, head.dataBytes);
}

Record recordAt(const uint8_t* bytes) noexcept {
    const auto head = load<RecordHead>(bytes);
    return {head.kind,
            head.type,
            {reinterpret_cast<const char16_t*>(bytes + RecordBytes), head.textUnits},
            {bytes + RecordBytes + head.textUnits * sizeof(char16_t), head.dataBytes}};
}

/// What the records before the present one say about its key.
enum class KeyState { None, Known, Exists };

/// True for the records that TransactionWriter is given.
bool isSensible(const Record& record, KeyState& key) noexcept {
    if (record.text.size() > LongestText || record.text.find(u'\0') != std::u16string_view::npos)
        return false;
    if (record.kind == RecordKind::Value)
        return key == KeyState::Exists && isValueData(record.type, record.data.size());
    if (!record.data.empty())
        return false;
    switch (record.kind) {
    case RecordKind::Key:
        key = KeyState::Exists;
        return depthOf(record.text) <= DeepestPath;
    case RecordKind::KnownKey:
        key = KeyState::Known;
        return true;
    case RecordKind::NoKey:
        key = KeyState::None;
        return depthOf(record.text) > 0;
    case RecordKind::NoValue:
        return key != KeyState::None;
    default:
        return false;
    }
}

} // namespace

size_t depthOf(std::u16string_view path) noexcept {
    size_t depth = 0;
    forEachName(path, [&](std::u16string_view) { return ++depth != 0; });
    return depth;
}

bool isValueData(int32_t type, size_t bytes) noexcept {
    switch (type) {
    case QX_REG_STRING:
        return bytes % sizeof(char16_t) == 0 && bytes <= LargestData;
    case QX_REG_UINT32:
        return bytes == sizeof(uint32_t);
    case QX_REG_UINT64:
        return bytes == sizeof(uint64_t);
    case QX_REG_BYTES:
        return bytes <= LargestData;
    default:
        return false;
    }
}

Landmark makeHeader(uint64_t generation) noexcept {
    Header header{};
    std::memcpy(header.magic, Magic, sizeof Magic);
    header.version = FormatVersion;
    header.generation = generation;
    header.checksum = crc32c(0, &header, offsetof(Header, checksum));
    return std::bit_cast<Landmark>(header);
}

HeaderState readHeader(std::span<const uint8_t> bytes, LogPlace& place) noexcept {
    if (bytes.size() < HeaderBytes)
        return HeaderState::Damaged;
    const auto header = load<Header>(bytes.data());
    if (std::memcmp(header.magic, Magic, sizeof Magic) != 0 ||
        header.checksum != crc32c(0, &header, offsetof(Header, checksum)))
        return HeaderState::Damaged;
    if (header.version != FormatVersion)
        return HeaderState::LaterVersion;
    place = {header.generation, HeaderBytes, header.checksum, std::bit_cast<Landmark>(header)};
    return HeaderState::Valid;
}

TransactionWriter::TransactionWriter(const LogPlace& place)
    : m_place(place), m_chain(place.chain) {}

void TransactionWriter::append(const Record& record, uint32_t seed) {
    const size_t size = recordSize(record.text.size(), record.data.size());
    const size_t start = m_bytes.size();
    m_bytes.resize(start + size);
    uint8_t* const at = m_bytes.data() + start;
    RecordHead head{0,
                    record.kind,
                    record.type,
                    0,
                    static_cast<uint32_t>(record.text.size()),
                    static_cast<uint32_t>(record.data.size())};
    std::memcpy(at, &head, sizeof head);
    std::copy_n(reinterpret_cast<const uint8_t*>(record.text.data()),
                record.text.size() * sizeof(char16_t), at + RecordBytes);
    std::copy_n(record.data.data(), record.data.size(),
                at + RecordBytes + record.text.size() * sizeof(char16_t));
    turnContents(at);
    m_chain = checksumOf(at, size, seed);
    storeOrdered<std::endian::little>(m_chain, at);
}

void TransactionWriter::add(const Record& record) {
    append(record, m_chain);
    ++m_records;
}

const std::vector<uint8_t>& TransactionWriter::commit() {
    const CommitData data{m_place.offset, m_chain, m_records};
    const auto* bytes = reinterpret_cast<const uint8_t*>(&data);
    append({RecordKind::Commit, 0, {}, {bytes, sizeof data}}, commitSeed(m_place.generation));
    return m_bytes;
}

ReadResult TransactionReader::next(std::vector<Record>& records) {
    records.clear();
    if (m_bytes.empty())
        return ReadResult::Ended;
    const auto unreadable = [&] {
        return hasLaterCommit() ? ReadResult::Malformed : ReadResult::Torn;
    };
    uint32_t chain = m_place.chain;
    KeyState key = KeyState::None;
    bool isOurs = true;
    for (size_t at = 0;;) {
        const size_t size = sizeAt(m_bytes.subspan(at));
        if (size == 0)
            return unreadable();
        uint8_t* const bytes = m_bytes.data() + at;
        const bool isCommit = load<RecordHead>(bytes).kind == RecordKind::Commit;
        const uint32_t seed = isCommit ? commitSeed(m_place.generation) : chain;
        const uint32_t checksum = checksumOf(bytes, size, seed);
        if (load<LittleEndian<uint32_t>>(bytes) != checksum)
            return unreadable();
        turnContents(bytes);
        const Record record = recordAt(bytes);
        at += size;
        if (!isCommit) {
            isOurs = isSensible(record, key) && isOurs;
            records.push_back(record);
            chain = checksum;
            continue;
        }
        if (size != CommitBytes)
            return unreadable();
        const auto commit = load<CommitData>(record.data.data());
        if (commit.start != m_place.offset || commit.chain != chain ||
            commit.records != records.size())
            return unreadable();
        if (!isOurs)
            return ReadResult::Malformed;
        m_place.offset += at;
        m_place.chain = checksum;
        std::copy_n(bytes, CommitBytes, m_place.landmark.begin());
        m_bytes = m_bytes.subspan(at);
        return ReadResult::Whole;
    }
}

/// Looks for a commit record of a transaction that was begun behind the present place: whoever
/// wrote it found this one whole. Records cannot be stepped over here, since the lengths may be
/// what is damaged; so every multiple of 8 is tried. Linear in what is left, once for every damaged
/// or torn tail.
bool TransactionReader::hasLaterCommit() const noexcept {
    const uint32_t seed = commitSeed(m_place.generation);
    for (size_t at = 0; at + CommitBytes <= m_bytes.size(); at += 8) {
        const uint8_t* const bytes = m_bytes.data() + at;
        const auto head = load<RecordHead>(bytes);
        if (head.kind == RecordKind::Commit && head.textUnits == 0 &&
            head.dataBytes == sizeof(CommitData) &&
            head.checksum == checksumOf(bytes, CommitBytes, seed) &&
            load<CommitData>(bytes + RecordBytes).start > m_place.offset)
            return true;
    }
    return false;
}

} // namespace qx::platform::registry
