// TCP over the loopback beside plain system calls: a ping-pong over one connection, a server of 64
// connections that waits with select beside one with epoll, and 64 KiB blocks one way.
//
// "OneCpu" keeps client and server on one processor, so that no wake-up of another one is measured.

#include <array>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/InputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/net/TcpClientSocket2.h>
#include <qx/net/TcpServerSocket.h>
#include <qx/net/TcpSocket.h>
#include <qx/net/TcpWorkerSocket2.h>

namespace {

constexpr int MessageSize = 64;
constexpr int BlockSize = 64 << 10;
constexpr int Connections = 64;

void require(bool condition) {
    if (!condition)
        std::abort();
}

/// This thread, and those that it starts, on one processor while the object lives.
class Pinned {
public:
    Pinned() {
        sched_getaffinity(0, sizeof m_before, &m_before);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(sched_getcpu(), &one);
        sched_setaffinity(0, sizeof one, &one);
    }
    ~Pinned() { sched_setaffinity(0, sizeof m_before, &m_before); }

private:
    cpu_set_t m_before;
};

/// A listening socket of the system on a free loopback port.
class Listener {
public:
    Listener() : m_socket(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        require(::bind(m_socket, any, length) == 0 && ::listen(m_socket, Connections) == 0 &&
                ::getsockname(m_socket, any, &length) == 0);
        m_port = ntohs(address.sin_port);
    }
    ~Listener() { ::close(m_socket); }
    int accept() const { return ::accept(m_socket, nullptr, nullptr); }
    uint16_t port() const { return m_port; }

private:
    int m_socket;
    uint16_t m_port;
};

// What is measured: a connection with send and with receive, which returns 0 at the end.

class PosixConnection {
public:
    explicit PosixConnection(int accepted) : m_socket(accepted) {}
    static std::unique_ptr<PosixConnection> connect(uint16_t port) {
        const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        require(::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
        return std::make_unique<PosixConnection>(socket);
    }
    ~PosixConnection() { ::close(m_socket); }
    int number() const { return m_socket; }
    void send(const char* from, int length) {
        require(::send(m_socket, from, static_cast<size_t>(length), MSG_NOSIGNAL) == length);
    }
    int receive(char* to, int length) {
        const auto count = ::recv(m_socket, to, static_cast<size_t>(length), 0);
        require(count >= 0);
        return static_cast<int>(count);
    }

private:
    int m_socket;
};

/// The object generation: byte streams.
class StreamConnection {
public:
    explicit StreamConnection(int accepted)
        : StreamConnection(qx::makeReference<AcceptedSocket>(accepted)) {}
    explicit StreamConnection(const qx::Reference<qx::net::TcpSocket>& socket)
        : m_in(socket->getInputStream()), m_out(socket->getOutputStream()) {}
    static std::unique_ptr<StreamConnection> connect(uint16_t port) {
        return std::make_unique<StreamConnection>(
            qx::makeReference<qx::net::TcpSocket>(qx::String(u"127.0.0.1"), port));
    }
    void send(const char* from, int length) { m_out->write(from, length); }
    int receive(char* to, int length) {
        const int count = m_in->read(to, length);
        return count < 0 ? 0 : count;
    }

private:
    class AcceptedSocket : public qx::net::TcpSocket {
    public:
        explicit AcceptedSocket(int socket) : TcpSocket(static_cast<uint64_t>(socket)) {}
    };

    qx::Reference<qx::io::InputStream> m_in;
    qx::Reference<qx::io::OutputStream> m_out;
};

/// The result-code generation.
class CodeConnection {
public:
    explicit CodeConnection(int accepted)
        : m_socket(new qx::net::TcpWorkerSocket2(static_cast<uint64_t>(accepted), nullptr)) {}
    static std::unique_ptr<CodeConnection> connect(uint16_t port) {
        qx_sockaddr_union address{};
        address.ipv4 = {QX_AF_INET, htons(port), {127, 0, 0, 1}, {}};
        qx::net::TcpClientSocket2* socket = nullptr;
        require(qx::net::TcpClientSocket2::createTcpClientSocket2(QX_AF_INET, QX_SOCK_STREAM, 0,
                                                                  &socket) == 0);
        auto connection = std::unique_ptr<CodeConnection>(new CodeConnection(socket));
        require(socket->connect(&address, sizeof address.ipv4) == 0);
        return connection;
    }
    qx::net::TcpWorkerSocket2* socket() const { return m_socket.get(); }
    void send(const char* from, int length) {
        int64_t count = 0;
        require(m_socket->send(from, static_cast<size_t>(length), 0, &count) == 0 &&
                count == length);
    }
    int receive(char* to, int length) {
        int64_t count = -1;
        static_cast<void>(m_socket->recv(to, static_cast<size_t>(length), 0, &count));
        require(count >= 0);
        return static_cast<int>(count);
    }

private:
    explicit CodeConnection(qx::net::TcpWorkerSocket2* socket) : m_socket(socket) {}

