#include "Manager.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <iostream>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <qx/core/String.h>

#include "Settings.h"

namespace collector {

namespace {

using namespace std::chrono_literals;

constexpr int FirstHanded = 3;
constexpr int64_t LongestWatch = 1'000'000'000'000'000; // 31 years, which no clock overflows with

/// The value of a variable, which is gone from the environment then.
std::optional<std::string> take(const char* name) {
    const char* const value = std::getenv(name);
    if (!value)
        return std::nullopt;
    std::string taken = value;
    unsetenv(name);
    return taken;
}

/// The same as a number; nothing when it is not set.
std::optional<int64_t> takeNumber(const char* name, int64_t highest) {
    const auto digits = take(name);
    if (!digits)
        return std::nullopt;
    const std::optional<int64_t> value = qx::String::fromUtf8(*digits).toInt64();
    if (!value || *value < 0 || *value > highest)
        throw UsageFailure(qx::String::fromUtf8(std::string(name) + " is a number from 0 to " +
                                                std::to_string(highest) + ", not " + *digits));
    return *value;
}

/// Variables for another process are left over from one that has started this one.
bool isOurs(const std::optional<int64_t>& process) { return !process || *process == getpid(); }

std::vector<Manager::Handed> takeSockets() {
    constexpr int64_t Most = 1000;
    const auto process = takeNumber("LISTEN_PID", INT32_MAX);
    const auto count = takeNumber("LISTEN_FDS", Most);
    std::string names = take("LISTEN_FDNAMES").value_or("");
    if (!process || !isOurs(process))
        return {};
    std::vector<Manager::Handed> handed;
    for (int64_t i = 0; i < count.value_or(0); ++i) {
        const int socket = FirstHanded + static_cast<int>(i);
        fcntl(socket, F_SETFD, FD_CLOEXEC);
        const size_t length = std::min(names.find(':'), names.size());
        handed.push_back({static_cast<uint64_t>(socket), names.substr(0, length)});
        names.erase(0, length + 1);
    }
    return handed;
}

/// Microseconds of the clock that the manager compares with.
std::string monotonicTime() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::to_string(int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000);
}

/// A status is one line.
std::string statusOf(std::string_view text) {
    std::string status = "STATUS=" + std::string(text);
    std::ranges::replace(status, '\n', ' ');
    return status;
}

} // namespace

Manager::Manager() {
    m_sockets = takeSockets();
    const auto address = take("NOTIFY_SOCKET");
    const auto process = takeNumber("WATCHDOG_PID", INT32_MAX);
    const auto limit = takeNumber("WATCHDOG_USEC", LongestWatch);
    if (address && !address->empty())
        open(*address);
    if (limit.value_or(0) > 0 && isOurs(process) && !m_address.empty()) {
        m_watchdog = std::chrono::microseconds(*limit / 2);
        m_longestPause = std::clamp(std::chrono::floor<std::chrono::milliseconds>(*m_watchdog / 2),
                                    1ms, m_longestPause);
    }
}

Manager::~Manager() {
    if (m_socket >= 0)
        ::close(m_socket);
}

void Manager::open(const std::string& address) {
    constexpr size_t Longest = sizeof(sockaddr_un::sun_path) - 1;
    const bool isAbstract = address.front() == '@';
    if ((!isAbstract && address.front() != '/') || address.size() < 2 || address.size() > Longest)
        throw UsageFailure(
            qx::String::fromUtf8("NOTIFY_SOCKET is a path or @ and a name, not " + address));
    m_socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    // A manager that does not listen must not keep clients waiting.
    const timeval limit{1, 0};
    if (m_socket >= 0)
        ::setsockopt(m_socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    m_address = address;
    if (isAbstract)
        m_address.front() = '\0';
}

void Manager::ready(std::string_view status) {
    m_status = status;
    tell("READY=1\n" + statusOf(status));
}

void Manager::reloading() { tell("RELOADING=1\nMONOTONIC_USEC=" + monotonicTime()); }

void Manager::stopping(std::string_view status) { tell("STOPPING=1\n" + statusOf(status)); }

void Manager::failed(std::string_view why) { tell(statusOf(why)); }

void Manager::alive(std::string_view status) {
    const auto now = Clock::now();
    std::string state;
    if (m_watchdog && now >= m_watchdogDue) {
        m_watchdogDue = now + *m_watchdog;
        state = "WATCHDOG=1";
    }
    if (status != m_status && now >= m_statusDue) {
        m_statusDue = now + 1s;
        m_status = status;
        state += (state.empty() ? "" : "\n") + statusOf(status);
    }
    if (!state.empty())
        tell(state);
}

void Manager::tell(const std::string& state) {
    if (m_address.empty())
        return;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, m_address.data(), m_address.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + m_address.size());
    const ssize_t sent = ::sendto(m_socket, state.data(), state.size(), MSG_NOSIGNAL,
                                  reinterpret_cast<const sockaddr*>(&address), length);
    // The service does its work all the same, and says once what its manager does not get to know.
    if (sent < 0 && !m_hasComplained)
        std::cerr << "Service: NOTIFY_SOCKET: " << std::strerror(errno) << std::endl;
    m_hasComplained = m_hasComplained || sent < 0;
}

} // namespace collector
