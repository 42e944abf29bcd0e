// Loaded into a program with LD_PRELOAD: lets one of its system calls fail, or all from one on.
//
//     QX_TORTURE_CALL    number of the call, from 0; none for counting only
//     QX_TORTURE_ERROR   errno of the failure, or "short": reads and writes of a single byte
//     QX_TORTURE_EXTENT  "once" or "on"
//     QX_TORTURE_REPORT  file that receives the number of calls and the name of the failed one
//
// Counted are calls for which the kind of failure makes sense: EINTR, EAGAIN and "short" only where
// they can happen. Children are not failed.

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <string_view>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <tuple>
#include <type_traits>
#include <unistd.h>

namespace {

constexpr int Short = -1;

struct Plan {
    long call = LONG_MAX;
    long last = LONG_MAX; // with that number
    int error = 0;
    std::atomic<long> count{0};
    std::atomic<const char*> failed{nullptr};
};

Plan& plan() {
    static Plan thePlan;
    return thePlan;
}

__attribute__((constructor)) void readPlan() {
    if (const char* const call = std::getenv("QX_TORTURE_CALL")) {
        plan().call = std::atol(call);
        const char* const extent = std::getenv("QX_TORTURE_EXTENT");
        plan().last = extent && std::string_view(extent) == "on" ? LONG_MAX : plan().call;
    }
    if (const char* const error = std::getenv("QX_TORTURE_ERROR"))
        plan().error = std::string_view(error) == "short" ? Short : std::atoi(error);
    ::unsetenv("LD_PRELOAD");
}

__attribute__((destructor)) void report() {
    const char* const path = std::getenv("QX_TORTURE_REPORT");
    FILE* const file = path ? std::fopen(path, "w") : nullptr;
    if (!file)
        return;
    const char* const failed = plan().failed;
    std::fprintf(file, "%ld %s\n", plan().count.load(), failed ? failed : "-");
    std::fclose(file);
}

/// What may happen to a call beside the failures of any: bits.
enum Kind : unsigned int { Plain = 0, Interruptible = 1, Partial = 2, Busy = 4 };
constexpr unsigned int Transfer = Interruptible | Partial;

/// Counts a call; true when it is one to fail.
bool isItsTurn(const char* name, unsigned int kind) {
    const unsigned int needed = plan().error == EINTR    ? Interruptible
                                : plan().error == Short  ? Partial
                                : plan().error == EAGAIN ? Busy
                                                         : Plain;
    if ((kind & needed) != needed)
        return false;
    const long number = plan().count++;
    if (number < plan().call || number > plan().last)
        return false;
    const char* none = nullptr;
    plan().failed.compare_exchange_strong(none, name);
    return true;
}

template <class Function>
Function* next(const char* name) {
    // Not RTLD_NEXT, for which glibc before 2.36 gives the oldest version of a function.
    static void* const library = ::dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD);
    return reinterpret_cast<Function*>(::dlsym(library, name));
}

/// The call, unless it is its turn to give @p failure or to transfer a single byte.
template <class Result, class... Parameters>
Result passOn(Result (*call)(Parameters...), const char* name, unsigned int kind,
              std::type_identity_t<Result> failure, std::type_identity_t<Parameters>... arguments) {
    if (!isItsTurn(name, kind))
        return call(arguments...);
    if (plan().error != Short) {
        errno = plan().error;
        return failure;
    }
    std::tuple<Parameters...> changed(arguments...);
    if constexpr (sizeof...(Parameters) > 2) {
        auto& size = std::get<2>(changed);
        if constexpr (std::is_same_v<decltype(size), size_t&>)
            size = std::min<size_t>(size, 1);
    }
    return std::apply(call, changed);
}

/// What the headers of the system say of a function; its attributes matter to callers only.
#pragma GCC diagnostic ignored "-Wignored-attributes"
template <class Function>
struct Signature;
template <class R, class... Parameters>
struct Signature<R(Parameters...)> {
    using Type = R(Parameters...);
    using Result = R;
    template <size_t index>
    using Parameter = std::tuple_element_t<index, std::tuple<Parameters...>>;
};
template <class R, class... Parameters>
struct Signature<R(Parameters...) noexcept> : Signature<R(Parameters...)> {};

} // namespace

