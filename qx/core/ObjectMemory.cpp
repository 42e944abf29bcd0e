#include "qx/core/ObjectMemory.h"

#include <atomic>
#include <bit>
#include <iterator>
#include <new>

#include <qx/core/ComObject.h>
#include <qx/core/Result.h>
#include <qx/core/detail/Memcheck.h>

// In front of an object lies a word with its mark: the address of the object, changed by what
// nobody outside can know. A class over ComObject has its own table pointer at its start, so that
// no member of it begins where it does: whoever begins behind a mark for its address is the object
// that the memory was taken for. The lowest bits, which an address has not, say where the memory
// begins and whether the end of the object has begun.

namespace qx {

namespace {

/// The smallest page of any system: what lies in front of an object on the same page can be read.
constexpr uintptr_t PageSize = 4096;
/// The memory begins DefaultAlignment << Displacement bytes in front of the object.
constexpr uint64_t Displacement = 0xF;
constexpr uint64_t Ended = 0x10;

/// Leak checkers doubt a pointer into the middle of a block unless the block begins like an object
/// with several bases, with a pointer to a table of functions.
alignas(ObjectMemory::DefaultAlignment) const
    void* const s_likeAnObject[] = {reinterpret_cast<const void*>(&ObjectMemory::enter),
                                    reinterpret_cast<const void*>(&ObjectMemory::leave)};

/// Whether objects of @p size bytes take enough memory to be moved. After the first that has to be
/// they do: the memory that it gives back goes out first, so that the next would have to be moved,
/// too. When one with that memory is moved, less is tried again.
std::atomic<bool>& takesMoreFor(std::size_t size) noexcept {
    static constinit std::atomic<bool> s_takesMore[256] = {};
    return s_takesMore[size % std::size(s_takesMore)];
}

bool s_isWatched = false;
[[gnu::constructor]] void lookForMemcheck() {
    constexpr uint64_t Word = 0;
    s_isWatched = detail::askMemcheck(&Word) != detail::Memcheck::KnowsNothing;
}

bool mayHaveMark(const void* object) noexcept {
    return reinterpret_cast<uintptr_t>(object) % PageSize >= sizeof(uint64_t);
}

/// A mark without its lowest bits. As a number it is no address of this system.
uint64_t plainMark(const void* object) noexcept {
    return reinterpret_cast<uintptr_t>(object) ^ reinterpret_cast<uintptr_t>(s_likeAnObject) ^
           0x5A5A9E3779B97F40u;
}

uint64_t* wordInFrontOf(const void* object) noexcept {
    return static_cast<uint64_t*>(const_cast<void*>(object)) - 1;
}

/// Marks the place of an object in the memory that begins @p displacement bytes in front of it.
void* mark(char* memory, std::size_t displacement) noexcept {
    char* const object = memory + displacement;
    *reinterpret_cast<const void**>(memory) = s_likeAnObject;
    *wordInFrontOf(object) =
        plainMark(object) |
        static_cast<uint64_t>(std::countr_zero(displacement / ObjectMemory::DefaultAlignment));
    return object;
}

/// Makes an object in memory that is large enough to move it.
template <class Take>
[[gnu::noinline]] void* makeWithMore(std::size_t size, std::size_t head, Take take) {
    char* const memory = static_cast<char*>(take(size + 2 * head));
    const bool stays = mayHaveMark(memory + head);
    // Threads share what is not written.
    if (auto& takesMore = takesMoreFor(size); takesMore.load(std::memory_order_relaxed) != stays)
        takesMore.store(stays, std::memory_order_relaxed);
    return mark(memory, stays ? head : 2 * head);
}

/// The lowest bits of the mark in front of an object, and more than them where there is none: what
/// lies there may belong to anybody, be written at this moment or have no value at all.
__attribute__((no_sanitize("address", "thread", "undefined")))
#if defined(__clang__)
__attribute__((no_sanitize("memory")))
#endif
uint64_t
bitsInFrontOf(const void* object) noexcept {
    return *wordInFrontOf(object) ^ plainMark(object);
}

} // namespace

template <class Take, class Give>
void* ObjectMemory::make(std::size_t size, std::size_t alignment, Take take, Give give) {
    const std::size_t head = headFor(alignment);
    if (takesMoreFor(size).load(std::memory_order_relaxed))
        return makeWithMore(size, head, take);
    // The memory is large enough unless the object had to be moved, which few have to.
    char* const memory = static_cast<char*>(take(size + head));
    if (mayHaveMark(memory + head)) [[likely]]
        return mark(memory, head);
    give(memory);
    return makeWithMore(size, head, take);
}

void* ObjectMemory::enter(void* memory, std::size_t alignment) noexcept {
    char* const begin = static_cast<char*>(memory);
    const std::size_t head = headFor(alignment);
    return mark(begin, mayHaveMark(begin + head) ? head : 2 * head);
}

void* ObjectMemory::leave(void* object) noexcept {
    if (!mayHaveMark(object))
        return object;
    const uint64_t bits = bitsInFrontOf(object);
    if (bits > (Ended | Displacement))
        return object;
    // Whatever comes to lie there next is not made by new. The compiler would leave it out.
    *const_cast<volatile uint64_t*>(wordInFrontOf(object)) = 0;
    return static_cast<char*>(object) - (DefaultAlignment << (bits & Displacement));
}

bool ObjectMemory::beginEnd(const void* object) noexcept {
    if (!mayHaveMark(object))
        return false;
    if (s_isWatched) [[unlikely]] {
        if (detail::askMemcheck(wordInFrontOf(object)) == detail::Memcheck::Complains)
            return false;
    }
    if (bitsInFrontOf(object) > Displacement)
        return false;
    *wordInFrontOf(object) ^= Ended;
    return true;
}

uint32_t ComObject::lastReleased() {
    if (m_module)
        m_module->Release();
    destroy();
    return 0;
}

void ComObject::destroy() {
    if (ObjectMemory::beginEnd(dynamic_cast<const void*>(this)))
        delete this;
}

void* ComObject::operator new(std::size_t size) {
    return ObjectMemory::make(
        size, ObjectMemory::DefaultAlignment, [](std::size_t all) { return ::operator new(all); },
        [](void* memory) { ::operator delete(memory); });
}

void* ComObject::operator new(std::size_t size, const std::nothrow_t&) noexcept {
    void* object = nullptr;
    resultOf([&] { object = ComObject::operator new(size); });
    return object;
}

void* ComObject::operator new(std::size_t size, std::align_val_t alignment) {
    if (static_cast<std::size_t>(alignment) > ObjectMemory::MaxAlignment)
        throwResult(result::InvalidArgument, u"the alignment of an object");
    return ObjectMemory::make(
        size, static_cast<std::size_t>(alignment),
        [=](std::size_t all) { return ::operator new(all, alignment); },
        [=](void* memory) { ::operator delete(memory, alignment); });
}

void* ComObject::operator new(std::size_t size, std::align_val_t alignment,
                              const std::nothrow_t&) noexcept {
    void* object = nullptr;
    resultOf([&] { object = ComObject::operator new(size, alignment); });
    return object;
}

void ComObject::operator delete(void* object) noexcept {
    ::operator delete(ObjectMemory::leave(object));
}

void ComObject::operator delete(void* object, std::align_val_t alignment) noexcept {
    ::operator delete(ObjectMemory::leave(object), alignment);
}

void ComObject::operator delete(void* object, const std::nothrow_t&) noexcept {
    ComObject::operator delete(object);
}

void ComObject::operator delete(void* object, std::align_val_t alignment,
                                const std::nothrow_t&) noexcept {
    ComObject::operator delete(object, alignment);
}

} // namespace qx
