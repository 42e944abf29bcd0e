#pragma once

#include <cstdint>

#include <qx/core/GUID.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/detail/CauseText.h>
#include <qx/core/detail/TakeInterface.h>

// The two ways across the boundary between classes and components.

namespace qx::net::detail {

/// Downward: hands out the interface @p iid of what @p make returns a reference to. What it throws
/// becomes a result; null is result::Fail.
template <class Make>
int32_t handOut(const GUID& iid, void** out, Make&& make) noexcept {
    if (!out)
        return result::NullPointer;
    *out = nullptr;
    return qx::detail::resultTellingCause([&]() -> int32_t {
        const auto made = make();
        return made ? qx::detail::passInterface(*made, iid, out) : result::Fail;
    });
}

/// Upward: the interface that @p call (iid, out) hands out.
/// @throws ResultException with a negative result and what a component of the library said about
///     it; result::NullPointer when there is none with a success
template <class Interface, class Call>
Reference<Interface> taken(Call&& call) {
    const qx::detail::CauseText cause;
    Reference<Interface> reference;
    cause.check(qx::detail::takeInterface(reference, call));
    return reference;
}

} // namespace qx::net::detail
