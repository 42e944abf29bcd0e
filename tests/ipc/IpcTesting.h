#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <qx/platform/result.h>
#include <qx/platform/shared.h>
#include <unistd.h>

#include "tests/support/Sanitized.h"

namespace qxtest {

using Clock = std::chrono::steady_clock;

/// Longest time in which a waiter must have got over the death of a holder.
inline constexpr std::chrono::milliseconds DeadHolderLimit{Sanitized ? 5000 : 1000};

/// A name that no other test, and no other run of the tests, uses.
inline std::string uniqueName(const std::string& label) {
    static int number = 0;
    return "qxtest." + std::to_string(getpid()) + "." + std::to_string(++number) + "." + label;
}

/// True as soon as the predicate is; false when it is not within half a minute.
template <class Predicate>
bool eventually(Predicate predicate) {
    const auto end = Clock::now() + std::chrono::seconds(30);
    while (!predicate()) {
        if (Clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

/// A structure of atomics in memory that a test shares with its children; starts as zeros.
template <class T>
class SharedStruct {
public:
    explicit SharedStruct(std::string name) : m_name(std::move(name)) {
        void* address = nullptr;
        if (QXSharedMemOpen(m_name.c_str(), QX_SHAREDMEM_CREATE, 0, sizeof(T), &m_handle) < 0 ||
            QXSharedMemAttach(m_handle, 0xC0000000, &address) < 0) {
            std::fprintf(stderr, "cannot share %s\n", m_name.c_str());
            std::abort();
        }
        m_struct = static_cast<T*>(address);
    }
    ~SharedStruct() {
        QXSharedMemDetach(m_struct);
        QXSharedMemClose(m_handle);
    }
    SharedStruct(const SharedStruct&) = delete;
    SharedStruct& operator=(const SharedStruct&) = delete;

    const std::string& name() const { return m_name; }
    T* operator->() const { return m_struct; }
    T& operator*() const { return *m_struct; }

private:
    const std::string m_name;
    QXHandle m_handle = 0;
    T* m_struct = nullptr;
};

/// Number of files on the memory file system whose name contains @p token.
inline int filesNamed(const std::string& token) {
    int count = 0;
    std::error_code ignored;
    const std::string folders[] = {"/dev/shm", "/dev/shm/qx-" + std::to_string(geteuid())};
    for (const auto& folder : folders) {
        for (const auto& entry : std::filesystem::directory_iterator(folder, ignored))
            count += entry.path().filename().string().find(token) != std::string::npos;
    }
    return count;
}

/// Number of entries of a folder under /proc/self; opening the folder is not counted.
inline int64_t countOwn(const char* folder) {
    const std::filesystem::directory_iterator entries(std::string("/proc/self/") + folder);
    return std::distance(begin(entries), end(entries));
}

} // namespace qxtest

/// In a child: ends it with a message when the condition does not hold.
#define CHECK_IN_CHILD(condition)                                                                  \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                   \
            _exit(1);                                                                              \
        }                                                                                          \
    } while (false)
