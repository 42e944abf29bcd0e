/* Uses the whole C interface of sockets from C, over the loopback address and in one thread: a
 * connection is complete before it is accepted. */

#include <stdio.h>
#include <string.h>

#include <qx/net/netaddress.h>
#include <qx/net/nettcp.h>
#include <qx/net/nettcpserver.h>

#define CHECK(condition)                                                                           \
    do {                                                                                           \
        if (!(condition))                                                                          \
            return __LINE__;                                                                       \
    } while (0)

/* A server on a port of the system's choice; the place of its IPv4 socket. */
static int startServer(QxNetTcpServerSocket** server, qx_sockaddr_union* place) {
    char text[200];
    uint32_t length = sizeof text;
    uint32_t index = 0;
    size_t size = sizeof *place;

    CHECK(QxNetTcpServerSocketStaticCreate(QX_AF_INET, QX_SOCK_STREAM, QX_IPPROTO_TCP, server) ==
          0);
    CHECK(QxNetTcpServerSocketBindListAddAddrInfo(*server, "127.0.0.1", NULL, 1) == 0);
    CHECK(QxNetTcpServerSocketBindListAddressesDiagnosticStrA(*server, text, &length) == 0);
    CHECK(strcmp(text, "127.0.0.1:1") == 0);
    CHECK(QxNetTcpServerSocketBindListSaveOneForNamedPipeReply(*server) == 0);
    CHECK(QxNetTcpServerSocketSaveBoundAddresses(*server) == 0);
    length = sizeof text;
    CHECK(QxNetTcpServerSocketBoundListAddressesDiagnosticStrA(*server, text, &length) == 0);
    CHECK(strcmp(text, "127.0.0.1:1") == 0);
    CHECK(QxNetTcpServerSocketBindListClear(*server) == 0);

    CHECK(QxNetTcpServerSocketBindListAddAddrAny(*server, 0) == 0);
    CHECK(QxNetTcpServerSocketBind(*server) == 0);
    CHECK(QxNetTcpServerSocketListen(*server, 0) == 0);
    CHECK(QxNetTcpServerSocketSaveBoundAddresses(*server) == 0);
    do { /* the address that was kept aside is in the list as well */
        size = sizeof *place;
        CHECK(QxNetTcpServerSocketGetBoundAddress(*server, ++index, (signed char*)place, &size) ==
              0);
    } while (place->family != QX_AF_INET);
    place->ipv4.address[0] = 127;
    place->ipv4.address[3] = 1;
    return 0;
}

static int exchange(QxNetTcpClientSocket* client, QxNetTcpWorkerSocket* worker) {
    QxNetTcpWorkerSocket* ready[1];
    uint32_t readCount = 1;
    uint32_t none = 0;
    int32_t result = 0;
    int64_t count = 0;
    char buffer[20] = "";
    int32_t delay = 0;
    int length = sizeof delay;

    CHECK(QxNetTcpClientSocketSend(client, "question", 8, 0, &count) == 0 && count == 8);
    ready[0] = worker;
    CHECK(QxNetTcpWorkerSocketStaticSelect(ready, &readCount, NULL, &none, NULL, &none, NULL,
                                           &result) == 0);
    CHECK(result == 1 && readCount == 1 && ready[0] == worker);
    CHECK(QxNetTcpWorkerSocketRecv(worker, buffer, sizeof buffer, 0, &count) == 0 && count == 8);
    CHECK(memcmp(buffer, "question", 8) == 0);
    CHECK(QxNetTcpWorkerSocketSend(worker, "answer", 6, 0, &count) == 0);
    ready[0] = client;
    readCount = 1;
    CHECK(QxNetTcpClientSocketStaticSelect(ready, &readCount, NULL, &none, NULL, &none, NULL,
                                           &result) == 0);
    CHECK(QxNetTcpClientSocketRecv(client, buffer, sizeof buffer, 0, &count) == 0 && count == 6);

    delay = 1;
    CHECK(QxNetTcpClientSocketSetsockopt(client, QX_IPPROTO_TCP, QX_TCP_NODELAY,
                                         (const char*)&delay, length) == 0);
    delay = 0;
    CHECK(QxNetTcpClientSocketGetsockopt(client, QX_IPPROTO_TCP, QX_TCP_NODELAY, (char*)&delay,
                                         &length) == 0);
    CHECK(delay == 1);
    CHECK(QxNetTcpWorkerSocketSetsockopt(worker, QX_SOL_SOCKET, QX_SO_KEEPALIVE,
                                         (const char*)&delay, length) == 0);
    CHECK(QxNetTcpWorkerSocketGetsockopt(worker, QX_SOL_SOCKET, QX_SO_ERROR, (char*)&delay,
                                         &length) == 0);
    CHECK(delay == 0);
    return 0;
}

