#include "qx/platform/posix/registry/RegistryStore.h"

#include <algorithm>
#include <atomic>

#include <qx/platform/text.h>
#include <qx/platform/thread.h>

#include <qx/platform/posix/error.h>

namespace qx::platform::registry {

namespace {

std::u16string_view viewOf(const char16_t* text) noexcept {
    return {text, static_cast<size_t>(QXStrLenW_32(text))};
}

bool existsFor(const QXRegistryChange& deletion, const Index& index) noexcept {
    const auto path = viewOf(deletion.path);
    return deletion.kind == QX_REG_DELETE_VALUE
               ? index.findValue(path, viewOf(deletion.name)) != nullptr
               : index.find(path) != nullptr;
}

bool isDeletion(const QXRegistryChange& change) noexcept {
    return change.kind == QX_REG_DELETE_VALUE || change.kind == QX_REG_DELETE_KEY;
}

/// False when a deletion is of what is not there.
bool canDelete(std::span<const QXRegistryChange> changes, const Index& index) noexcept {
    return std::ranges::all_of(changes, [&](const QXRegistryChange& change) {
        return !isDeletion(change) || existsFor(change, index);
    });
}

/// Writes changes as records. Those about one key in a row name it once.
void addRecords(std::span<const QXRegistryChange> changes, TransactionWriter& writer) {
    auto keyKind = RecordKind::NoKey; // of the record that named the present key
    std::u16string_view keyPath;
    const auto addKey = [&](RecordKind kind, std::u16string_view path) {
        if (kind != keyKind || path != keyPath || kind == RecordKind::NoKey)
            writer.add({kind, 0, path, {}});
        keyKind = kind;
        keyPath = path;
    };
    for (const QXRegistryChange& change : changes) {
        const auto path = viewOf(change.path);
        switch (change.kind) {
        case QX_REG_CREATE_KEY:
            addKey(RecordKind::Key, path);
            break;
        case QX_REG_SET_VALUE:
            addKey(RecordKind::Key, path);
            writer.add(
                {RecordKind::Value,
                 static_cast<uint8_t>(change.type),
                 viewOf(change.name),
                 {static_cast<const uint8_t*>(change.data), static_cast<size_t>(change.length)}});
            break;
        case QX_REG_DELETE_VALUE:
            addKey(RecordKind::KnownKey, path);
            writer.add({RecordKind::NoValue, 0, viewOf(change.name), {}});
            break;
        default:
            addKey(RecordKind::NoKey, path);
        }
    }
}

/// One for all stores, so that the versions of two folders differ too.
uint64_t nextVersion() noexcept {
    static constinit std::atomic<uint64_t> last{0};
    return ++last;
}

} // namespace

/// Whether the file is as it was when it was read. One look at its status.
///
/// A file that ended behind a whole transaction is followed by its size alone: whatever is appended
/// changes that. One with a torn tail may get as many bytes in place of the tail, within one tick
/// of the clock that stamps files; it is believed only once its time is older than such a tick.
bool Store::isCurrent() const noexcept {
    if (!m_isKnown || !(m_isClean || m_isSettled))
        return false;
    QXFileState state;
    const int32_t result = QXFileGetState(m_path.c_str(), &state);
    return (result >= 0 || result == result::NotFound) && QXFileIsSameState(&state, &m_state) != 0;
}

void Store::load() {
    m_isKnown = false;
    if (const Descriptor file = openForReading(m_path))
        return catchUp(file.get(), stateOf(file.get()));
    forget();
    m_state = {};
    m_failure = result::Ok;
    m_isKnown = m_isClean = true;
}

/// Reads what is new in an open file of the given state.
void Store::catchUp(int file, const QXFileState& state) {
    const auto end = static_cast<uint64_t>(state.size);
    m_isKnown = m_isClean = false;
    m_failure = result::Ok;
    try {
        if (!follow(file, end))
            loadAnew(file, end);
    } catch (const Failure& failure) {
        m_failure = failure.code;
    } catch (...) {
        forget();
        throw;
    }
    m_state = state;
    m_isSettled = QXFileIsStateSettled(&state) != 0;
    // What is damaged stays so until the file changes; a failure to read may pass.
    m_isKnown = m_failure >= 0 || m_failure == result::Corrupt;
}

/// Reads what was appended since the last time; false when the file is another one.
bool Store::follow(int file, uint64_t end) {
    if (m_place.offset == 0 || end < m_place.offset)
        return false;
    std::vector<uint8_t> bytes = readRange(file, m_place.offset - sizeof(Landmark), end);
    if (bytes.size() < sizeof(Landmark) ||
        !std::equal(m_place.landmark.begin(), m_place.landmark.end(), bytes.begin()))
        return false;
    TransactionReader reader(std::span<uint8_t>(bytes).subspan(sizeof(Landmark)), m_place);
    applyAll(reader);
    return true;
}

void Store::loadAnew(int file, uint64_t end) {
    forget();
    std::vector<uint8_t> bytes = readRange(file, 0, end);
    LogPlace start;
    switch (readHeader(bytes, start)) {
    case HeaderState::Valid:
        break;
    case HeaderState::Damaged:
        throw Failure{result::Corrupt};
    case HeaderState::LaterVersion:
        throw Failure{resultFromErrno(EOPNOTSUPP)};
    }
    TransactionReader reader(std::span<uint8_t>(bytes).subspan(HeaderBytes), start);
    m_place = start;
    applyAll(reader);
}

void Store::applyAll(TransactionReader& reader) {
    std::vector<Record> records;
    ReadResult result;
    while ((result = reader.next(records)) == ReadResult::Whole) {
        m_index.apply(records);
        m_version = nextVersion();
    }
    m_place = reader.place();
    m_isClean = result == ReadResult::Ended;
    if (result == ReadResult::Malformed)
        throw Failure{result::Corrupt};
}

void Store::forget() noexcept {
    m_index = Index();
    m_place = {};
    m_version = nextVersion();
}

/// The bytes of the transaction that makes the changes, and where they belong in the locked file;
/// false when a deletion is refused.
bool Store::prepare(const LockedFile& file, std::span<const QXRegistryChange> changes,
                    Absent absent, std::vector<uint8_t>& bytes, uint64_t& offset) {
    const std::unique_lock guard(m_lock);
    const QXFileState state = stateOf(file.descriptor());
    if (!m_isKnown || !m_isClean || QXFileIsSameState(&state, &m_state) == 0)
        catchUp(file.descriptor(), state);
    const Index& index = readableIndex();
    if (absent == Absent::Refuse && !canDelete(changes, index))
        return false;
    TransactionWriter writer(m_place);
    addRecords(changes, writer);
    bytes = writer.commit();
    offset = m_place.offset;
    return true;
}

/// The file without what was replaced or deleted, when that is more than half of it; else nothing.
std::vector<uint8_t> Store::compactedIfDue(const LockedFile& file) {
    constexpr uint64_t SmallestWorthIt = 64 << 10;
    const std::unique_lock guard(m_lock);
    catchUp(file.descriptor(), stateOf(file.descriptor())); // with the change just made
    if (m_failure < 0 || m_place.offset < SmallestWorthIt ||
        m_place.offset / 2 < m_index.liveBytes() + HeaderBytes + CommitBytes)
        return {};
    const Landmark header = makeHeader(m_place.generation + 1);
    LogPlace place;
    readHeader(header, place);
    std::vector<uint8_t> bytes(header.begin(), header.end());
    const std::vector<uint8_t> transaction = m_index.toTransaction(place);
    bytes.insert(bytes.end(), transaction.begin(), transaction.end());
    return bytes;
}

/// Waits until nobody else has the file, but not for long for one who may only read it. The lock of
/// this process is not held over that: whoever has the file may be stopped, and forks take the
/// lock.
void Store::openInTurn(LockedFile& file, std::unique_lock<std::mutex>& changing) {
    const Deadline patience = Deadline::after(3000);
    while (!file.tryOpen(m_path, patience)) {
        changing.unlock();
        QXThreadSleep(1);
        changing.lock();
    }
}

bool Store::change(std::span<const QXRegistryChange> changes, Absent absent) {
    if (changes.empty())
        return true;
    // Found out before a file is made in which nothing is to be deleted.
    if (absent == Absent::Refuse &&
        !read([&](const Index& index) { return canDelete(changes, index); }))
        return false;
    std::unique_lock changing(m_changeLock);
    LockedFile file;
    openInTurn(file, changing);
    std::vector<uint8_t> bytes;
    uint64_t offset = 0;
    if (!prepare(file, changes, absent, bytes, offset))
        return false;
    file.append(offset, bytes); // other threads read meanwhile
    // The change is made; what fails from here on is only not made smaller. The lock is still held,
    // on a file that then has no name any more: a writer that waits for it finds that out and opens
    // the new one (see LockedFile::tryOpen).
    static_cast<void>(resultOf([&] {
        const std::vector<uint8_t> compacted = compactedIfDue(file);
        if (!compacted.empty())
            QXFileReplace(m_path.c_str(), compacted.data(), static_cast<int64_t>(compacted.size()),
                          0600, nullptr);
    }));
    return true;
}

void Store::release() {
    const std::unique_lock guard(m_lock);
    forget();
    m_isKnown = false;
}

void Store::lock() {
    m_changeLock.lock();
    m_lock.lock();
}

void Store::unlock() {
    m_lock.unlock();
    m_changeLock.unlock();
}

void Store::renewLocks() {
    unlock();
    new (&m_changeLock) std::mutex;
    new (&m_lock) std::shared_mutex;
}

} // namespace qx::platform::registry
