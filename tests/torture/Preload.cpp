// Loaded into a program with LD_PRELOAD: lets one of its system calls fail, or all from one on.
//
//     QX_TORTURE_CALL    number of the call, from 0; none for counting only
//     QX_TORTURE_ERROR   errno of the failure, or "short": reads and writes of a single byte
//     QX_TORTURE_EXTENT  "once" or "on"
//     QX_TORTURE_REPORT  file that receives the number of calls and the name of the failed one
//
// Counted are calls for which the kind of failure makes sense: EINTR, EAGAIN and "short" only where
// they can happen. Children are not failed.

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <string_view>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
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
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

/// The call, unless it is its turn to give @p failure.
template <class Result, class... Parameters, class... Arguments>
Result passOn(Result (*call)(Parameters...), const char* name, unsigned int kind,
              std::type_identity_t<Result> failure, Arguments... arguments) {
    if (isItsTurn(name, kind)) {
        errno = plan().error;
        return failure;
    }
    return call(static_cast<Parameters>(arguments)...);
}

/// The same for a read or write of @p size bytes, by @p call (size).
template <class Call>
ssize_t transfer(const char* name, size_t size, Call call, unsigned int kind = Transfer) {
    if (!isItsTurn(name, kind))
        return call(size);
    if (plan().error == Short)
        return call(size < 1 ? size : 1);
    errno = plan().error;
    return -1;
}

mode_t modeOf(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

} // namespace

