#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace collector {

/// What has started the service and looks after it, by the protocol of systemd: it hands over
/// sockets that listen already, and is told how things are. Started by anything else, it is told
/// nothing and hands over nothing.
class Manager {
public:
    /// A socket that listens, with the name that it was given.
    struct Handed {
        uint64_t socket;
        std::string name;
    };

    /// Takes the variables out of the environment, so that no child takes them for its own.
    /// @throws UsageFailure when one of them means nothing
    Manager();
    ~Manager();
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    const std::vector<Handed>& sockets() const { return m_sockets; }

    /// Tells that clients are served; also after reloading.
    void ready(std::string_view status);
    /// Tells that a signal to reload is being followed. ready has to come after it.
    void reloading();
    void stopping(std::string_view status);
    /// Tells why the service ends.
    void failed(std::string_view why);

    /// Tells that the service is alive when that is due, and what it does when that has changed,
    /// not more often than once a second. To be called at least every longestPause.
    void alive(std::string_view status);
    std::chrono::milliseconds longestPause() const { return m_longestPause; }

private:
    using Clock = std::chrono::steady_clock;

    void open(const std::string& address);
    void tell(const std::string& state);

    std::vector<Handed> m_sockets;
    std::string m_address; ///< as the system has it; empty when nothing is to be told
    int m_socket = -1;
    bool m_hasComplained = false;
    std::string m_status; ///< that was told last
    Clock::time_point m_statusDue = Clock::now();
    std::optional<std::chrono::microseconds> m_watchdog; ///< how often to tell
    Clock::time_point m_watchdogDue = Clock::now();
    std::chrono::milliseconds m_longestPause{100};
};

} // namespace collector
