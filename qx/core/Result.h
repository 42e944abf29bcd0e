#pragma once

#include <cstdint>
#include <type_traits>

#include <qx/core/TextView.h>
#include <qx/platform/export.h>
#include <qx/platform/result.h>

namespace qx {

/// Throws ResultException with @p code and the nul-terminated @p description (null: empty).
[[noreturn]] QX_API void throwResult(int32_t code, const char16_t* description = nullptr);

/// Passes a result on, unless it is negative.
/// @throws ResultException with the result and @p description
inline int32_t throwIfFailed(int32_t code, const char16_t* description = nullptr) {
    if (code < 0) [[unlikely]]
        throwResult(code, description);
    return code;
}

/// Throws ResultException with @p code and a description that names what the failed call was about,
/// as "not found: settings.ini"; without one for an empty @p subject.
[[noreturn]] QX_API void throwResultOf(int32_t code, TextView subject);

/// Passes a result on, unless it is negative.
/// @param subject  a text, or a function that makes one and is called only after a failure
/// @throws ResultException as throwResultOf does
template <class Subject>
int32_t throwIfFailedOf(int32_t code, const Subject& subject) {
    if (code < 0) [[unlikely]] {
        if constexpr (std::is_invocable_v<const Subject&>)
            throwResultOf(code, subject());
        else
            throwResultOf(code, subject);
    }
    return code;
}

/// Result code of the exception being handled: the code of an Exception, result::OutOfMemory for
/// std::bad_alloc, result::Fail for anything else.
QX_API int32_t currentExceptionResult() noexcept;

/// Runs @p body behind the component boundary: its result, 0 when it returns none, and the code of
/// what it throws. Nothing gets out.
template <class Body>
int32_t resultOf(Body&& body) noexcept {
    try {
        if constexpr (std::is_void_v<std::invoke_result_t<Body>>) {
            body();
            return result::Ok;
        } else {
            return body();
        }
    } catch (...) {
        return currentExceptionResult();
    }
}

} // namespace qx
