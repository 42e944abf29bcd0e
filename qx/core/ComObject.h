#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>

#include <qx/core/InterfaceMap.h>
#include <qx/core/ModuleCount.h>
#include <qx/core/Unknown.h>
#ifdef QX_LEAK_LIST
#include <qx/core/LiveObjects.h>
#endif

/// With the leak list objects have another layout. A symbol that each of them needs is then called
/// differently, so that program and library link only when they agree.
#ifdef QX_LEAK_LIST
#define QX_OBJECT_LAYOUT_SYMBOL __asm__("QXPendingBlockOfListed")
#else
#define QX_OBJECT_LAYOUT_SYMBOL
#endif

namespace qx {

namespace detail {

struct PendingBlock;

/// Innermost block from operator new in which no object of the calling thread has begun to live,
/// or null. Every constructor looks at it, so it is reached without a call.
[[gnu::tls_model("initial-exec")]] extern QX_API constinit thread_local PendingBlock* t_pendingBlock
    QX_OBJECT_LAYOUT_SYMBOL;

} // namespace detail

/// Root of every class of the library: an atomic reference count and interface query.
///
/// An object starts with count 0 and is owned through Reference from then on; the Release that
/// brings the count back to 0 destroys it. An object that was not made by a new-expression of its
/// class (a local, a member, an array element) may be handed to code that takes and drops
/// references: its last Release does not destroy it, its scope does. A class with several bases
/// names the one from the library first, so that the object can tell where it lives.
///
/// The count may be changed from any thread; anything else is up to the derived class.
class QX_API ComObject : public IQXUnknown {
public:
    ComObject() noexcept : m_blockOffset(detail::t_pendingBlock ? claimBlock() : 0) {}
    /// Copies count and module as they are. Derived classes begin with the default constructor in
    /// their copy constructors, so that no count is carried over.
    ComObject(const ComObject& other) noexcept
        : m_count(other.GetRefCount()), m_blockOffset(detail::t_pendingBlock ? claimBlock() : 0),
          m_module(other.m_module) {}
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
        if (count == 0)
            lastReleased();
        return count;
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
    static void* operator new(std::size_t size, std::align_val_t alignment);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* block) noexcept;
    static void operator delete(void* block, const std::nothrow_t&) noexcept;
    static void operator delete(void* block, std::align_val_t alignment) noexcept;
    static void operator delete(void*, void*) noexcept {}

protected:
    /// The module that SetComModule named.
    pcom::ModuleCount* GetComModule() const noexcept { return m_module; }
    /// What the last Release ends with: destroys an object that was made by a new-expression.
    void destroy();

private:
    uint32_t claimBlock() noexcept;
    void lastReleased();

    std::atomic<uint32_t> m_count{0};
    /// 1 + distance from the start of the block that operator new gave; 0 for an object elsewhere.
    uint32_t m_blockOffset;
    pcom::ModuleCount* m_module = nullptr;
#ifdef QX_LEAK_LIST
    detail::LiveLink m_liveLink{this};
#endif
};

} // namespace qx

using CQXComObject = qx::ComObject;