#define QX_PASS_ON(Result, name, kind, failure, parameters, arguments)                             \
    Result name parameters {                                                                       \
        static const auto call = next<Result parameters>(#name);                                   \
        return passOn(call, #name, kind, failure, QX_UNPACK arguments);                            \
    }
#define QX_UNPACK(...) __VA_ARGS__

extern "C" {

int open(const char* path, int flags, ...) {
    static const auto call = next<int(const char*, int, mode_t)>("open");
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = modeOf(flags, rest);
    va_end(rest);
    return passOn(call, "open", Interruptible, -1, path, flags, mode);
}
int openat(int folder, const char* path, int flags, ...) {
    static const auto call = next<int(int, const char*, int, mode_t)>("openat");
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = modeOf(flags, rest);
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

ssize_t read(int file, void* to, size_t size) {
    static const auto call = next<ssize_t(int, void*, size_t)>("read");
    return transfer("read", size, [&](size_t count) { return call(file, to, count); });
}
ssize_t write(int file, const void* from, size_t size) {
    static const auto call = next<ssize_t(int, const void*, size_t)>("write");
    return transfer("write", size, [&](size_t count) { return call(file, from, count); });
}
ssize_t pread(int file, void* to, size_t size, off_t offset) {
    static const auto call = next<ssize_t(int, void*, size_t, off_t)>("pread");
    return transfer("pread", size, [&](size_t count) { return call(file, to, count, offset); });
}
ssize_t pwrite(int file, const void* from, size_t size, off_t offset) {
    static const auto call = next<ssize_t(int, const void*, size_t, off_t)>("pwrite");
    return transfer("pwrite", size, [&](size_t count) { return call(file, from, count, offset); });
}
ssize_t recv(int socket, void* to, size_t size, int flags) {
    static const auto call = next<ssize_t(int, void*, size_t, int)>("recv");
    return transfer(
        "recv", size, [&](size_t count) { return call(socket, to, count, flags); },
        Transfer | Busy);
}
ssize_t send(int socket, const void* from, size_t size, int flags) {
    static const auto call = next<ssize_t(int, const void*, size_t, int)>("send");
    return transfer(
        "send", size, [&](size_t count) { return call(socket, from, count, flags); },
        Transfer | Busy);
}

QX_PASS_ON(off_t, lseek, Plain, -1, (int file, off_t offset, int origin), (file, offset, origin))
QX_PASS_ON(int, fstat, Plain, -1, (int file, struct stat* state), (file, state))
QX_PASS_ON(int, stat, Plain, -1, (const char* path, struct stat* state), (path, state))
QX_PASS_ON(int, lstat, Plain, -1, (const char* path, struct stat* state), (path, state))
QX_PASS_ON(int, faccessat, Plain, -1, (int folder, const char* path, int mode, int flags),
           (folder, path, mode, flags))
QX_PASS_ON(char*, realpath, Plain, nullptr, (const char* path, char* resolved), (path, resolved))
QX_PASS_ON(DIR*, opendir, Plain, nullptr, (const char* path), (path))
QX_PASS_ON(DIR*, fdopendir, Plain, nullptr, (int folder), (folder))
QX_PASS_ON(struct dirent*, readdir, Plain, nullptr, (DIR * folder), (folder))
QX_PASS_ON(int, fstatat, Plain, -1, (int folder, const char* path, struct stat* state, int flags),
           (folder, path, state, flags))
QX_PASS_ON(int, fsync, Interruptible, -1, (int file), (file))
QX_PASS_ON(int, fdatasync, Interruptible, -1, (int file), (file))
QX_PASS_ON(int, ftruncate, Interruptible, -1, (int file, off_t size), (file, size))
QX_PASS_ON(void*, mmap, Plain, MAP_FAILED,
           (void* at, size_t size, int access, int flags, int file, off_t offset),
           (at, size, access, flags, file, offset))
QX_PASS_ON(int, mkdir, Plain, -1, (const char* path, mode_t mode), (path, mode))
QX_PASS_ON(int, rename, Plain, -1, (const char* from, const char* to), (from, to))
QX_PASS_ON(int, link, Plain, -1, (const char* from, const char* to), (from, to))
QX_PASS_ON(int, unlink, Plain, -1, (const char* path), (path))
QX_PASS_ON(int, unlinkat, Plain, -1, (int folder, const char* path, int flags),
           (folder, path, flags))
QX_PASS_ON(int, chmod, Plain, -1, (const char* path, mode_t mode), (path, mode))
QX_PASS_ON(int, fchmod, Plain, -1, (int file, mode_t mode), (file, mode))
QX_PASS_ON(int, fchown, Plain, -1, (int file, uid_t owner, gid_t group), (file, owner, group))
QX_PASS_ON(int, futimens, Plain, -1, (int file, const struct timespec times[2]), (file, times))
QX_PASS_ON(int, flock, Interruptible, -1, (int file, int operation), (file, operation))
QX_PASS_ON(int, pipe2, Plain, -1, (int ends[2], int flags), (ends, flags))
QX_PASS_ON(int, poll, Interruptible, -1, (struct pollfd * files, nfds_t count, int milliseconds),
           (files, count, milliseconds))
QX_PASS_ON(int, ppoll, Interruptible, -1,
           (struct pollfd * files, nfds_t count, const struct timespec* time,
            const sigset_t* signals),
           (files, count, time, signals))
QX_PASS_ON(int, socket, Plain, -1, (int family, int type, int protocol), (family, type, protocol))
QX_PASS_ON(int, bind, Plain, -1, (int socket, const struct sockaddr* address, socklen_t length),
           (socket, address, length))
QX_PASS_ON(int, listen, Plain, -1, (int socket, int backlog), (socket, backlog))
QX_PASS_ON(int, accept4, Interruptible, -1,
           (int socket, struct sockaddr* address, socklen_t* length, int flags),
           (socket, address, length, flags))
QX_PASS_ON(int, shutdown, Plain, -1, (int socket, int how), (socket, how))
QX_PASS_ON(int, getsockname, Plain, -1, (int socket, struct sockaddr* address, socklen_t* length),
           (socket, address, length))
QX_PASS_ON(int, getsockopt, Plain, -1,
           (int socket, int level, int option, void* value, socklen_t* length),
           (socket, level, option, value, length))
QX_PASS_ON(int, setsockopt, Plain, -1,
           (int socket, int level, int option, const void* value, socklen_t length),
           (socket, level, option, value, length))
QX_PASS_ON(ssize_t, getrandom, Interruptible, -1, (void* to, size_t size, unsigned int flags),
           (to, size, flags))
QX_PASS_ON(char*, getcwd, Plain, nullptr, (char* to, size_t size), (to, size))
QX_PASS_ON(ssize_t, readlink, Plain, -1, (const char* path, char* to, size_t size),
           (path, to, size))

// A connection that was begun goes on after an interruption, so that is left out.
QX_PASS_ON(int, connect, Plain, -1, (int socket, const struct sockaddr* address, socklen_t length),
           (socket, address, length))

// These return the error.
int posix_fallocate(int file, off_t offset, off_t size) {
    static const auto call = next<int(int, off_t, off_t)>("posix_fallocate");
    return passOn(call, "posix_fallocate", Interruptible, plan().error, file, offset, size);
}
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) {
    static const auto call =
        next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
    return passOn(call, "pthread_create", Busy, plan().error, thread, attributes, body, argument);
}
int getaddrinfo(const char* host, const char* service, const struct addrinfo* hints,
                struct addrinfo** out) {
    static const auto call =
        next<int(const char*, const char*, const struct addrinfo*, struct addrinfo**)>(
            "getaddrinfo");
    return passOn(call, "getaddrinfo", Plain, EAI_SYSTEM, host, service, hints, out);
}

} // extern "C"
