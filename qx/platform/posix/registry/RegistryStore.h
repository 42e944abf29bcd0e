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

#include <qx/platform/posix/registry/RegistryFile.h>
#include <qx/platform/posix/registry/RegistryIndex.h>

namespace qx::platform::registry {

/// One root as this process sees it: the file and the tree that was read from it. The tree follows
/// the file by reading what was appended, and from the start when the file is another one.
class Store {
public:
    explicit Store(std::string path) : m_path(std::move(path)) {}

    /// Runs @p body with the tree as it is in the file now; its result, or why that cannot be read.
    /// Several threads may be in it at once.
    /// @throws std::bad_alloc
    template <class Body>
    int32_t read(Body&& body) {
        {
            const std::shared_lock guard(m_lock);
            if (isCurrent())
                return m_failure < 0 ? m_failure : body(std::as_const(m_index));
        }
        const std::unique_lock guard(m_lock);
        if (!isCurrent())
            load();
        return m_failure < 0 ? m_failure : body(std::as_const(m_index));
    }

    /// What to do about deletions of what is not there.
    enum class Absent { Ignore, Refuse };

    /// Makes changes, whose members were checked, as one.
    /// @throws std::bad_alloc
    int32_t change(std::span<const QXRegistryChange> changes, Absent absent);

    /// Differs whenever something changed. To be called within read.
    uint64_t version() const noexcept { return m_version; }

    /// Gives back the memory; what is still asked is read again.
    void release();

    /// Keeps other threads out, for fork.
    void lock();
    void unlock();
    /// Ends that in the child, where this thread is another one and cannot unlock.
    void renewLocks();

private:
    bool isCurrent() const noexcept;
    void load();
    void catchUp(int file, const QXFileState& state);
    bool follow(int file, uint64_t end);
    void loadAnew(int file, uint64_t end);
    void applyAll(TransactionReader& reader);
    void forget() noexcept;
    int32_t openInTurn(LockedFile& file, std::unique_lock<std::mutex>& changing);
    int32_t prepare(const LockedFile& file, std::span<const QXRegistryChange> changes,
                    Absent absent, std::vector<uint8_t>& bytes, uint64_t& offset);
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
