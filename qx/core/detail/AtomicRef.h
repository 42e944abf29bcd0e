#pragma once

#include <atomic>

namespace qx::detail {

/// Atomic access to a pointer that is a plain variable, so that what holds it can be copied and
/// given to C: what std::atomic_ref does, which not every C++ library has.
template <class T>
class AtomicRef {
public:
    explicit AtomicRef(T*& pointer) noexcept : m_pointer(pointer) {}

    T* load(std::memory_order order) const noexcept {
        return __atomic_load_n(&m_pointer, static_cast<int>(order));
    }
    void store(T* pointer, std::memory_order order) const noexcept {
        __atomic_store_n(&m_pointer, pointer, static_cast<int>(order));
    }
    T* exchange(T* pointer, std::memory_order order) const noexcept {
        return __atomic_exchange_n(&m_pointer, pointer, static_cast<int>(order));
    }
    /// Null becomes @p pointer.
    /// @return null then, else the pointer that was there
    T* replaceNull(T* pointer) const noexcept {
        T* found = nullptr;
        __atomic_compare_exchange_n(&m_pointer, &found, pointer, false, __ATOMIC_ACQ_REL,
                                    __ATOMIC_ACQUIRE);
        return found;
    }

private:
    T*& m_pointer;
};

} // namespace qx::detail
