#pragma once

#include <new>
#include <string>

#include <qx/platform/result.h>
#include <qx/platform/sync.h>

#include "qx/platform/posix/handle.h"
#include "qx/platform/posix/sharedsync.h"

/* How the functions of sync.h find their object: a handle of an object inside this process is its
 * address. All ones, which is no handle, looks like a handle of a process-shared object. */

namespace qx::platform {

/// What an in-process handle points to. Has cache lines of its own, so that two locks created in a
/// row do not slow each other down.
template <class Object>
struct alignas(64) SyncAllocation {
    template <class... Initial>
    explicit SyncAllocation(const char* name, Initial... initial)
        : object(initial...), label(name ? name : "") {}

    Object object;
    const std::string label; // for whoever looks at the process with a debugger
};

/// The body of a Create function: @p CreateShared makes the process-shared kind.
template <class Object, auto CreateShared, class... Initial>
int32_t createSync(const char* name, uint32_t flags, QXHandle* handle,
                   Initial... initial) noexcept {
    if (handle == nullptr)
        return result::NullPointer;
    *handle = NoHandle;
    if ((flags & ~QX_SYNC_SHARED) != 0)
        return result::InvalidArgument;
    if ((flags & QX_SYNC_SHARED) != 0)
        return CreateShared(initial..., name, handle);
    try {
        *handle = reinterpret_cast<QXHandle>(new SyncAllocation<Object>(name, initial...));
        return result::Ok;
    } catch (const std::bad_alloc&) {
        return result::OutOfMemory;
    }
}

/// The body of an operation: calls the member function @p Local of the object of the handle, or
/// @p Shared for a process-shared one.
template <auto Local, auto Shared, class... Arguments>
int32_t callSync(QXHandle handle, Arguments... arguments) noexcept {
    if (shared::isShared(handle)) [[unlikely]]
        return handle == NoHandle ? result::InvalidHandle : Shared(handle, arguments...);
    if (handle == 0) [[unlikely]]
        return result::InvalidHandle;
    const auto call = [=]<class Object, class... Parameters>(
                          int32_t (Object::*member)(Parameters...) noexcept) {
        return (reinterpret_cast<SyncAllocation<Object>*>(handle)->object.*member)(arguments...);
    };
    return call(Local);
}

/// The body of a Destroy function.
template <class Object, auto DestroyShared>
int32_t destroySync(QXHandle handle) noexcept {
    if (shared::isShared(handle))
        return handle == NoHandle ? result::InvalidHandle : DestroyShared(handle);
    if (handle == 0)
        return result::InvalidHandle;
    delete reinterpret_cast<SyncAllocation<Object>*>(handle);
    return result::Ok;
}

} // namespace qx::platform
