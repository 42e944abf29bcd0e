#pragma once

#include <span>
#include <stdexcept>

#include <qx/core/Exception.h>
#include <qx/core/String.h>

namespace qxtorture {

/// Some calls of the library that need nothing and leave nothing behind: the current folder is
/// empty at first and the registry a new one. A failure in the middle must leave everything as if
/// the script had not been run, as far as other scripts can see.
struct Script {
    /// "<area>.<what>"
    const char* name;
    void (*run)();
    /// Requires what holds however much of the script was done; none for nothing.
    void (*check)() = nullptr;
};

/// Part of a script: what it relies on.
/// @throws std::logic_error, which nothing catches and is a finding
inline void require(bool holds, const char* what) {
    if (!holds)
        throw std::logic_error(what);
}

/// Part of a script that ends with an exception of the library, whose description is made.
template <class Body>
void mustFail(Body body) {
    try {
        body();
    } catch (const qx::Exception& failure) {
        failure.getDescription();
        return;
    }
    require(false, "nothing thrown");
}

std::span<const Script> valueScripts();
std::span<const Script> streamScripts();
std::span<const Script> serviceScripts();
std::span<const Script> componentScripts();

} // namespace qxtorture
