// Sends back whatever comes in, on several addresses at once and with one thread a connection:
// EchoServer PORT [HOSTS [COUNT]]. HOSTS are names or addresses separated by commas, by default
// every address of the machine. It ends when COUNT connections have been served; without COUNT it
// goes on for ever.

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/String.h>
#include <qx/exec/Thread.h>
#include <qx/net/TcpServerSocket2.h>
#include <qx/net/TcpWorkerSocket2.h>
#include <qx/net/socketerror.h>

using qx::net::TcpServerSocket2;
using qx::net::TcpWorkerSocket2;

namespace {

std::string describe(ENUM_QX_E_SOCKET code) {
    return qx::String(QXGetDescriptionFromQX_E_SOCKET(code)).toUtf8();
}

void require(ENUM_QX_E_SOCKET code, const char* what) {
    if (code != 0)
        throw std::runtime_error(std::string(what) + ": " + describe(code));
}

/// Ready to accept.
std::unique_ptr<TcpServerSocket2> listenOn(uint16_t port, const char* hosts) {
    TcpServerSocket2* made = nullptr;
    require(TcpServerSocket2::createTcpServerSocket2(QX_AF_UNSPEC, QX_SOCK_STREAM, 0, &made),
            "create");
    std::unique_ptr<TcpServerSocket2> server(made);
    require(hosts ? server->bindListAddAddrInfo(hosts, nullptr, port)
                  : server->bindListAddAddrAny(port),
            "addresses");
    require(server->bind(), "bind");
    require(server->listen(0), "listen");
    require(server->saveBoundAddresses(), "bound addresses");
    return server;
}

/// Until the client has sent its end, or is lost.
void serve(TcpWorkerSocket2& connection) {
    char buffer[16384];
    int64_t received = 0;
    while (connection.recv(buffer, sizeof buffer, 0, &received) == ENUM_QX_E_SOCKET(0) &&
           received > 0) {
        for (int64_t done = 0; done < received;) {
            int64_t sent = 0;
            const ENUM_QX_E_SOCKET code =
                connection.send(buffer + done, static_cast<size_t>(received - done), 0, &sent);
            if (code != 0) {
                std::cerr << "send: " << describe(code) << '\n';
                return;
            }
            done += sent;
        }
    }
}

/// Connections that are being served, each on a thread that nobody joins.
class Connections {
public:
    /// The client of a connection that gets no thread sees its end.
    void start(std::shared_ptr<TcpWorkerSocket2> connection) {
        add(1);
        try {
            auto body = [this, connection = std::move(connection)]() mutable {
                serve(*connection);
                connection.reset();
                add(-1);
            };
            qx::exec::Thread(std::move(body), u"echo").start();
        } catch (const std::exception& exception) {
            std::cerr << exception.what() << '\n';
            add(-1);
        }
    }
    void awaitNone() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_count == 0; });
    }

private:
    void add(int count) {
        const std::lock_guard lock(m_mutex);
        m_count += count;
        m_changed.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_count = 0;
};

} // namespace

int main(int argc, char** argv) try {
    const int port = argc > 1 ? qx::String(argv[1]).toInt().value_or(0) : 0;
    const std::optional<int64_t> count = argc > 3 ? qx::String(argv[3]).toInt64() : INT64_MAX;
    if (port < 1 || port > 0xFFFF || !count || *count < 1 || argc > 4) {
        std::cerr << "usage: EchoServer PORT [HOSTS [COUNT]]\n";
        return 2;
    }
    const auto server =
        listenOn(static_cast<uint16_t>(port), argc > 2 && *argv[2] ? argv[2] : nullptr);
    char bound[2048];
    uint32_t length = sizeof bound;
    require(server->boundListAddressesDiagnosticStrA(bound, &length), "bound addresses");
    std::cout << "listening on " << bound << std::endl;

    Connections connections;
    for (int64_t served = 0; served < *count; ++served) {
        TcpWorkerSocket2* accepted = nullptr;
        if (const ENUM_QX_E_SOCKET code = server->accept(&accepted)) {
            // Short of descriptors, say. Those that wait are served when others have ended.
            std::cerr << "accept: " << describe(code) << '\n';
            qx::exec::Thread::sleep(100);
            --served;
            continue;
        }
        connections.start(std::shared_ptr<TcpWorkerSocket2>(accepted));
    }
    connections.awaitNone();
    return 0;
} catch (const std::exception& exception) {
    std::cerr << "EchoServer: " << exception.what() << '\n';
    return 1;
}