static int describe(QxNetTcpClientSocket* client) {
    qx_sockaddr_union local;
    int length = sizeof local;
    char text[100];
    char expected[100];
    uint32_t capacity = sizeof text;
    uint16_t port = 0;
    int16_t truth = 0;

    CHECK(QxNetTcpClientSocketGetLocalAddress(client, &local, &length) == 0 && length == 16);
    CHECK(QxNetInetAddressIsAddressLoopback(&local, &truth) == 0 && truth == 1);
    CHECK(QxNetInetAddressIsAddressAny(&local, &truth) == 0 && truth == 0);
    CHECK(QxNetInetAddressIsAddressNone(&local, &truth) == 0 && truth == 0);
    CHECK(QxNetInetAddressGetAddressStr(&local, text, &capacity) == 0);
    CHECK(strcmp(text, "127.0.0.1") == 0 && capacity == 10);
    capacity = sizeof text;
    CHECK(QxNetInetSocketAddressGetDiagnosticStr(&local, text, &capacity) == 0);
    port = (uint16_t)(local.ipv4.port << 8 | local.ipv4.port >> 8);
    snprintf(expected, sizeof expected, "127.0.0.1:%u", (unsigned)port);
    CHECK(strcmp(text, expected) == 0);
    CHECK(QxNetInetSocketAddressStaticGetPortHostOrderFromTcpServiceName("", &port) == 0);
    CHECK(port == 0);
    return 0;
}

int talkFromC(void);
int talkFromC(void) {
    QxNetTcpServerSocket* server = NULL;
    QxNetTcpClientSocket* client = NULL;
    QxNetTcpWorkerSocket* worker = NULL;
    qx_sockaddr_union place;
    qx_sockaddr_union local;
    qx_sockaddr_union resolved;
    uint64_t native = 0;
    int32_t major = 0;
    int32_t minor = 0;
    int line = 0;

    CHECK(QxNetTcpSocketStaticInit() == 0);
    CHECK(QxNetTcpSocketStaticGetVersion(&major, &minor) == 0 && major == 2 && minor == 2);
    line = startServer(&server, &place);
    CHECK(line == 0 || (printf("line %d\n", line), 0));
    CHECK(QxNetTcpSocketStaticGetaddrinfo("127.0.0.1", 9, NULL, 0, &resolved) == 0);
    CHECK(memcmp(resolved.ipv4.address, place.ipv4.address, 4) == 0);

    CHECK(QxNetTcpClientSocketStaticCreate(QX_AF_INET, QX_SOCK_STREAM, QX_IPPROTO_TCP, &client) ==
          0);
    local = place;
    local.ipv4.port = 0;
    CHECK(QxNetTcpClientSocketBind(client, &local, sizeof local) == 0);
    CHECK(QxNetTcpClientSocketConnect(client, &place, sizeof place) == 0);
    CHECK(QxNetTcpServerSocketAccept(server, &worker) == 0);
    line = exchange(client, worker);
    CHECK(line == 0 || (printf("line %d\n", line), 0));
    line = describe(client);
    CHECK(line == 0 || (printf("line %d\n", line), 0));

    CHECK(QxNetTcpSocketShutdownOutput(client) == 0);
    CHECK(QxNetTcpSocketShutdownInput(client) == 0);
    CHECK(QxNetTcpSocketShutdownBoth(worker) == 0);
    CHECK(QxNetTcpSocketGetId(client) != 0);
    CHECK(QxNetTcpSocketClose(client) == 0);
    CHECK(QxNetTcpSocketGetId(client) == 0);
    CHECK(QxNetTcpSocketStaticDestroy(&client) == 0 && client == NULL);
    CHECK(QxNetTcpSocketStaticDestroy(&worker) == 0);

    CHECK(QxNetTcpClientSocketStaticCreate(QX_AF_INET, QX_SOCK_STREAM, 0, &client) == 0);
    CHECK(QxNetTcpClientSocketConnect(client, &place, sizeof place) == 0);
    CHECK(QxNetTcpServerSocketAcceptSocket(server, &native) == 0);
    CHECK(QXSocketClose(native) == 0);
    CHECK(QxNetTcpSocketStaticDestroy(&client) == 0);
    CHECK(QxNetTcpSocketStaticDestroy(&server) == 0);
    CHECK(QxNetTcpSocketStaticUninit() == 0);
    return 0;
}