    std::unique_ptr<qx::net::TcpWorkerSocket2> m_socket;
};

/// Receives a whole message; false at the end.
template <class Connection>
bool receiveMessage(Connection& connection, char* message) {
    for (int done = 0; done < MessageSize;) {
        const int count = connection.receive(message + done, MessageSize - done);
        if (count == 0)
            return false;
        done += count;
    }
    return true;
}

template <class Connection>
void echo(benchmark::State& state) {
    const Pinned pinned;
    const Listener listener;
    std::jthread server([&] {
        Connection connection(listener.accept());
        std::array<char, MessageSize> message;
        while (receiveMessage(connection, message.data()))
            connection.send(message.data(), MessageSize);
    });
    const auto client = Connection::connect(listener.port());
    std::array<char, MessageSize> message{};
    for (auto _ : state) {
        client->send(message.data(), MessageSize);
        require(receiveMessage(*client, message.data()));
    }
    state.SetItemsProcessed(state.iterations());
}

template <class Connection>
void bulk(benchmark::State& state) {
    const Listener listener;
    std::jthread server([&] {
        Connection connection(listener.accept());
        std::vector<char> block(BlockSize);
        while (connection.receive(block.data(), BlockSize) > 0) {
        }
    });
    const auto client = Connection::connect(listener.port());
    const std::vector<char> block(BlockSize);
    for (auto _ : state)
        client->send(block.data(), BlockSize);
    state.SetBytesProcessed(state.iterations() * BlockSize);
}

template <class Connection>
void bulkOneCpu(benchmark::State& state) {
    const Pinned pinned;
    bulk<Connection>(state);
}

using CodeConnections = std::vector<std::unique_ptr<CodeConnection>>;
using PosixConnections = std::vector<std::unique_ptr<PosixConnection>>;

/// Answers one message of each connection from @p first to before @p last, in the order in which
/// they come; false at the end.
bool answerEach(const CodeConnections& connections, size_t first, size_t last) {
    std::array<char, MessageSize> message;
    for (size_t left = last - first; left > 0;) {
        std::array<qx::net::TcpWorkerSocket2*, Connections> ready;
        for (size_t i = first; i < last; ++i)
            ready[i - first] = connections[i]->socket();
        auto readCount = static_cast<uint32_t>(last - first);
        uint32_t none = 0, noneEither = 0;
        int32_t result = 0;
        require(qx::net::TcpWorkerSocket2::select(ready.data(), &readCount, nullptr, &none, nullptr,
                                                  &noneEither, nullptr, &result) == 0);
        for (size_t i = first; i < last; ++i) {
            if (!ready[i - first])
                continue;
            if (!receiveMessage(*connections[i], message.data()))
                return false;
            connections[i]->send(message.data(), MessageSize);
            --left;
        }
    }
    return true;
}

/// Serves in two groups: a call of select takes 63 sockets.
void serve(const CodeConnections& connections) {
    while (answerEach(connections, 0, Connections / 2) &&
           answerEach(connections, Connections / 2, Connections)) {
    }
}

void serve(const PosixConnections& connections) {
    const int queue = epoll_create1(0);
    for (const auto& connection : connections) {
        epoll_event event{EPOLLIN, {.ptr = connection.get()}};
        epoll_ctl(queue, EPOLL_CTL_ADD, connection->number(), &event);
    }
    std::array<char, MessageSize> message;
    for (bool goesOn = true; goesOn;) {
        std::array<epoll_event, Connections> ready;
        const int count = epoll_wait(queue, ready.data(), Connections, -1);
        for (int i = 0; i < count && goesOn; ++i) {
            auto* const connection =
                static_cast<PosixConnection*>(ready[static_cast<size_t>(i)].data.ptr);
            goesOn = receiveMessage(*connection, message.data());
            if (goesOn)
                connection->send(message.data(), MessageSize);
        }
    }
    ::close(queue);
}

/// Each round sends a message over every connection and then receives every answer.
template <class Connection>
void manyConnections(benchmark::State& state) {
    const Pinned pinned;
    const Listener listener;
    std::vector<std::unique_ptr<Connection>> clients, served;
    for (int i = 0; i < Connections; ++i) {
        clients.push_back(Connection::connect(listener.port()));
        served.push_back(std::make_unique<Connection>(listener.accept()));
    }
    std::jthread server([&] { serve(served); });
    std::array<char, MessageSize> message{};
    for (auto _ : state) {
        for (const auto& client : clients)
            client->send(message.data(), MessageSize);
        for (const auto& client : clients)
            require(receiveMessage(*client, message.data()));
    }
    state.SetItemsProcessed(state.iterations() * Connections);
    clients.clear();
}

BENCHMARK(echo<StreamConnection>)->Name("EchoStreamsOneCpu/qx")->UseRealTime();
BENCHMARK(echo<PosixConnection>)->Name("EchoStreamsOneCpu/posix")->UseRealTime();
BENCHMARK(echo<CodeConnection>)->Name("EchoCodesOneCpu/qx")->UseRealTime();
BENCHMARK(echo<PosixConnection>)->Name("EchoCodesOneCpu/posix")->UseRealTime();
BENCHMARK(manyConnections<CodeConnection>)->Name("Echo64ConnectionsOneCpu/qx")->UseRealTime();
BENCHMARK(manyConnections<PosixConnection>)->Name("Echo64ConnectionsOneCpu/posix")->UseRealTime();
BENCHMARK(bulkOneCpu<StreamConnection>)->Name("Bulk64KiBOneCpu/qx")->UseRealTime();
BENCHMARK(bulkOneCpu<PosixConnection>)->Name("Bulk64KiBOneCpu/posix")->UseRealTime();
BENCHMARK(bulk<StreamConnection>)->Name("Bulk64KiB/qx")->UseRealTime();
BENCHMARK(bulk<PosixConnection>)->Name("Bulk64KiB/posix")->UseRealTime();

} // namespace

BENCHMARK_MAIN();
