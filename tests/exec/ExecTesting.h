#pragma once

#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <qx/core/Exception.h>
#include <qx/io/InputStream.h>

#include "tests/ipc/IpcTesting.h"

namespace qxtest {

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

/// Everything up to the end.
inline std::string readAll(qx::io::InputStream& in) {
    std::string all;
    char block[4096];
    for (int32_t count; (count = in.read(block, sizeof block)) > 0;)
        all.append(block, static_cast<size_t>(count));
    return all;
}

/// Number of entries of a folder under /proc/self; opening the folder is not counted.
inline int64_t countOwn(const char* folder) {
    const std::filesystem::directory_iterator entries(std::string("/proc/self/") + folder);
    return std::distance(begin(entries), end(entries));
}

/// True when this process has a child, running or not waited for.
inline bool hasChildren() {
    siginfo_t info;
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

} // namespace qxtest
