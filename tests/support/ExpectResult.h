#pragma once

#include <functional>
#include <initializer_list>
#include <string>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>

namespace qxtest {

/// Description of the @p Failure that @p body throws, as UTF-8, or what one of the standard library
/// says; "nothing thrown" otherwise.
template <class Failure = qx::Exception>
std::string descriptionOf(auto&& body) {
    try {
        body();
    } catch (const Failure& failure) {
        if constexpr (requires { failure.getDescription(); })
            return failure.getDescription().toUtf8();
        else
            return failure.what();
    }
    return "nothing thrown";
}

/// Result code of the qx::Exception that @p body throws, 0 when it throws nothing.
int32_t failureOf(auto&& body) {
    try {
        body();
    } catch (const qx::Exception& exception) {
        return exception.getResult();
    }
    return 0;
}

/// The interface that @p object is expected to have.
template <class Interface>
qx::Reference<Interface> interfaceOf(const auto& object) {
    qx::Reference<Interface> found;
    EXPECT_EQ(object->QueryInterface(Interface::Iid, found.putVoid()), qx::result::Ok);
    return found;
}

using Calls = std::initializer_list<std::function<void()>>;

/// Expects each of the calls to throw an exception of the library with the given result code, or
/// with the given description.
inline void expectEach(int32_t code, Calls calls) {
    for (const auto& call : calls)
        EXPECT_EQ(failureOf(call), code) << "call " << &call - calls.begin();
}
inline void expectEach(const std::string& description, Calls calls) {
    for (const auto& call : calls)
        EXPECT_EQ(descriptionOf(call), description) << "call " << &call - calls.begin();
}
/// Expects each of the results, of calls in this order, to be @p code.
inline void expectEach(int32_t code, std::initializer_list<int32_t> results) {
    for (const int32_t& result : results)
        EXPECT_EQ(result, code) << "call " << &result - results.begin();
}
/// Expects each of the calls to throw a @p Failure.
template <class Failure>
void expectEach(Calls calls) {
    for (const auto& call : calls)
        EXPECT_THROW(call(), Failure) << "call " << &call - calls.begin();
}

} // namespace qxtest
