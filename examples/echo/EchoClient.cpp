// Sends the lines of standard input to an echo server one by one and prints what comes back:
// EchoClient HOST PORT [ROUNDS]. All lines are sent ROUNDS times, and printed once. The number of
// round trips in a second goes to standard error.

#include <chrono>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/String.h>
#include <qx/io/InputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/net/TcpSocket.h>

namespace {

/// What the server sends back for @p line, which is as long.
std::string echoed(qx::net::TcpSocket& socket, const std::string& line) {
    socket.getOutputStream()->write(line.data(), static_cast<int32_t>(line.size()));
    std::string answer(line.size(), '\0');
    const auto in = socket.getInputStream();
    for (size_t done = 0; done < answer.size();) {
        const int32_t count =
            in->read(answer.data() + done, static_cast<int32_t>(answer.size() - done));
        if (count < 0)
            throw qx::Exception(qx::String(u"the server has closed the connection"));
        done += static_cast<size_t>(count);
    }
    return answer;
}

} // namespace

int main(int argc, char** argv) try {
    const int port = argc > 2 ? qx::String(argv[2]).toInt().value_or(0) : 0;
    const int rounds = argc > 3 ? qx::String(argv[3]).toInt().value_or(0) : 1;
    if (port < 1 || port > 0xFFFF || rounds < 1 || argc > 4) {
        std::cerr << "usage: EchoClient HOST PORT [ROUNDS]\n";
        return 2;
    }
    std::vector<std::string> lines;
    for (std::string line; std::getline(std::cin, line);)
        lines.push_back(line + '\n');

    constexpr std::chrono::seconds Patience(10);
    const auto socket =
        qx::net::TcpSocket::connect(argv[1], static_cast<unsigned short>(port), Patience);
    socket->setSoTimeout(Patience);
    const auto start = std::chrono::steady_clock::now();
    for (int round = 0; round < rounds; ++round) {
        for (const std::string& line : lines) {
            const std::string answer = echoed(*socket, line);
            if (round == 0)
                std::cout << answer;
        }
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    const auto trips = lines.size() * static_cast<size_t>(rounds);
    std::cerr << trips << " round trips, "
              << static_cast<long>(static_cast<double>(trips) / time.count()) << " a second\n";
    return std::cout.flush() ? 0 : 1;
} catch (const std::exception& exception) {
    std::cerr << "EchoClient: " << exception.what() << '\n';
    return 1;
}
