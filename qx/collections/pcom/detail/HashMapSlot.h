#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <utility>

#include <qx/collections/pcom/detail/HashMapEntry.h>
#include <qx/core/detail/AtomicRef.h>

namespace qx::collections::pcom {

/// What a HashMap stores for a key, in half a cache line. It owns a reference to the key and one to
/// the value, or, once somebody has seen its entry, one to that, which has them.
struct HashMapSlot {
    IQXUnknown* key = nullptr;
    /// Of no meaning once there is an entry.
    IQXUnknown* valueUnseen = nullptr;
    HashMapEntry* entry = nullptr;
    /// The comparator's hash of the key, so that it is asked only once.
    uint32_t hash = 0;
    /// The slot after this one in its bucket, or among the free ones; 0 for none.
    uint32_t next = 0;

    /// Null when nobody has seen it.
    HashMapEntry* seenEntry() const noexcept {
        return qx::detail::AtomicRef(const_cast<HashMapEntry*&>(entry))
            .load(std::memory_order_acquire);
    }
    IQXUnknown* value() const noexcept {
        const HashMapEntry* const seen = seenEntry();
        return seen ? seen->m_value.get() : valueUnseen;
    }
    /// @return the value before
    Reference<IQXUnknown> setValue(Reference<IQXUnknown> value) noexcept {
        if (HashMapEntry* const seen = seenEntry())
            seen->m_value.swap(value);
        else
            value = Reference<IQXUnknown>::attach(std::exchange(valueUnseen, value.detach()));
        return value;
    }

    /// The entry, which is made when there is none yet. Several readers may ask at once.
    /// @throws std::bad_alloc
    HashMapEntry& madeEntry() {
        HashMapEntry* const seen = seenEntry();
        return seen ? *seen : makeEntry();
    }
    [[gnu::noinline]] HashMapEntry& makeEntry() {
        Reference<HashMapEntry> made(new HashMapEntry(key, valueUnseen, hash));
        HashMapEntry* const first = qx::detail::AtomicRef(entry).replaceNull(made.get());
        if (!first)
            return *made.detach();
        static_cast<void>(made->m_key.detach());
        static_cast<void>(made->m_value.detach());
        return *first;
    }

    /// Drops what it owns.
    void release() noexcept {
        if (entry) {
            Reference<HashMapEntry>::attach(entry).reset();
            return;
        }
        const auto ownedKey = Reference<IQXUnknown>::attach(key);
        Reference<IQXUnknown>::attach(valueUnseen).reset();
    }
};

static_assert(sizeof(HashMapSlot) == 32, "no slot lies on two cache lines");

/// A slot that has left its table, or references to what is in one that will.
class HashMapContent {
public:
    HashMapContent() = default;
    /// Takes over what is in @p slot.
    explicit HashMapContent(const HashMapSlot& slot) noexcept : m_slot(slot) {}
    HashMapContent(HashMapContent&& other) noexcept
        : m_slot(std::exchange(other.m_slot, HashMapSlot())) {}
    HashMapContent& operator=(HashMapContent other) noexcept {
        std::swap(m_slot, other.m_slot);
        return *this;
    }
    ~HashMapContent() { m_slot.release(); }

    static HashMapContent sharedWith(const HashMapSlot& slot) noexcept {
        if (HashMapEntry* const seen = slot.seenEntry()) {
            seen->AddRef();
        } else {
            for (IQXUnknown* const part : {slot.key, slot.valueUnseen}) {
                if (part)
                    part->AddRef();
            }
        }
        return HashMapContent(slot);
    }

    HashMapSlot& slot() noexcept { return m_slot; }
    /// What is here as its entry, which is made when there is none yet.
    /// @throws std::bad_alloc
    Reference<IQXUnknown> takeEntry() {
        HashMapEntry& entry = m_slot.madeEntry();
        m_slot = HashMapSlot();
        return Reference<IQXUnknown>::attach(entry.GetUnknown());
    }

private:
    HashMapSlot m_slot;
};

// A walk down the buckets of a table comes to slots that lie anywhere, as do their keys and values,
// and waits for each of them unless they are fetched into the cache ahead. Ahead is as many buckets
// as pass in the time of a fetch. What does nothing but fetch is inlined always: g++ takes it for a
// function without an effect, and leaves out a call.

constexpr int BucketsAhead = 8;

/// Fetches a slot that comes after those in @p bucket.
[[gnu::always_inline]] inline void prefetchSlot(const uint32_t* table, const HashMapSlot* slots,
                                                int bucket) noexcept {
    if (bucket < 2 * BucketsAhead)
        return;
    if (const uint32_t number = table[bucket - 2 * BucketsAhead])
        __builtin_prefetch(slots + (number - 1));
}
/// Fetches a slot, and key and value of one that is nearer and should have arrived.
[[gnu::always_inline]] inline void prefetchElements(const uint32_t* table, const HashMapSlot* slots,
                                                    int bucket) noexcept {
    prefetchSlot(table, slots, bucket);
    if (bucket < BucketsAhead)
        return;
    if (const uint32_t number = table[bucket - BucketsAhead]) {
        __builtin_prefetch(slots[number - 1].key);
        __builtin_prefetch(slots[number - 1].valueUnseen);
    }
}

/// True for a table of which a walk sees little but empty buckets, as that of a small map.
inline bool isSparse(int size, int tableLength) noexcept { return size < tableLength / 8; }

/// Passes the buckets in front of @p bucket, several at a time, as long as they are empty.
inline int passEmptyBuckets(const uint32_t* table, int bucket) noexcept {
    constexpr int AtATime = 8;
    uint64_t pairs[AtATime / 2];
    for (; bucket >= AtATime; bucket -= AtATime) {
        std::memcpy(pairs, table + (bucket - AtATime), sizeof pairs);
        if ((pairs[0] | pairs[1] | pairs[2] | pairs[3]) != 0)
            break;
    }
    return bucket;
}

} // namespace qx::collections::pcom
