#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

#include <qx/platform/result.h>
#include <qx/platform/sync.h>

#include <qx/platform/posix/handle.h>
#include <qx/platform/posix/shared/SharedObject.h>

/* How the functions of sync.h find their object: a handle of an object inside this process is the
 * address of its block of memory; one of an object between processes has bit 0 set beside the
 * address of its SharedObject. All ones, which is no handle, looks like the latter. */

namespace qx::platform {

/// An object inside this process. Has cache lines of its own, so that two locks created in a row do
/// not slow each other down.
template <class Object>
struct alignas(64) SyncAllocation {
    template <class... Initial>
    explicit SyncAllocation(const char* name, Initial... initial)
        : object(initial...), label(name ? name : "") {}

    /// Makes one in an ordinary block: malloc takes three times as long for an aligned one, of
    /// which it keeps none at hand. The handle is the block and not the place in it, so that
    /// programs that look for leaks find a pointer to its start.
    template <class... Arguments>
    static QXHandle create(Arguments... arguments) {
        void* const block = ::operator new(sizeof(SyncAllocation) + alignof(SyncAllocation));
        const auto handle = reinterpret_cast<QXHandle>(block);
        try {
            ::new (&of(handle)) SyncAllocation(arguments...);
        } catch (...) {
            ::operator delete(block);
            throw;
        }
        return handle;
    }
    static void destroy(QXHandle handle) noexcept {
        of(handle).~SyncAllocation();
        ::operator delete(reinterpret_cast<void*>(handle));
    }
    /// The next line of the cache behind the start of the block.
    static SyncAllocation& of(QXHandle handle) noexcept {
        return *reinterpret_cast<SyncAllocation*>((handle | (alignof(SyncAllocation) - 1)) + 1);
    }

    Object object;
    const std::string label; // for whoever looks at the process with a debugger
};

inline bool isShared(QXHandle handle) noexcept { return (handle & 1u) != 0; }

/// The body of a Create function: makes a @p Local inside this process, or opens or makes a
/// @p Shared, the state of an object between processes.
template <class Local, class Shared, class... Initial>
int32_t createSync(const char* name, uint32_t flags, QXHandle* handle,
                   Initial... initial) noexcept {
    if (handle == nullptr)
        return result::NullPointer;
    *handle = NoHandle;
    if ((flags & ~QX_SYNC_SHARED) != 0)
        return result::InvalidArgument;
    if ((flags & QX_SYNC_SHARED) != 0)
        return shared::SharedObject::open(shared::LayoutOf<Shared>, name, (initial + ... + 0u),
                                          handle);
    try {
        *handle = SyncAllocation<Local>::create(name, initial...);
        return result::Ok;
    } catch (const std::bad_alloc&) {
        return result::OutOfMemory;
    }
}

/// Calls a member function of an object between processes, with the use that this process makes of
/// it where the function asks for that.
template <auto Member, class... Arguments>
[[gnu::noinline]] int32_t callShared(QXHandle handle, Arguments... arguments) noexcept {
    const auto call =
        [=]<class State, class... Parameters>(int32_t (State::*member)(Parameters...) noexcept) {
            shared::SharedObject* const object =
                shared::SharedObject::find(handle, shared::KindOf<State>);
            if (object == nullptr)
                return result::InvalidHandle;
            if constexpr (sizeof...(Parameters) > sizeof...(Arguments))
                return (object->state<State>().*member)(*object, arguments...);
            else
                return (object->state<State>().*member)(arguments...);
        };
    return call(Member);
}

/// The body of an operation: calls the member function @p Local of the object of the handle, or
/// @p Shared for one between processes.
template <auto Local, auto Shared, class... Arguments>
int32_t callSync(QXHandle handle, Arguments... arguments) noexcept {
    if (isShared(handle)) [[unlikely]]
        return callShared<Shared>(handle, arguments...);
    if (handle == 0) [[unlikely]]
        return result::InvalidHandle;
    const auto call =
        [=]<class Object, class... Parameters>(int32_t (Object::*member)(Parameters...) noexcept) {
            return (SyncAllocation<Object>::of(handle).object.*member)(arguments...);
        };
    return call(Local);
}

/// The body of a Destroy function.
template <class Local, class Shared>
int32_t destroySync(QXHandle handle) noexcept {
    if (isShared(handle))
        return shared::SharedObject::close(shared::LayoutOf<Shared>, handle);
    if (handle == 0)
        return result::InvalidHandle;
    SyncAllocation<Local>::destroy(handle);
    return result::Ok;
}

} // namespace qx::platform
