#pragma once

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

/// The INI file of a fuzz target, in memory where there is room for files.

inline void require(bool condition) {
    if (!condition)
        std::abort();
}

inline const std::string& filePath() {
    static const std::string path = [] {
        const std::string folder = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        return folder + "/qx-ini-fuzz-" + std::to_string(::getpid()) + ".ini";
    }();
    return path;
}

inline std::string readAll() {
    std::ifstream file(filePath(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
