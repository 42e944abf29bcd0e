#include "Connections.h"

#include <algorithm>
#include <iostream>
#include <mutex>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>

namespace collector {

namespace {

void report(int32_t result) {
    std::cerr << "Service: a connection: " << qx::makeErrorCode(result).message() << std::endl;
}

} // namespace

void Connections::start(std::unique_ptr<qx::net::TcpWorkerSocket2> socket) {
    tidy();
    if (m_connections.size() >= static_cast<size_t>(m_service.settings.mostConnections)) {
        Connection::turnAway(m_service, *socket);
        return;
    }
    std::list<Served> added(1);
    Served& served = added.front();
    const int32_t result = qx::resultOf([&] {
        served.connection = std::make_unique<Connection>(m_service, std::move(socket));
        served.thread =
            qx::makeReference<qx::exec::Thread>([this, &served] { serve(served); }, u"connection");
        served.thread->start();
    });
    if (result < 0) {
        report(result); // and the client sees the end of its connection
        return;
    }
    const std::lock_guard lock(m_changed);
    m_connections.splice(m_connections.end(), added);
}

void Connections::serve(Served& served) noexcept {
    const int32_t result = qx::resultOf([&] { served.connection->serve(); });
    if (result < 0)
        report(result);
    served.connection->finish(); // not with the lock, for which new clients wait
    const std::lock_guard lock(m_changed);
    served.connection.reset();
    m_changed.broadcast();
}

void Connections::tidy() {
    std::list<Served> ended;
    {
        const std::lock_guard lock(m_changed);
        for (auto served = m_connections.begin(); served != m_connections.end();) {
            const auto next = std::next(served);
            if (!served->connection)
                ended.splice(ended.end(), m_connections, served);
            served = next;
        }
    }
    for (const Served& served : ended)
        served.thread->join();
}

void Connections::stop(std::chrono::milliseconds longest) {
    const auto tell = [this](void (Connection::*what)()) {
        for (const Served& served : m_connections) {
            if (served.connection)
                (served.connection.get()->*what)();
        }
    };
    {
        const std::lock_guard lock(m_changed);
        tell(&Connection::stop);
        const bool haveEnded = m_changed.waitFor(longest, [this] {
            return std::ranges::none_of(
                m_connections, [](const Served& served) { return served.connection != nullptr; });
        });
        if (!haveEnded)
            tell(&Connection::abort);
    }
    for (const Served& served : m_connections)
        served.thread->join();
    m_connections.clear();
}

} // namespace collector
