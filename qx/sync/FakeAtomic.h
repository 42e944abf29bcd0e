#pragma once

#include <cstdint>
#include <utility>

#include <qx/platform/export.h>
#include <qx/sync/BasicAtomic.h>

namespace qx::sync {

/// A number that one thread at a time reads and changes, with the operations of std::atomic that
/// BasicAtomic needs.
class PlainCell {
public:
    explicit PlainCell(int32_t value) noexcept : m_value(value) {}

    int32_t load() const noexcept { return m_value; }
    void store(int32_t value) noexcept { m_value = value; }
    int32_t exchange(int32_t value) noexcept { return std::exchange(m_value, value); }
    int32_t fetch_add(int32_t amount) noexcept {
        return exchange(
            static_cast<int32_t>(static_cast<uint32_t>(m_value) + static_cast<uint32_t>(amount)));
    }
    bool compare_exchange_strong(int32_t& expected, int32_t value) noexcept {
        const int32_t before = std::exchange(expected, m_value);
        if (before != m_value)
            return false;
        m_value = value;
        return true;
    }

private:
    int32_t m_value;
};

/// The twin of Atomic without synchronisation, for code that is a template over the counter and
/// whose objects stay in one thread.
class QX_API FakeAtomic : public BasicAtomic<PlainCell> {
public:
    using BasicAtomic::BasicAtomic;
};

} // namespace qx::sync
