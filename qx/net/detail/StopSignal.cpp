#include "qx/net/detail/StopSignal.h"

namespace qx::net {

constexpr platform::ForkSteps StopSignal::Steps{
    .inChild = [](void* state) noexcept { static_cast<StopSignal*>(state)->renewInChild(); }};

std::unique_ptr<StopSignal> StopSignal::create() {
    PlatformHandle<&QXSocketClose> made;
    if (QXSocketCreateSignal(made.put()) != 0)
        return nullptr;
    auto signal = std::make_unique<StopSignal>(made.get());
    static_cast<void>(made.detach());
    return signal;
}

void StopSignal::give() noexcept {
    m_isGiven.store(true, std::memory_order_release);
    QXSocketSignal(m_socket.get());
}

/// Closing the parent's descriptor leaves room for the new one, unless other processes have all
/// that the machine can give. Waits then fail, rather than miss the signal.
void StopSignal::renewInChild() noexcept {
    QXSocketCreateSignal(m_socket.put());
    if (isGiven())
        QXSocketSignal(m_socket.get());
}

} // namespace qx::net
