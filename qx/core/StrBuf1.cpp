#include "qx/core/StrBuf1.h"

#include <algorithm>
#include <new>

#include <qx/core/detail/CheckedSize.h>

namespace qx {

StrBuf1* StrBuf1::create(int32_t capacity) {
    const int32_t adjusted = detail::adjustedCapacity(capacity);
    // The largest multiple of 16 is one unit more than the capacity can say.
    if (capacity > MaxCapacity)
        throw std::bad_alloc();
    const size_t size = sizeof(StrBuf1) + static_cast<size_t>(adjusted) * sizeof(char16_t);
    char* const block = static_cast<char*>(::operator new(size));
    return ::new (block) StrBuf1(reinterpret_cast<char16_t*>(block + sizeof(StrBuf1)), adjusted);
}

StrBuf1::StrBuf1(char16_t* data, int32_t capacity) noexcept
    : m_data(data), m_capacity(static_cast<uint32_t>(std::clamp(capacity, 0, MaxCapacity)) &
                               static_cast<uint32_t>(MaxCapacity)),
      m_isStatic(0), m_isShared(0) {}

StrBuf1::~StrBuf1() = default;

void StrBuf1::initStaticInstance(bool isShared) noexcept {
    AddRef();
    m_isStatic = 1;
    m_isShared = isShared ? 1 : 0;
}

int32_t StrBuf1::isPrivatelyHeld(bool isUnused) const noexcept {
    const uint32_t holders = m_isStatic && !isUnused ? 2 : 1;
    return m_isShared || m_count <= holders ? getBufCapacity() : 0;
}

void* StrBuf1::operator new(std::size_t size) { return ::operator new(size); }

void StrBuf1::operator delete(void* block) noexcept { ::operator delete(block); }

} // namespace qx
