#include "qx/net/pcom/PcomAcceptor.h"

#include <qx/core/Required.h>
#include <qx/io/Channels.h>
#include <qx/net/detail/HandOut.h>

namespace qx::net::pcom {

PcomAcceptor::PcomAcceptor(IQXAcceptor* acceptor) : m_acceptor(required(acceptor)) {}

Reference<io::IChannel> PcomAcceptor::accept() {
    const auto channel = detail::taken<io::pcom::IQXChannel>(
        [this](const GUID& iid, void** out) { return m_acceptor->Accept(iid, out); });
    return io::Channels::adaptPcomChannel(channel);
}

} // namespace qx::net::pcom
