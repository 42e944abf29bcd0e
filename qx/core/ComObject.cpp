#include "qx/core/ComObject.h"

#include <qx/platform/result.h>

namespace qx {

namespace detail {

/// A block from operator new in which no object has begun to live; it lies behind the object's
/// bytes. Nested new-expressions put several of them in a row.
struct PendingBlock {
    char* begin;
    PendingBlock* outer;
};

constinit thread_local PendingBlock* t_pendingBlock = nullptr;

} // namespace detail

namespace {

using detail::PendingBlock;
using detail::t_pendingBlock;

constexpr std::size_t roundedUp(std::size_t size) {
    return (size + alignof(PendingBlock) - 1) & ~(alignof(PendingBlock) - 1);
}

void* announce(void* block, std::size_t size) noexcept {
    char* const begin = static_cast<char*>(block);
    t_pendingBlock = ::new (begin + roundedUp(size)) PendingBlock{begin, t_pendingBlock};
    return block;
}

/// Takes back a block that is still announced because the arguments of the constructor threw.
void withdraw(void* block) noexcept {
    if (t_pendingBlock && t_pendingBlock->begin == block)
        t_pendingBlock = t_pendingBlock->outer;
}

} // namespace

void* ComObject::operator new(std::size_t size) {
    return announce(::operator new(roundedUp(size) + sizeof(PendingBlock)), size);
}

void* ComObject::operator new(std::size_t size, const std::nothrow_t&) noexcept {
    void* const block = ::operator new(roundedUp(size) + sizeof(PendingBlock), std::nothrow);
    return block ? announce(block, size) : nullptr;
}

void* ComObject::operator new(std::size_t size, std::align_val_t alignment) {
    return announce(::operator new(roundedUp(size) + sizeof(PendingBlock), alignment), size);
}

void ComObject::operator delete(void* block) noexcept {
    withdraw(block);
    ::operator delete(block);
}

void ComObject::operator delete(void* block, const std::nothrow_t&) noexcept {
    ComObject::operator delete(block);
}

void ComObject::operator delete(void* block, std::align_val_t alignment) noexcept {
    withdraw(block);
    ::operator delete(block, alignment);
}

uint32_t ComObject::claimBlock() noexcept {
    const char* const self = reinterpret_cast<const char*>(this);
    const PendingBlock* const block = t_pendingBlock;
    if (!block || self < block->begin || self >= reinterpret_cast<const char*>(block))
        return 0;
    t_pendingBlock = block->outer;
    return static_cast<uint32_t>(self - block->begin) + 1;
}

void ComObject::lastReleased() {
    if (m_module)
        m_module->Release();
    destroy();
}

void ComObject::destroy() {
    if (m_blockOffset == 0)
        return;
    // A member that claimed the block of the object around it is not the whole block.
    const char* const begin = reinterpret_cast<const char*>(this) - (m_blockOffset - 1);
    if (dynamic_cast<const void*>(this) == begin)
        delete this;
}

int32_t ComObject::QueryInterface(const GUID& iid, void** out) {
    return pcom::QueryInterfaceMap(GetComIntfMap(), this, iid, out);
}

int32_t ComObject::SetOuterUnknown(IQXUnknown* /*outer*/) { return result::NoAggregation; }

const pcom::InterfaceData* ComObject::GetComIntfMap() {
    static constexpr pcom::InterfaceData map[] = {
        {&IQXUnknown::Iid, pcom::InterfaceData::SubObject, 0},
        {nullptr, pcom::InterfaceData::End, 0},
    };
    return map;
}

} // namespace qx
