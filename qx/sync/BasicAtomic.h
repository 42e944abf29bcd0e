#pragma once

#include <cstdint>

#include <qx/core/Object.h>

namespace qx::sync {

/// A 32-bit number as an object: the common part of Atomic and FakeAtomic, which differ in the
/// @p Cell that holds it. Code that counts for one thread or for several is a template over them.
///
/// Sums wrap around.
template <class Cell>
class BasicAtomic : public qx::Object {
public:
    explicit BasicAtomic(int32_t value = 0) noexcept : m_cell(value) {}

    int32_t get() const noexcept { return m_cell.load(); }
    void set(int32_t value) noexcept { m_cell.store(value); }
    /// Stores @p value; the number that was there.
    int32_t exchange(int32_t value) noexcept { return m_cell.exchange(value); }
    /// Stores @p value if @p expected is there; whether it was.
    bool compareExchange(int32_t expected, int32_t value) noexcept {
        return m_cell.compare_exchange_strong(expected, value);
    }
    /// Adds @p amount; the number before.
    int32_t fetchAdd(int32_t amount) noexcept { return m_cell.fetch_add(amount); }
    /// Adds 1; the number after.
    int32_t increment() noexcept { return wrapped(fetchAdd(1), 1u); }
    /// Subtracts 1; the number after.
    int32_t decrement() noexcept { return wrapped(fetchAdd(-1), ~0u); }

private:
    static int32_t wrapped(int32_t before, uint32_t amount) noexcept {
        return static_cast<int32_t>(static_cast<uint32_t>(before) + amount);
    }

    Cell m_cell;
};

} // namespace qx::sync
