#pragma once

#include <atomic>
#include <type_traits>

#include <qx/core/CastTo.h>
#include <qx/core/ComObject.h>
#include <qx/core/InterfaceMap.h>
#include <qx/platform/export.h>

namespace qx {

namespace detail {

/// The Object that @p unknown points to, when it says that it is one; null for any other and for
/// one that is called by an interface of its own.
QX_API Object* objectAt(const IQXUnknown* unknown);

/// Whether a function table stays in memory as long as what lies at @p user; false where that
/// cannot be told.
QX_API bool isLastingTable(const void* table, const void* user) noexcept;

/// A class whose objects can be told by their function table.
template <class T>
concept ClassWithTable =
    std::is_base_of_v<ComObject, T> && !std::is_abstract_v<T> && requires(ComObject * object) {
    static_cast<T*>(object);
};

/// Tells objects that are exactly of the class @p T without asking them, once one was met.
template <ClassWithTable T>
class KnownClass {
public:
    static bool includes(const IQXUnknown& object) noexcept {
        return functionTableOf(&object) == s_table.load(std::memory_order_relaxed);
    }
    /// Remembers the class of @p object, unless it is another one or might be unloaded: at the
    /// place of its table there could be that of a stranger then.
    static void meet(const T& object) noexcept {
        if (s_table.load(std::memory_order_relaxed) || !isExactly(object))
            return;
        const void* const table = functionTableOf(object.GetUnknown());
        s_table.store(isLastingTable(table, &s_table) ? table : &s_table,
                      std::memory_order_relaxed);
    }

private:
    /// The table, or an address that is none when it might be unloaded; each module has its own.
    [[gnu::visibility("hidden")]] static inline constinit std::atomic<const void*> s_table{};
};

/// The object behind @p unknown as a @p T, by its own word.
template <class T>
T* askForObject(const IQXUnknown* unknown) {
    if constexpr (std::is_same_v<std::remove_cv_t<T>, Object>) {
        // One query, and no search through the bases of the class.
        if (Object* const object = objectAt(unknown))
            return object;
    }
    return castTo<T>(pcom::comObjectOf(unknown));
}

} // namespace detail

namespace pcom {

/// The object behind @p unknown as a @p T, which is a class over ComObject or one of its bases;
/// null for null, for another class and for what comObjectOf does not know. This is how an
/// interface that may be anybody's is told from one of the library: objects written in C have no
/// run-time type information, and a dynamic_cast of their interface reads outside their table.
/// Takes no reference.
///
/// An object that passes its queries on to an object of the library is taken for that object. A
/// reference to the former is then none to the latter.
template <class T>
T* objectBehind(const IQXUnknown* unknown) {
    if constexpr (qx::detail::ClassWithTable<std::remove_cv_t<T>>) {
        using Known = qx::detail::KnownClass<std::remove_cv_t<T>>;
        if (unknown && Known::includes(*unknown))
            return static_cast<T*>(static_cast<ComObject*>(const_cast<IQXUnknown*>(unknown)));
        T* const found = qx::detail::askForObject<T>(unknown);
        if (found)
            Known::meet(*found);
        return found;
    } else {
        return qx::detail::askForObject<T>(unknown);
    }
}

} // namespace pcom

} // namespace qx
