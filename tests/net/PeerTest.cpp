#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>

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

TEST(Peer, SendsOneByteAtATime) {
    const LoopbackServer listener;
    PythonPeer peer =
        connected(listener, "c.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)\n"
                            "for i in range(3000): c.sendall(bytes([i % 251]))\n");
    const auto worker = listener.accept();
    const std::string text = heard(*worker);
    ASSERT_EQ(text.size(), 3000u);
    for (size_t i = 0; i < text.size(); ++i)
        ASSERT_EQ(static_cast<unsigned char>(text[i]), i % 251);
    EXPECT_EQ(peer.join(), 0);
}

bool isInstalled(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
}

TEST(Peer, TalksWithOtherClients) {
    const struct {
        const char* program;
        const char* command; // the port follows
    } cases[] = {
        {"socat", "printf question | socat -t 20 - TCP4:127.0.0.1:"},
        {"nc", "printf question | nc -N 127.0.0.1 "},
    };
    int talked = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.program);
        if (!isInstalled(c.program))
            continue;
        ++talked;
        const LoopbackServer listener;
        const std::string command = c.command + std::to_string(listener.port());
        const std::unique_ptr<FILE, decltype(&::pclose)> pipe(::popen(command.c_str(), "r"),
                                                              &::pclose);
        ASSERT_NE(pipe, nullptr);
        auto worker = listener.accept();
        EXPECT_EQ(heard(*worker), "question");
        say(*worker, "answer");
        worker.reset();
        char reply[100] = "";
        EXPECT_NE(std::fgets(reply, sizeof reply, pipe.get()), nullptr);
        EXPECT_STREQ(reply, "answer");
    }
    if (talked == 0)
        GTEST_SKIP() << "no such programs";
}

TEST(Peer, TalksWithAnotherServer) {
    if (!isInstalled("socat"))
        GTEST_SKIP() << "no socat";
    const qx_sockaddr_union place = ipv4(127, 0, 0, 1, LoopbackServer().port());
    const std::string command =
        "socat -t 20 TCP4-LISTEN:" + std::to_string(networkOrder(place.ipv4.port)) +
        ",bind=127.0.0.1,reuseaddr SYSTEM:'tr a-z A-Z'";
    const std::unique_ptr<FILE, decltype(&::pclose)> pipe(::popen(command.c_str(), "r"), &::pclose);
    ASSERT_NE(pipe, nullptr);
    auto client = makeClient();
    // It takes a moment until it listens.
    for (int i = 0; client->connect(&place, sizeof place) != 0; ++i) {
        ASSERT_LT(i, 2000);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        client = makeClient();
    }
    say(*client, "a quiet word");
    EXPECT_EQ(client->shutdownOutput(), 0);
    EXPECT_EQ(heard(*client), "A QUIET WORD");
}

} // namespace
