#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>

#include <qx/core/InterfaceMap.h>
#include <qx/core/ModuleCount.h>
#include <qx/core/ObjectMemory.h>
#include <qx/core/Unknown.h>
#ifdef QX_LEAK_LIST
#include <qx/core/LiveObjects.h>
#endif

/// With the leak list objects have another layout. A symbol that each of them needs is then called
/// differently, so that program and library link only when they agree.
#ifdef QX_LEAK_LIST
#define QX_OBJECT_LAYOUT_SYMBOL __asm__("QXLayoutOfListedObjects")
#else
#define QX_OBJECT_LAYOUT_SYMBOL
#endif

namespace qx {

namespace detail {

extern QX_API const char objectLayout QX_OBJECT_LAYOUT_SYMBOL;

/// Makes everything that is compiled for this layout need its symbol.
inline void needLayout() noexcept { __asm__ volatile("" : : "r"(&objectLayout)); }

} // namespace detail

/// Root of every class of the library: an atomic reference count and interface query.
///
/// An object starts with count 0 and is owned through Reference from then on; the Release that
/// brings the count back to 0 destroys it. An object that was not made by a new-expression of its
/// class (a local, a member, an array element, one in place) may be handed to code that takes and
/// drops references: its last Release does not destroy it, its owner does. A new-expression that
/// begins with two colons is not one of the class either: it goes past the operator new of the
/// class, and whoever wrote it deletes the object. For a class that has an operator new of its own
/// see ObjectMemory.
///
/// Once its last Release destroys it, references that its destructor takes do not do so again.
///
/// The count may be changed from any thread; anything else is up to the derived class.
class QX_API ComObject : public IQXUnknown {
public:
    ComObject() noexcept { detail::needLayout(); }
    /// Copies count and module as they are. Derived classes begin with the default constructor in
    /// their copy constructors, so that no count is carried over.
    ComObject(const ComObject& other) noexcept
        : m_count(other.GetRefCount()), m_module(other.m_module) {
        detail::needLayout();
    }
    ComObject& operator=(const ComObject& other) noexcept {
        m_count.store(other.GetRefCount(), std::memory_order_relaxed);
        m_module = other.m_module;
        return *this;
    }

    int32_t QueryInterface(const GUID& iid, void** out) override;
    uint32_t AddRef() override {
        const uint32_t count = InternalAddRef();
        if (count == 1 && m_module)
            m_module->AddRef();
        return count;
    }
    uint32_t Release() override {
        const uint32_t count = InternalRelease();
        return count == 0 ? lastReleased() : count;
    }
    virtual ~ComObject() = default;

    /// Changes the count alone: neither the module's count nor the object's life.
    uint32_t InternalAddRef() noexcept {
        return m_count.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    uint32_t InternalRelease() noexcept {
        return m_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
    }
    uint32_t GetRefCount() const noexcept { return m_count.load(std::memory_order_acquire); }

    /// QueryInterface of the object's own class.
    int32_t NonDelegatingQueryInterface(const GUID& iid, void** out) {
        return QueryInterface(iid, out);
    }
    /// Aggregation is not supported.
    /// @return result::NoAggregation
    int32_t SetOuterUnknown(IQXUnknown* outer);

    IQXUnknown* GetUnknown() { return this; }
    const IQXUnknown* GetUnknown() const { return this; }

    /// Module that counts this object as live between its first AddRef and its last Release; not
    /// owned, null for none. To be set before the first AddRef.
    void SetComModule(pcom::ModuleCount* module) noexcept { m_module = module; }

    static const pcom::InterfaceData* GetComIntfMap();
    /// Registration texts; null here, hidden by the classes that are registered as components.
    static const char16_t* GetComDescription() { return nullptr; }
    static const char16_t* GetComObjectVersion() { return nullptr; }
    static const char16_t* GetComProgID() { return nullptr; }
    static const char16_t* GetComVersionIndependentProgID() { return nullptr; }

    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, const std::nothrow_t&) noexcept;
    /// @throws ResultException with result::InvalidArgument above ObjectMemory::MaxAlignment
    static void* operator new(std::size_t size, std::align_val_t alignment);
    /// Null above that alignment.
    static void* operator new(std::size_t size, std::align_val_t alignment,
                              const std::nothrow_t&) noexcept;
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* object) noexcept;
    static void operator delete(void* object, const std::nothrow_t&) noexcept;
    static void operator delete(void* object, std::align_val_t alignment) noexcept;
    static void operator delete(void* object, std::align_val_t alignment,
                                const std::nothrow_t&) noexcept;
    static void operator delete(void*, void*) noexcept {}

    /// Whether a new-expression of @p T, a class over this one, makes objects that their last
    /// Release destroys.
    template <class T>
    static consteval bool usesObjectMemory() {
        if constexpr (requires { T::UsesObjectMemory; })
            return T::UsesObjectMemory;
        else if constexpr (requires { typename OperatorNew < &T::operator new>; })
            return std::is_same_v < OperatorNew < &T::operator new>,
                   OperatorNew < &ComObject::operator new>> &&
                                 alignof(T) <= ObjectMemory::MaxAlignment;
        else
            return false;
    }

protected:
    /// The module that SetComModule named.
    pcom::ModuleCount* GetComModule() const noexcept { return m_module; }
    /// The end of the last Release: destroys the object if a new-expression made it.
    void destroy();

private:
    template <void* (*)(std::size_t)>
    struct OperatorNew;

    /// Returns the count, 0, so that Release needs no stack frame.
    uint32_t lastReleased();

    std::atomic<uint32_t> m_count{0};
    pcom::ModuleCount* m_module = nullptr;
#ifdef QX_LEAK_LIST
    detail::LiveLink m_liveLink{this};
#endif
};

} // namespace qx

using CQXComObject = qx::ComObject;
