#pragma once

#include <span>
#include <stdexcept>

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

std::span<const Script> objectScripts();
std::span<const Script> textScripts();
std::span<const Script> collectionScripts();
std::span<const Script> numberScripts();
std::span<const Script> streamScripts();
std::span<const Script> dataScripts();
std::span<const Script> configurationScripts();
std::span<const Script> serviceScripts();
std::span<const Script> componentScripts();

} // namespace qxtorture
