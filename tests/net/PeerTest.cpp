#include <gtest/gtest.h>
#include <string>

#include "tests/net/Loopback.h"
#include "tests/net/PythonPeer.h"

namespace {

using namespace qx::net;
using namespace qxtest;

/// A script of a peer that has connected to the server as "c".
PythonPeer connected(const LoopbackServer& listener, const std::string& script) {
    return PythonPeer("c = socket.create_connection(('127.0.0.1', " +
                      std::to_string(listener.port()) + "))\n" + script);
}

/// Python's text for all that the peer sends until its end.
constexpr char ReadAll[] = "def everything():\n"
                           "    data = b''\n"
                           "    while True:\n"
                           "        part = c.recv(4096)\n"
                           "        if not part: return data\n"
                           "        data += part\n";

TEST(Peer, EndsItsSideAndStillHears) {
    const LoopbackServer listener;
    PythonPeer peer =
        connected(listener, ReadAll + std::string("c.sendall(b'question')\n"
                                                  "c.shutdown(socket.SHUT_WR)\n"
                                                  "sys.exit(everything() != b'answer')\n"));
    const auto worker = listener.accept();
    EXPECT_EQ(heard(*worker), "question");
    say(*worker, "answer");
    worker->close();
    EXPECT_EQ(peer.join(), 0);
}

TEST(Peer, HearsOurEndAndStillAnswers) {
    PythonPeer peer =
        PythonPeer::serving(ReadAll + std::string("c.sendall(b'answer to ' + everything())\n"));
    const auto client = connectTo(ipv4(127, 0, 0, 1, peer.port()));
    say(*client, "question");
    EXPECT_EQ(client->shutdownOutput(), 0);
    EXPECT_EQ(heard(*client), "answer to question");
    EXPECT_EQ(peer.join(), 0);
}

TEST(Peer, ResetsInTheMiddle) {
    const LoopbackServer listener;
    PythonPeer peer = connected(listener, "c.sendall(b'half a')\n"
                                          "sys.stdin.read()\n"
                                          "c.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, "
                                          "struct.pack('ii', 1, 0))\n"
                                          "c.close()\n");
    const auto worker = listener.accept();
    char buffer[6];
    int64_t count = 0;
    EXPECT_EQ(worker->recv(buffer, sizeof buffer, QX_MSG_WAITALL, &count), 0);
    EXPECT_EQ(std::string(buffer, 6), "half a");
    peer.endInput();
    EXPECT_EQ(worker->recv(buffer, sizeof buffer, 0, &count), QX_E_SOCKET_ECONNRESET);
    EXPECT_EQ(count, -1);
    EXPECT_EQ(worker->send("x", 1, 0, &count), QX_E_SOCKET_ECONNRESET) << "and no signal";
    EXPECT_EQ(worker->shutdownOutput(), 0) << "not being connected is no failure";
}

} // namespace
