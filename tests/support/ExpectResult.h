#pragma once

#include <string>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>

namespace qxtest {

/// Expects @p body to throw an exception of the library with the given result code.
template <class Body>
void expectThrowsResult(int32_t code, Body body) {
    try {
        body();
        ADD_FAILURE() << "nothing thrown";
    } catch (const qx::Exception& exception) {
        EXPECT_EQ(exception.getResult(), code);
    }
}

/// The description of the @p Failure that @p body throws.
template <class Failure = qx::Exception, class Body>
std::string failureOf(Body&& body) {
    try {
        body();
    } catch (const Failure& failure) {
        return failure.getDescription().toUtf8();
    }
    return "nothing was thrown";
}

} // namespace qxtest
