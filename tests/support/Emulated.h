#pragma once

#include <cstdlib>

namespace qxtest {

/// Whether an emulator of another processor runs the programs (scripts/emulate.sh). A child whose
/// program cannot be executed ends with 127 there, where posix_spawn would fail, and limits of
/// memory are not held.
inline bool runsEmulated() { return std::getenv("QX_TESTS_EMULATED") != nullptr; }

} // namespace qxtest
