#pragma once

#include <cstddef>
#include <cstdint>

#include <qx/platform/export.h>

namespace qx {

/// Memory for objects that their last Release destroys.
///
/// An object finds out by a mark in front of it whether a new-expression made it. The operator new
/// of ComObject writes the mark. A class that has an operator new of its own, over a pool say,
/// writes it with the two functions here and says so by a constant; otherwise a Reference to it
/// does not compile:
///
/// @code
/// class Particle : public qx::Object {
/// public:
///     static constexpr bool UsesObjectMemory = true;
///     static void* operator new(std::size_t size) {
///         return qx::ObjectMemory::enter(s_pool.take(qx::ObjectMemory::sizeFor(size)));
///     }
///     static void operator delete(void* object) noexcept {
///         s_pool.give(qx::ObjectMemory::leave(object));
///     }
/// };
/// @endcode
///
/// All functions may be called from any thread.
class QX_API ObjectMemory {
public:
    ObjectMemory() = delete;

    /// Alignment of the memory for classes that need no stricter one.
    static constexpr std::size_t DefaultAlignment = 16;
    /// The strictest alignment that a class may have. With a stricter one, objects would lie at the
    /// start of a page, and nothing in front of them could be read.
    static constexpr std::size_t MaxAlignment = 2048;

    /// Bytes to take for an object of @p size bytes, which lies somewhere within them.
    /// @param alignment  of the class, a power of 2 up to MaxAlignment
    static constexpr std::size_t sizeFor(std::size_t size,
                                         std::size_t alignment = DefaultAlignment) noexcept {
        return size + 2 * headFor(alignment);
    }
    /// Marks the place of an object in @p memory, which has that size and alignment, and returns
    /// the place.
    static void* enter(void* memory, std::size_t alignment = DefaultAlignment) noexcept;
    /// The memory of an object that was destroyed, or whose constructor threw, for the caller to
    /// give back. A pointer that did not come from enter is returned as it is.
    static void* leave(void* object) noexcept;

private:
    friend class ComObject;

    /// Bytes in front of an object that need not be moved.
    static constexpr std::size_t headFor(std::size_t alignment) noexcept {
        return alignment > DefaultAlignment ? alignment : DefaultAlignment;
    }
    /// Memory taken by @p take, given back by @p give, with the place of the object in it.
    template <class Take, class Give>
    [[gnu::visibility("hidden")]] static void* make(std::size_t size, std::size_t alignment,
                                                    Take take, Give give);
    /// Whether the object lies where enter said. It is told so once: references that are taken and
    /// dropped while the object ends must not end it again.
    [[gnu::visibility("hidden")]] static bool beginEnd(const void* object) noexcept;
};

} // namespace qx
