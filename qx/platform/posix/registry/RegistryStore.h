#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <span>
#include <string>
#include <vector>

#include <qx/platform/registry.h>
#include <qx/platform/replace.h>
#include <qx/platform/result.h>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/registry/RegistryFile.h>
#include <qx/platform/posix/registry/RegistryIndex.h>

namespace qx::platform::registry {

/// One root as this process sees it: the file and the tree that was read from it. The tree follows
/// the file by reading what was appended, and from the start when the file is another one.
///
/// Readers take no lock on the file. They need none: bytes that a reader has taken for a
/// transaction never change again, since writers only append, and what a writer is in the middle of
/// appending has no commit record yet. A compacted file is another one under the same name, so that
/// a reader who still has the old one open sees that whole.
///
/// A writer holds the lock on the file from before it looks for the end of the log until its
/// transaction is durable: two writers would append at one place. It reads what others have
/// appended before its own change, because the checksum of its transaction continues theirs.
class Store {
public:
    explicit Store(std::string path) : m_path(std::move(path)) {}

    /// Runs @p body with the tree as it is in the file now; its result. Throws why the tree cannot
    /// be read. Several threads may be in it at once.
    template <class Body>
    auto read(Body&& body) {
        {
            const std::shared_lock guard(m_lock);
            if (isCurrent())
                return body(readableIndex());
        }
        const std::unique_lock guard(m_lock);
        if (!isCurrent())
            load();
        return body(readableIndex());
    }

    /// What to do about deletions of what is not there.
    enum class Absent { Ignore, Refuse };

    /// Makes changes, whose members were checked, as one: false when a deletion is refused.
    bool change(std::span<const QXRegistryChange> changes, Absent absent);

    /// Differs whenever something changed. To be called within read.
    uint64_t version() const noexcept { return m_version; }

    /// Gives back the memory; what is still asked is read again.
    void release();

    /// Keeps other threads out, for fork.
    void lock();
    void unlock();
    /// Ends that in the child, where nobody waits whom the locks may count.
    void renewLocks();

private:
    bool isCurrent() const noexcept;
    void load();
    const Index& readableIndex() const {
        throwIfFailed(m_failure);
        return m_index;
    }
    void catchUp(int file, const QXFileState& state);
    bool follow(int file, uint64_t end);
    void loadAnew(int file, uint64_t end);
    void applyAll(TransactionReader& reader);
    void forget() noexcept;
    void openInTurn(LockedFile& file, std::unique_lock<std::mutex>& changing);
    bool prepare(const LockedFile& file, std::span<const QXRegistryChange> changes, Absent absent,
                 std::vector<uint8_t>& bytes, uint64_t& offset);
    std::vector<uint8_t> compactedIfDue(const LockedFile& file);

    const std::string m_path;
    std::mutex m_changeLock; // taken before m_lock
    std::shared_mutex m_lock;
    // What follows is guarded by m_lock.
    Index m_index;
    LogPlace m_place;         // behind what the index holds; offset 0 when there is nothing
    QXFileState m_state{};    // of the file when it was read; zeros without one
    int32_t m_failure = 0;    // of reading it
    bool m_isKnown = false;   // what is above fits the file
    bool m_isClean = false;   // the file ended behind the last transaction
    bool m_isSettled = false; // and could not change unseen any more
    uint64_t m_version = 0;
};

} // namespace qx::platform::registry
