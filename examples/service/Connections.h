#pragma once

#include <chrono>
#include <list>
#include <memory>

#include <qx/core/Reference.h>
#include <qx/exec/Thread.h>
#include <qx/net/TcpWorkerSocket2.h>
#include <qx/sync/Condition.h>

#include "Connection.h"

namespace collector {

/// The connections that are being served, each on a thread of its own. All have ended when the
/// object is gone.
class Connections {
public:
    explicit Connections(const Service& service) : m_service(service) {}
    ~Connections() { stop(std::chrono::milliseconds(0)); }

    /// Turns the client away when there are as many as the settings allow.
    void start(std::unique_ptr<qx::net::TcpWorkerSocket2> socket);

    /// Lets go of the threads of those that have ended.
    void tidy();

    /// Ends all of them: as soon as what has come in is answered, and when the time is over in any
    /// case.
    void stop(std::chrono::milliseconds longest);

    size_t count() const { return m_connections.size(); }

private:
    /// The connection goes when it has ended, the thread by tidy.
    struct Served {
        std::unique_ptr<Connection> connection;
        qx::Reference<qx::exec::Thread> thread;
    };

    void serve(Served& served) noexcept;

    const Service& m_service;
    qx::sync::Condition m_changed; ///< guards the connections in the list
    std::list<Served> m_connections;
};

} // namespace collector
