#include "tests/support/FailingCalls.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace qxtest {

namespace {

struct Plan {
    int failing;
    int error;
    std::vector<std::string> calls{};
    bool isCoarse = false;
};

constinit thread_local Plan* t_plan = nullptr;

bool isCoarse() { return t_plan != nullptr && t_plan->isCoarse; }

/// Notes a call; true when it is the one to fail.
bool fails(const char* name) {
    Plan* const plan = t_plan;
    if (plan == nullptr)
        return false;
    const int number = static_cast<int>(plan->calls.size());
    t_plan = nullptr; // the note itself makes no calls that count
    plan->calls.emplace_back(name);
    t_plan = plan;
    if (number != plan->failing)
        return false;
    errno = plan->error;
    return true;
}

/// The system's function that ours stands before.
template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

/// Calls the system's function unless it is the one to fail.
template <class Result = int, class... Arguments>
Result failOrCall(const char* name, Arguments... arguments) {
    return fails(name) ? -1 : next<Result(Arguments...)>(name)(arguments...);
}

} // namespace

FailingCalls::FailingCalls(int failing, int error) { t_plan = new Plan{failing, error}; }

FailingCalls::~FailingCalls() {
    delete t_plan;
    t_plan = nullptr;
}

std::vector<std::string> FailingCalls::calls() const { return t_plan->calls; }

void FailingCalls::setCoarse(bool isCoarse) { t_plan->isCoarse = isCoarse; }

} // namespace qxtest

using qxtest::failOrCall;
using qxtest::fails;

// The program's definitions go before those of the C library, also for calls from the library.
extern "C" {

int openat(int folder, const char* path, int flags, ...) {
    static const auto call = qxtest::next<int(int, const char*, int, ...)>("openat");
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t); // which may be none
    va_end(arguments);
    return fails("openat") ? -1 : call(folder, path, flags, mode);
}

int fchown(int file, uid_t user, gid_t group) noexcept {
    return failOrCall("fchown", file, user, group);
}

ssize_t getxattr(const char* path, const char* name, void* value, size_t size) noexcept {
    return failOrCall<ssize_t>("getxattr", path, name, value, size);
}

int fchmod(int file, mode_t mode) noexcept { return failOrCall("fchmod", file, mode); }

ssize_t write(int file, const void* bytes, size_t length) {
    static const auto call = qxtest::next<ssize_t(int, const void*, size_t)>("write");
    const size_t most = qxtest::isCoarse() ? 4 : length;
    return fails("write") ? -1 : call(file, bytes, std::min(length, most));
}

int futimens(int file, const timespec times[2]) noexcept {
    const timespec coarse = {std::min<time_t>(times[1].tv_sec, INT32_MAX) & ~1, 0},
                   both[] = {coarse, coarse};
    return failOrCall("futimens", file, qxtest::isCoarse() ? both : times);
}

int fsync(int file) { return failOrCall("fsync", file); }

int renameat(int oldFolder, const char* from, int newFolder, const char* to) noexcept {
    return failOrCall("renameat", oldFolder, from, newFolder, to);
}

} // extern "C"
