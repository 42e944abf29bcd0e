#pragma once

#include <clocale>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

/// The INI file of a fuzz target, in memory where there is room for files. Included by the one
/// source of a target, which is thereby started with a locale in UTF-8.

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

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ::setenv("LC_ALL", "C.UTF-8", 1);
    std::setlocale(LC_ALL, "");
    std::atexit([] { ::unlink(filePath().c_str()); });
    return 0;
}
