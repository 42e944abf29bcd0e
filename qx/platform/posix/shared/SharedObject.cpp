#include "qx/platform/posix/shared/SharedObject.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/handle.h>
#include <qx/platform/shared.h>

namespace qx::platform::shared {

/// Start of every file of a shared object; the state follows at StateOffset.
struct SharedObject::Header {
    std::atomic<uint32_t> magic; // written last: a file without it was never finished
    Kind kind;
    std::atomic<uint32_t> slotLimit;
    std::atomic<uint64_t> lastReapMs;         // monotonic clock
    std::atomic<uint32_t> waiting[SlotCount]; // threads, to be looked at only
};

namespace {

// Changes with every change of a state's layout.
constexpr uint32_t Magic = 0x71785309;
constexpr size_t StateOffset = 64 + sizeof(uint32_t) * SlotCount;

// Constant-initialised and empty again when everything is closed: usable before main and after it,
// and nothing to free when the library is unloaded.
constinit std::mutex s_tables;
constinit SharedObject* s_objects = nullptr;

} // namespace

std::unique_lock<std::mutex> lockProcessTables() noexcept { return std::unique_lock(s_tables); }

int32_t SharedObject::open(const Layout& layout, const char* name, uint32_t initial,
                           QXHandle* handle) noexcept {
    if (handle == nullptr)
        return result::NullPointer;
    *handle = NoHandle;
    if (name == nullptr || *name == '\0')
        return result::InvalidArgument;
    return retryWhileBusy([&] { return tryOpen(layout, name, initial, handle); });
}

int32_t SharedObject::tryOpen(const Layout& layout, const char* name, uint32_t initial,
                              QXHandle* handle) {
    char fileName[SharedFile::FileNameCapacity];
    makeFileName(Place::Lock, name, fileName);
    const uid_t user = geteuid();
    const auto lock = lockProcessTables();
    SharedObject* object = s_objects;
    while (object != nullptr && !object->serves(user, fileName))
        object = object->m_next;
    if (object != nullptr) {
        if (object->m_layout.kind != layout.kind)
            return result::InvalidHandle;
        ++object->m_references;
    } else {
        std::unique_ptr<SharedObject> made(new SharedObject(layout, user));
        if (const int32_t r = made->tryAttach(name, initial); r < 0)
            return r;
        made->m_next = s_objects;
        object = s_objects = made.release();
    }
    *handle = reinterpret_cast<uintptr_t>(object) | 1u;
    return result::Ok;
}

int32_t SharedObject::close(const Layout& layout, QXHandle handle) noexcept {
    const auto lock = lockProcessTables();
    SharedObject** link = &s_objects;
    while (*link != nullptr && (reinterpret_cast<uintptr_t>(*link) | 1u) != handle)
        link = &(*link)->m_next;
    SharedObject* object = *link;
    if (object == nullptr || object->m_layout.kind != layout.kind)
        return result::InvalidHandle;
    if (--object->m_references == 0) {
        *link = object->m_next;
        delete object;
    }
    return result::Ok;
}

SharedObject::~SharedObject() {
    // When others are busy with the state all the time they see to it themselves: without its lock
    // on the file this process is a dead one.
    constexpr uint32_t Attempts = 100;
    for (uint32_t i = 0; i < Attempts && isUsable() && !m_layout.tryLeave(m_state, *this); ++i)
        pauseBeforeRetry(0);
    if (m_header != nullptr)
        munmap(m_header, StateOffset + m_layout.sizeInBytes);
}

bool SharedObject::serves(uid_t user, const char* fileName) const noexcept {
    return isUsable() && m_user == user && std::strcmp(m_file.fileName(), fileName) == 0;
}

int32_t SharedObject::tryAttach(const char* name, uint32_t initial) {
    bool isNew = false;
    if (const int32_t r = m_file.tryOpen({.place = Place::Lock, .name = name}, isNew); r < 0)
        return r;
    if (isNew)
        m_file.reserve(StateOffset + m_layout.sizeInBytes);
    map(isNew, initial);
    if (isNew)
        m_file.endSetUp();
    m_isUsable = tryAdoptSlot();
    return m_isUsable ? result::Ok : result::Busy;
}

void SharedObject::map(bool isNew, uint32_t initial) {
    const size_t size = StateOffset + m_layout.sizeInBytes;
    // Another size is another kind or another version; beyond the end of the file lies a SIGBUS.
    if (m_file.sizeInBytes() < static_cast<int64_t>(StateOffset))
        throw Failure{result::InvalidHandle};
    void* address = m_file.mapApart(size);
    if (address == MAP_FAILED) // without /proc for one
        throw Failure{errno == ENOENT ? result::NotAvailable : lastResult()};
    m_header = static_cast<Header*>(address);
    m_state = static_cast<char*>(address) + StateOffset;
    if (isNew) {
        static_assert(sizeof(Header) <= StateOffset);
        new (m_header) Header{};
        m_header->kind = m_layout.kind;
        m_layout.construct(m_state, initial);
        m_header->magic.store(Magic); // releases what was constructed to who loads it below
    } else if (m_header->magic.load() != Magic || m_header->kind != m_layout.kind ||
               m_file.sizeInBytes() != static_cast<int64_t>(size)) {
        throw Failure{result::InvalidHandle};
    }
}

/// Makes the slot just taken visible to those who look for dead holders, and cleans it of what its
/// last process left.
bool SharedObject::tryAdoptSlot() noexcept {
    uint32_t limit = m_header->slotLimit.load();
    while (limit <= slot() && !m_header->slotLimit.compare_exchange_weak(limit, slot() + 1)) {
    }
    waitingThreads().store(0, std::memory_order_relaxed);
    return m_layout.tryLeave(m_state, *this);
}

std::atomic<uint32_t>& SharedObject::waitingThreads() noexcept { return m_header->waiting[slot()]; }

bool SharedObject::report(int file, StateReport& report) {
    struct stat status;
    if (fstat(file, &status) != 0)
        return false;
    const struct {
        const Layout& layout;
        uint32_t kind;
    } rows[] = {
        {MutexLayout, QX_SHARED_KIND_MUTEX},         {ConditionLayout, QX_SHARED_KIND_CONDITION},
        {EventLayout, QX_SHARED_KIND_EVENT},         {GateLayout, QX_SHARED_KIND_GATE},
        {SemaphoreLayout, QX_SHARED_KIND_SEMAPHORE}, {RWLockLayout, QX_SHARED_KIND_RWLOCK},
    };
    for (const auto& [layout, kind] : rows) {
        const size_t size = StateOffset + layout.sizeInBytes;
        if (status.st_size != static_cast<off_t>(size))
            continue;
        // A copy: the file may go, and be cut, while it is looked at. Blocks of new[] are aligned
        // for every state.
        const std::unique_ptr<std::byte[]> bytes(new std::byte[size]);
        if (readAt(file, bytes.get(), size, 0) != static_cast<ssize_t>(size))
            return false;
        const auto& header = *reinterpret_cast<const Header*>(bytes.get());
        if (header.magic != Magic || header.kind != layout.kind)
            continue;
        report.kind = kind;
        layout.report(bytes.get() + StateOffset, report);
        report.slotLimit = std::min(header.slotLimit.load(), SlotCount);
        for (uint32_t slot = 0; slot < report.slotLimit; ++slot)
            report.slots[slot].waiting = header.waiting[slot];
        return true;
    }
    return false;
}

uint32_t SharedObject::slotLimit() const noexcept { return m_header->slotLimit.load(); }

bool SharedObject::isReapDue() noexcept {
    const auto now = static_cast<uint64_t>(monotonicMs());
    uint64_t last = m_header->lastReapMs.load();
    return now - last >= 100 && m_header->lastReapMs.compare_exchange_strong(last, now);
}

void SharedObject::afterForkInChild() noexcept {
    for (SharedObject* object = s_objects; object != nullptr; object = object->m_next) {
        object->m_heirs.clear();
        if (!std::exchange(object->m_isUsable, false))
            continue;
        object->m_isUsable = object->m_file.tryReenter() &&
                             retryWhileBusy([object] {
                                 return object->tryAdoptSlot() ? result::Ok : result::Busy;
                             }) == result::Ok;
        // Without a slot nobody would know of this process: its handles are dead.
        if (!object->m_isUsable)
            object->m_file.abandon();
    }
}

} // namespace qx::platform::shared

constexpr qx::platform::ForkSteps qx::platform::SharedObjectForkSteps =
    HeldInFork<shared::s_tables, shared::SharedObject::afterForkInChild>;