#define QX_PASS_ON(name, kind, failure, parameters, ...)                                           \
    Signature<decltype(name)>::Result name parameters {                                            \
        static const auto call = next<Signature<decltype(name)>::Type>(#name);                     \
        return passOn(call, #name, kind, failure, __VA_ARGS__);                                    \
    }
// By the number of parameters.
#define QX_P(name, index) Signature<decltype(name)>::Parameter<index>
#define QX_PASS_ON_1(name, kind, failure) QX_PASS_ON(name, kind, failure, (QX_P(name, 0) a), a)
#define QX_PASS_ON_2(name, kind, failure)                                                          \
    QX_PASS_ON(name, kind, failure, (QX_P(name, 0) a, QX_P(name, 1) b), a, b)
#define QX_P3(name) QX_P(name, 0) a, QX_P(name, 1) b, QX_P(name, 2) c
#define QX_PASS_ON_3(name, kind, failure) QX_PASS_ON(name, kind, failure, (QX_P3(name)), a, b, c)
#define QX_PASS_ON_4(name, kind, failure)                                                          \
    QX_PASS_ON(name, kind, failure, (QX_P3(name), QX_P(name, 3) d), a, b, c, d)
#define QX_P5(name) QX_P3(name), QX_P(name, 3) d, QX_P(name, 4) e
#define QX_PASS_ON_5(name, kind, failure)                                                          \
    QX_PASS_ON(name, kind, failure, (QX_P5(name)), a, b, c, d, e)
#define QX_PASS_ON_6(name, kind, failure)                                                          \
    QX_PASS_ON(name, kind, failure, (QX_P5(name), QX_P(name, 5) f), a, b, c, d, e, f)

extern "C" {

int openat(int folder, const char* path, int flags, ...) {
    static const auto call = next<int(int, const char*, int, mode_t)>("openat");
    va_list rest;
    va_start(rest, flags);
    const auto mode = va_arg(rest, mode_t);
    va_end(rest);
    return passOn(call, "openat", Interruptible, -1, folder, path, flags, mode);
}
int fcntl(int file, int command, ...) {
    static const auto call = next<int(int, int, void*)>("fcntl");
    va_list rest;
    va_start(rest, command);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    const bool waits = command == F_SETLKW || command == F_OFD_SETLKW;
    return passOn(call, "fcntl", waits ? Interruptible : Plain, -1, file, command, argument);
}
int close(int file) {
    static const auto call = next<int(int)>("close");
    const int result = call(file); // the descriptor is gone in any case
    if (!isItsTurn("close", Interruptible))
        return result;
    errno = plan().error;
    return -1;
}

QX_PASS_ON_3(read, Transfer, -1)
QX_PASS_ON_3(write, Transfer, -1)
QX_PASS_ON_4(pread, Transfer, -1)
QX_PASS_ON_4(pwrite, Transfer, -1)
QX_PASS_ON_4(recv, Transfer | Busy, -1)
QX_PASS_ON_4(send, Transfer | Busy, -1)

QX_PASS_ON_3(lseek, Plain, -1)
QX_PASS_ON_2(fstat, Plain, -1)
QX_PASS_ON_2(stat, Plain, -1)
QX_PASS_ON_2(lstat, Plain, -1)
QX_PASS_ON_4(faccessat, Plain, -1)
QX_PASS_ON_2(realpath, Plain, nullptr)
QX_PASS_ON_1(opendir, Plain, nullptr)
QX_PASS_ON_1(fdopendir, Plain, nullptr)
QX_PASS_ON_1(readdir, Plain, nullptr)
QX_PASS_ON_4(fstatat, Plain, -1)
QX_PASS_ON_1(fsync, Interruptible, -1)
QX_PASS_ON_1(fdatasync, Interruptible, -1)
QX_PASS_ON_2(ftruncate, Interruptible, -1)
QX_PASS_ON_6(mmap, Plain, MAP_FAILED)
QX_PASS_ON_2(mkdir, Plain, -1)
QX_PASS_ON_2(rename, Plain, -1)
QX_PASS_ON_4(renameat, Plain, -1)
QX_PASS_ON_2(link, Plain, -1)
QX_PASS_ON_1(unlink, Plain, -1)
QX_PASS_ON_3(unlinkat, Plain, -1)
QX_PASS_ON_2(chmod, Plain, -1)
QX_PASS_ON_2(fchmod, Plain, -1)
QX_PASS_ON_3(fchown, Plain, -1)
QX_PASS_ON_2(futimens, Plain, -1)
QX_PASS_ON_2(flock, Interruptible, -1)
QX_PASS_ON_2(pipe2, Plain, -1)
QX_PASS_ON_3(poll, Interruptible, -1)
QX_PASS_ON_4(ppoll, Interruptible, -1)
QX_PASS_ON_3(socket, Plain, -1)
QX_PASS_ON_3(bind, Plain, -1)
QX_PASS_ON_2(listen, Plain, -1)
QX_PASS_ON_4(accept4, Interruptible, -1)
QX_PASS_ON_2(shutdown, Plain, -1)
QX_PASS_ON_3(getsockname, Plain, -1)
QX_PASS_ON_5(getsockopt, Plain, -1)
QX_PASS_ON_5(setsockopt, Plain, -1)
QX_PASS_ON_3(getrandom, Interruptible, -1)
QX_PASS_ON_2(getcwd, Plain, nullptr)
QX_PASS_ON_3(readlink, Plain, -1)
// A connection that was begun goes on after an interruption, so that is left out.
QX_PASS_ON_3(connect, Plain, -1)

// These return the error.
QX_PASS_ON_3(posix_fallocate, Interruptible, plan().error)
QX_PASS_ON_4(pthread_create, Busy, plan().error)
QX_PASS_ON_4(getaddrinfo, Plain, EAI_SYSTEM)

} // extern "C"
