#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#include <qx/platform/result.h>
#include <qx/platform/sync.h>

#include <qx/platform/posix/handle.h>
#include <qx/platform/posix/shared/SharedObject.h>

/* How the functions of sync.h find their object: a handle of an object inside this process is its
 * address; one of an object between processes has bit 0 set beside the address of its SharedObject.
 * All ones, which is no handle, looks like the latter. */

namespace qx::platform {

/// What an in-process handle points to. Has cache lines of its own, so that two locks created in a
/// row do not slow each other down.
template <class Object>
struct alignas(64) SyncAllocation {
    template <class... Initial>
    explicit SyncAllocation(const char* name, Initial... initial)
        : object(initial...), label(name ? name : "") {}

    /// A place in an ordinary block, whose address stands in front of it: malloc takes three times
    /// as long for an aligned block, of which it keeps none at hand.
    static void* operator new(size_t size) {
        auto* const block = static_cast<char*>(::operator new(size + alignof(SyncAllocation)));
        const size_t behind = reinterpret_cast<uintptr_t>(block) % alignof(SyncAllocation);
        char* const place = block + alignof(SyncAllocation) - behind;
        std::memcpy(place - sizeof block, &block, sizeof block);
        return place;
    }
    static void operator delete(void* place) noexcept {
        void* block = nullptr;
        std::memcpy(&block, static_cast<char*>(place) - sizeof block, sizeof block);
        ::operator delete(block);
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
        *handle = reinterpret_cast<QXHandle>(new SyncAllocation<Local>(name, initial...));
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
    const auto call = [=]<class Object, class... Parameters>(
                          int32_t (Object::*member)(Parameters...) noexcept) {
        return (reinterpret_cast<SyncAllocation<Object>*>(handle)->object.*member)(arguments...);
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
    delete reinterpret_cast<SyncAllocation<Local>*>(handle);
    return result::Ok;
}

} // namespace qx::platform
