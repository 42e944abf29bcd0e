// The TLS transport beside the TCP transport and beside OpenSSL alone on blocking sockets: 64 KiB
// blocks one way, a ping-pong, and whole connections with their handshake. Certificates are of the
// curve P-256; both sides run on one processor, so that the work of both counts.

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/IChannel.h>
#include <qx/net/Transport.h>
#include <qx/platform/module.h>
#include <qx/util/config/PropertySet.h>

#include "BenchRegistry.h"
#include "tests/support/SafeModule.h"
#include "tests/support/TemporaryFolder.h"

namespace {

constexpr int MessageSize = 64;
constexpr int BlockSize = 64 << 10;

void require(bool condition) {
    if (!condition)
        std::abort();
}

/// The path of a file that certificates.sh makes.
std::string certificate(const char* name) {
    static const qxtest::TemporaryFolder folder;
    static const int made = std::system((QX_BENCH_CERTIFICATES " " + folder.path()).c_str());
    require(made == 0);
    return folder.path(name);
}

void useOneProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    sched_setaffinity(0, sizeof one, &one);
}

// What is measured: a place with connect and accept, and connections with send and with receive,
// which returns 0 at the end.

class TransportConnection {
public:
    explicit TransportConnection(qx::Reference<qx::io::IChannel> channel)
        : m_channel(std::move(channel)) {}
    void send(const char* from, int length) {
        qx::io::ByteBuffer bytes(reinterpret_cast<const signed char*>(from),
                                 static_cast<unsigned int>(length), QX_ENDIAN_LITTLE);
        require(m_channel->write(bytes) == length);
    }
    int receive(char* to, int length) {
        qx::io::ByteBuffer bytes(reinterpret_cast<signed char*>(to),
                                 static_cast<unsigned int>(length), QX_ENDIAN_LITTLE);
        const int count = m_channel->read(bytes);
        return count < 0 ? 0 : count;
    }

private:
    qx::Reference<qx::io::IChannel> m_channel;
};

template <bool IsTls>
class TransportPlace {
public:
    using Connection = TransportConnection;

    TransportPlace() {
        const auto transport =
            qx::net::Transport::get(IsTls ? u"Orbelle.Transport.TLS" : u"Orbelle.Transport.TCP");
        qx::util::PropertySet place;
        place.set("host", "127.0.0.1");
        place.set("port", "0");
        if (IsTls) {
            place.set("certificate", certificate("server.pem"));
            place.set("trust", certificate("root.crt"));
        }
        m_acceptor = transport->createAcceptor(place);
        qx::util::PropertySet target;
        target.set("host", "127.0.0.1");
        target.set("port", place.get("boundPort"));
        if (IsTls)
            target.set("trust", certificate("root.crt"));
        m_connector = transport->createConnector(target);
    }
    Connection accept() const { return Connection(m_acceptor->accept()); }
    Connection connect() const { return Connection(m_connector->connect()); }

private:
    qx::Reference<qx::net::IAcceptor> m_acceptor;
    qx::Reference<qx::net::IConnector> m_connector;
};

/// OpenSSL on blocking sockets.
class BareConnection {
public:
    BareConnection(SSL_CTX* context, int socket, bool isServer)
        : m_socket(socket), m_ssl(SSL_new(context)) {
        const int on = 1;
        ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        SSL_set_fd(m_ssl, socket);
        require((isServer ? SSL_accept(m_ssl) : SSL_connect(m_ssl)) == 1);
    }
    BareConnection(BareConnection&& other) noexcept
        : m_socket(std::exchange(other.m_socket, -1)), m_ssl(std::exchange(other.m_ssl, nullptr)) {}
    ~BareConnection() {
        if (!m_ssl)
            return;
        SSL_shutdown(m_ssl);
        SSL_free(m_ssl);
        ::close(m_socket);
    }
    void send(const char* from, int length) { require(SSL_write(m_ssl, from, length) == length); }
    int receive(char* to, int length) {
        const int count = SSL_read(m_ssl, to, length);
        return count > 0 ? count : 0;
    }

private:
    int m_socket;
    SSL* m_ssl;
};

class BarePlace {
public:
    using Connection = BareConnection;

