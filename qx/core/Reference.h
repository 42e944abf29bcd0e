#pragma once

#include <compare>
#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <type_traits>
#include <utility>

#include <qx/core/InterfaceId.h>
#include <qx/core/TypeName.h>
#include <qx/platform/result.h>

// Clang refuses or warns of a variable that is left with the pointer of a temporary Reference.
#ifdef __clang__
#define QX_LIFETIME_BOUND [[clang::lifetimebound]]
#else
#define QX_LIFETIME_BOUND
#endif

namespace qx {

namespace detail {

/// Refuses a class of objects that would outlive their last reference.
template <class T>
constexpr void requireObjectMemory() noexcept {
    if constexpr (requires { T::template usesObjectMemory<T>(); })
        static_assert(
            T::template usesObjectMemory<T>(),
            "the last Release would not destroy the object: its class has an operator new "
            "of its own that does not use qx::ObjectMemory, or too strict an alignment");
}

} // namespace detail

/// Owning pointer to a reference-counted object, or null.
///
/// Taking a pointer calls its AddRef, dropping it its Release; moving does neither. One Reference
/// is used by one thread at a time, the object it points to may be shared.
template <class T>
class Reference {
public:
    using element_type = T;

    constexpr Reference() noexcept = default;
    constexpr Reference(std::nullptr_t) noexcept {}
    Reference(T* pointer) : m_pointer(pointer) {
        detail::requireObjectMemory<std::remove_cv_t<T>>();
        take();
    }
    /// Takes an object of a class derived from @p T, whose operator new is checked by itself.
    template <class U>
    requires(!std::is_same_v<U, T> && std::is_convertible_v<U*, T*>) Reference(U* pointer)
        : m_pointer(pointer) {
        detail::requireObjectMemory<std::remove_cv_t<U>>();
        take();
    }
    Reference(const Reference& other) : m_pointer(other.m_pointer) { take(); }
    Reference(Reference&& other) noexcept : m_pointer(std::exchange(other.m_pointer, nullptr)) {}
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Reference(const Reference<U>& other) : m_pointer(other.get()) {
        take();
    }
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Reference(Reference<U>&& other) noexcept : m_pointer(other.detach()) {}
    ~Reference() {
        if (m_pointer)
            counted()->Release();
    }

    /// Takes the new pointer before it drops the old one.
    Reference& operator=(Reference other) noexcept {
        swap(other);
        return *this;
    }

    T* get() const noexcept { return m_pointer; }
    T* operator->() const noexcept { return m_pointer; }
    T& operator*() const noexcept { return *m_pointer; }
    operator T*() const noexcept QX_LIFETIME_BOUND { return m_pointer; }
    explicit operator bool() const noexcept { return m_pointer != nullptr; }
    /// Refuses what takes a truth value, where that of the pointer would come unasked.
    template <class B>
    requires std::is_same_v<B, bool>
    operator B() const = delete;

    /// Drops the pointer.
    void reset() noexcept { Reference().swap(*this); }
    /// Gives the pointer up together with its reference, for the caller to release.
    [[nodiscard]] T* detach() noexcept { return std::exchange(m_pointer, nullptr); }
    /// Takes over a pointer whose reference the caller already holds.
    static Reference attach(T* pointer) noexcept {
        Reference reference;
        reference.m_pointer = pointer;
        return reference;
    }
    /// Where a call is to store a pointer that comes with a reference; drops the present one first.
    T** put() noexcept {
        reset();
        return &m_pointer;
    }
    /// The same for calls that return an untyped pointer, such as QueryInterface.
    void** putVoid() noexcept { return reinterpret_cast<void**>(put()); }

    /// The object's interface @p Interface; null when it does not have it, and of null.
    template <class Interface>
    [[nodiscard]] Reference<Interface> query() const {
        Reference<Interface> found;
        ask(found);
        return found;
    }
    /// The same for an interface that has to be there.
    /// @throws ResultException that names the interface, with the code of the query, or with
    ///     result::NullPointer for a null reference
    template <class Interface>
    Reference<Interface> queryOrThrow() const {
        Reference<Interface> found;
        const int32_t code = ask(found);
        if (!found)
            pcom::throwNoInterface(code, typeName<Interface>());
        return found;
    }

    void swap(Reference& other) noexcept { std::swap(m_pointer, other.m_pointer); }
    friend void swap(Reference& left, Reference& right) noexcept { left.swap(right); }

    template <class U>
    friend bool operator==(const Reference& left, const Reference<U>& right) noexcept {
        return left.get() == right.get();
    }
    template <class U>
    friend bool operator==(const Reference& left, U* right) noexcept {
        return left.get() == right;
    }
    friend bool operator==(const Reference& left, std::nullptr_t) noexcept {
        return left.get() == nullptr;
    }
    template <class U>
    friend auto operator<=>(const Reference& left, const Reference<U>& right) noexcept {
        return std::compare_three_way()(left.get(), right.get());
    }

private:
    template <class Interface>
    int32_t ask(Reference<Interface>& found) const {
        const GUID& iid = pcom::queriedIid<Interface>();
        void* out = nullptr;
        const int32_t code = m_pointer ? counted()->QueryInterface(iid, &out) : result::NullPointer;
        if (code >= 0) // what comes with a failure is left alone
            found = Reference<Interface>::attach(static_cast<Interface*>(out));
        return code;
    }
    void take() const {
        if (m_pointer)
            counted()->AddRef();
    }
    /// The count of a constant object changes like any other.
    std::remove_const_t<T>* counted() const {
        return const_cast<std::remove_const_t<T>*>(m_pointer);
    }

    T* m_pointer = nullptr;
};

/// Makes an object on the heap, which the returned reference owns.
template <class T, class... Arguments>
[[nodiscard]] Reference<T> makeReference(Arguments&&... arguments) {
    return Reference<T>(new T(std::forward<Arguments>(arguments)...));
}

/// The same for a class that is made of a list in braces: makeReference<ArrayList>({first,
/// second}).
template <class T>
[[nodiscard]] Reference<T>
makeReference(std::initializer_list<typename T::InitialElement> elements) {
    return Reference<T>(new T(elements));
}

} // namespace qx

template <class T>
using CQXSmartPtr = qx::Reference<T>;

template <class T>
struct std::hash<qx::Reference<T>> {
    std::size_t operator()(const qx::Reference<T>& reference) const noexcept {
        return std::hash<T*>()(reference.get());
    }
};
