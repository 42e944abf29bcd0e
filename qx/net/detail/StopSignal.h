#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/detail/ForkWatch.h>
#include <qx/platform/net.h>

namespace qx::net {

/// Ends the waits of this process for some sockets, for good. A child of fork has a signal of its
/// own: what one of the two processes stops goes on in the other.
class StopSignal {
public:
    /// Null with the thread's socket error when there is no descriptor left.
    static std::unique_ptr<StopSignal> create();

    explicit StopSignal(uint64_t socket) noexcept : m_socket(socket) {}

    /// What is waited for beside the sockets, and is ready when they are no more waited for.
    uint64_t getSocket() const noexcept { return m_socket.get(); }
    /// Any thread may call these.
    bool isGiven() const noexcept { return m_isGiven.load(std::memory_order_acquire); }
    void give() noexcept;

private:
    static const platform::ForkSteps Steps;

    void renewInChild() noexcept;

    PlatformHandle<&QXSocketClose> m_socket;
    std::atomic<bool> m_isGiven{false};
    platform::ForkWatch m_watch{this, Steps}; // last
};

} // namespace qx::net
