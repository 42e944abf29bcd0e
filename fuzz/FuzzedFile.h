#pragma once

#include <clocale>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/ScratchFolder.h"

/// The INI file of a fuzz target. Included by the one source of a target, which is thereby started
/// with a locale in UTF-8.

inline void require(bool condition) {
    if (!condition)
        std::abort();
}

inline const std::string& filePath() {
    static const ScratchFolder folder;
    static const std::string path = folder.path("file.ini");
    return path;
}

inline std::string readAll() {
    std::ifstream file(filePath(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ::setenv("LC_ALL", "C.UTF-8", 1);
    std::setlocale(LC_ALL, "");
    return 0;
}