    BarePlace() {
        const std::string own = certificate("server.pem"), root = certificate("root.crt");
        require(SSL_CTX_use_certificate_chain_file(m_server, own.c_str()) == 1 &&
                SSL_CTX_use_PrivateKey_file(m_server, own.c_str(), SSL_FILETYPE_PEM) == 1 &&
                SSL_CTX_load_verify_locations(m_client, root.c_str(), nullptr) == 1);
        SSL_CTX_set_verify(m_client, SSL_VERIFY_PEER, nullptr);
        X509_VERIFY_PARAM_set1_ip_asc(SSL_CTX_get0_param(m_client), "127.0.0.1");
        SSL_CTX_set_num_tickets(m_server, 0);
        SSL_CTX_set_session_cache_mode(m_server, SSL_SESS_CACHE_OFF);
        SSL_CTX_set_read_ahead(m_server, 1);
        SSL_CTX_set_read_ahead(m_client, 1);
        socklen_t length = sizeof m_address;
        m_address.sin_family = AF_INET;
        m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        require(::bind(m_listener, address(), length) == 0 && ::listen(m_listener, 128) == 0 &&
                ::getsockname(m_listener, address(), &length) == 0);
    }
    ~BarePlace() {
        ::close(m_listener);
        SSL_CTX_free(m_server);
        SSL_CTX_free(m_client);
    }
    BarePlace(const BarePlace&) = delete;
    BarePlace& operator=(const BarePlace&) = delete;

    Connection accept() const { return {m_server, ::accept(m_listener, nullptr, nullptr), true}; }
    Connection connect() {
        const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
        require(::connect(socket, address(), sizeof m_address) == 0);
        return {m_client, socket, false};
    }

private:
    sockaddr* address() { return reinterpret_cast<sockaddr*>(&m_address); }

    sockaddr_in m_address{};
    int m_listener = ::socket(AF_INET, SOCK_STREAM, 0);
    SSL_CTX* m_server = SSL_CTX_new(TLS_server_method());
    SSL_CTX* m_client = SSL_CTX_new(TLS_client_method());
};

template <class Place>
void bulk(benchmark::State& state) {
    Place place;
    std::jthread server([&] {
        auto connection = place.accept();
        std::vector<char> block(BlockSize);
        while (connection.receive(block.data(), BlockSize) > 0) {
        }
    });
    auto client = place.connect();
    const std::vector<char> block(BlockSize);
    for (auto _ : state)
        client.send(block.data(), BlockSize);
    state.SetBytesProcessed(state.iterations() * BlockSize);
}

/// Messages of 64 bytes are small enough to come in one piece.
template <class Place>
void echo(benchmark::State& state) {
    Place place;
    std::jthread server([&] {
        auto connection = place.accept();
        std::array<char, MessageSize> message;
        while (connection.receive(message.data(), MessageSize) == MessageSize)
            connection.send(message.data(), MessageSize);
    });
    auto client = place.connect();
    std::array<char, MessageSize> message{};
    for (auto _ : state) {
        client.send(message.data(), MessageSize);
        require(client.receive(message.data(), MessageSize) == MessageSize);
    }
    state.SetItemsProcessed(state.iterations());
}

/// A byte from the server tells that it has finished, too.
template <class Place>
void connect(benchmark::State& state) {
    Place place;
    std::jthread server([&](const std::stop_token& stop) {
        for (bool isLast = false; !isLast;) {
            auto connection = place.accept();
            isLast = stop.stop_requested(); // before the client can go on
            connection.send("", 1);
        }
    });
    const auto once = [&] {
        char byte;
        require(place.connect().receive(&byte, 1) == 1);
    };
    for (auto _ : state)
        once();
    server.request_stop();
    once(); // which the server waits for
    state.SetItemsProcessed(state.iterations());
}

using Tcp = TransportPlace<false>;
using Tls = TransportPlace<true>;

void addAll() {
    const struct {
        const char* name;
        void (*tls)(benchmark::State&);
        void (*bare)(benchmark::State&);
        void (*tcp)(benchmark::State&);
    } rows[] = {
        {"TlsBulk64KiB", bulk<Tls>, bulk<BarePlace>, bulk<Tcp>},
        {"TlsEcho64Bytes", echo<Tls>, echo<BarePlace>, echo<Tcp>},
        {"TlsConnect", connect<Tls>, connect<BarePlace>, connect<Tcp>},
    };
    for (const auto& row : rows) {
        const std::string name = row.name;
        benchmark::RegisterBenchmark((name + "/qx").c_str(), row.tls)->UseRealTime();
        benchmark::RegisterBenchmark((name + "/openssl").c_str(), row.bare)->UseRealTime();
        benchmark::RegisterBenchmark((name + "/tcp").c_str(), row.tcp)->UseRealTime();
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::signal(SIGPIPE, SIG_IGN); // for OpenSSL alone
    useOneProcessor();
    const BenchRegistry registry;
    for (const char* file : {QX_BENCH_TCP, QX_BENCH_TLS})
        require(QXComRegisterModule(
                    qx::String(qx::String(qxtest::safeModule(file).c_str()), qx::String::AM_COPY)
                        .getData()) >= 0);
    addAll();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::ClearRegisteredBenchmarks();
    return 0;
}
