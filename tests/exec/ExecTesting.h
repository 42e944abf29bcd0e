#pragma once

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>

namespace qxtest {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool Sanitized = true;
#else
inline constexpr bool Sanitized = false;
#endif

/// Expects @p body to throw exactly @p Exception with that description; its result code.
template <class Exception, class Body>
int32_t expectThrows(std::u16string_view description, Body body) {
    try {
        body();
        ADD_FAILURE() << "nothing thrown";
    } catch (const qx::Exception& exception) {
        EXPECT_EQ(typeid(exception), typeid(Exception));
        EXPECT_EQ(std::u16string_view(exception.getDescription()), description);
        return exception.getResult();
    }
    return 0;
}

} // namespace qxtest
