/* The C interface of sockets in C. The tests of the classes call most of it. */

#include <qx/net/netaddress.h>
#include <qx/net/nettcp.h>
#include <qx/net/nettcpserver.h>

#define CHECK(condition)                                                                           \
    do {                                                                                           \
        if (!(condition))                                                                          \
            return __LINE__;                                                                       \
    } while (0)

int talkFromC(void);
int talkFromC(void) {
    QxNetTcpServerSocket* server = NULL;
    QxNetTcpClientSocket* client = NULL;
    QxNetTcpWorkerSocket* worker = NULL;
    qx_sockaddr_union place;
    qx_sockaddr_union bound;
    uint32_t index = 0;
    size_t size = 0;
    int64_t count = 0;
    char buffer[2] = "";
    int16_t truth = 0;

    CHECK(QxNetTcpSocketStaticGetaddrinfo("127.0.0.1", 9, NULL, 0, &place) == 0);
    CHECK(QxNetInetAddressIsAddressLoopback(&place, &truth) == 0 && truth == 1);
    CHECK(QxNetTcpServerSocketStaticCreate(QX_AF_INET, QX_SOCK_STREAM, 0, &server) == 0);
    CHECK(QxNetTcpServerSocketBindListAddAddrAny(server, 0) == 0);
    CHECK(QxNetTcpServerSocketBind(server) == 0);
    CHECK(QxNetTcpServerSocketListen(server, 0) == 0);
    CHECK(QxNetTcpServerSocketSaveBoundAddresses(server) == 0);
    do {
        size = sizeof bound;
        CHECK(QxNetTcpServerSocketGetBoundAddress(server, index++, (signed char*)&bound, &size) ==
              0);
    } while (bound.family != QX_AF_INET);
    place.ipv4.port = bound.ipv4.port;
    CHECK(QxNetTcpClientSocketStaticCreate(QX_AF_INET, QX_SOCK_STREAM, 0, &client) == 0);
    CHECK(QxNetTcpClientSocketConnect(client, &place, sizeof place) == 0);
    CHECK(QxNetTcpServerSocketAccept(server, &worker) == 0);
    CHECK(QxNetTcpClientSocketSend(client, "x", 1, 0, &count) == 0 && count == 1);
    CHECK(QxNetTcpWorkerSocketRecv(worker, buffer, sizeof buffer, 0, &count) == 0 && count == 1);
    CHECK(QxNetTcpSocketStaticDestroy(&client) == 0 && client == NULL);
    CHECK(QxNetTcpSocketStaticDestroy(&worker) == 0);
    CHECK(QxNetTcpSocketStaticDestroy(&server) == 0);
    return 0;
}
