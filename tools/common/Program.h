#pragma once

#include <cstdint>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include <qx/core/Exception.h>

#include "tools/common/Failure.h"

/// Writes to standard output.
/// @throws Failure
void print(std::string_view text);

/// Prints "<program>: <message>" as an error, nothing for an empty message; returns @p status.
int fail(const char* program, int status, std::string_view message);

/// Runs the whole of a program: its exit status, with the message of what @p body throws.
template <class Body>
int runProgram(const char* program, Body&& body) {
    try {
        body();
        return 0;
    } catch (const Failure& failure) {
        return fail(program, failure.status(), failure.what());
    } catch (const qx::Exception& e) {
        const qx::String description = e.getDescription();
        return fail(program, Failure::Runtime,
                    description.isEmpty() ? describeResult(e.getResult()) : description.toUtf8());
    } catch (const std::bad_alloc&) {
        return fail(program, Failure::Runtime, "out of memory");
    } catch (const std::exception& e) {
        return fail(program, Failure::Runtime, e.what());
    }
}
