// Sends the lines of a file, or of standard input, to the log-collecting service:
//
//     LogSend [OPTION...] ADDRESS[,ADDRESS...] [FILE]
//
// An address is one that the service has printed, as in 127.0.0.1:7017 or [::1]:7017. Prints how
// many lines the service has stored, and on standard error each one that it has not, with the
// reason. Exit code: 0 when all are stored, 1 when some are not, 2 for a mistake in the arguments.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/exec/CallableRunnable.h>
#include <qx/exec/Thread.h>
#include <qx/io/BufferedReader.h>
#include <qx/io/InputStreamReader.h>
#include <qx/io/OutputStream.h>
#include <qx/net/TcpSocket.h>
#include <qx/util/StringTokenizer.h>
#include <qx/util/config/CommandLineParser.h>

namespace {

using qx::makeReference;
using qx::String;

struct Address {
    std::string host;
    uint16_t port;
};

/// What a line of the text becomes on the way: "LEVEL SOURCE " in front of it, or nothing.
struct Task {
    std::vector<Address> addresses;
    std::vector<std::string> lines;
    std::string prefix;
    int connections = 1;
    std::chrono::milliseconds patience{};
};

/// What has become of the lines, told by several threads.
class Outcome {
public:
    void stored() { ++m_stored; }
    void notStored(size_t line, const std::string& reason) {
        const std::lock_guard lock(m_lock);
        std::cerr << "line " << line + 1 << ": " << reason << '\n';
    }
    size_t storedCount() const { return m_stored; }

private:
    std::atomic<size_t> m_stored{0};
    std::mutex m_lock;
};

/// One connection, which sends every so many lines of the text, from one on.
class Sender {
public:
    Sender(const Task& task, size_t number, Outcome& outcome)
        : m_task(task), m_outcome(outcome), m_nextToSend(number), m_nextAnswer(number) {}

    void run() {
        try {
            talk();
        } catch (const std::exception& failure) {
            m_ending = failure.what();
        }
        for (; m_nextAnswer < m_task.lines.size(); m_nextAnswer += step())
            m_outcome.notStored(m_nextAnswer, "no answer: " + m_ending);
    }

private:
    /// Lines that are under way at most. All fit into what a connection holds, so that neither side
    /// waits for the other to read.
    static constexpr size_t Window = 500;

    size_t step() const { return static_cast<size_t>(m_task.connections); }

    void talk() {
        const Address& address = m_task.addresses[m_nextToSend % m_task.addresses.size()];
        const std::chrono::milliseconds patience(m_task.patience);
        const auto socket = qx::net::TcpSocket::connect(address.host, address.port, patience);
        socket->setSoTimeout(patience);
        qx::io::BufferedReader answers(
            makeReference<qx::io::InputStreamReader>(socket->getInputStream(), u"UTF-8"));
        String greeting;
        answers.readLine(greeting);
        if (!greeting.startsWith(u"HELLO")) {
            m_ending = greeting.toUtf8();
            return;
        }
        while (m_nextAnswer < m_task.lines.size()) {
            const std::string text = nextLines();
            // When the service has ended the connection, the answers before that are still there.
            qx::resultOf([&] {
                socket->getOutputStream()->write(text.data(), static_cast<int32_t>(text.size()));
            });
            while (m_nextAnswer < m_nextToSend) {
                if (!readAnswer(answers))
                    return;
            }
        }
    }

    std::string nextLines() {
        std::string text;
        for (size_t i = 0; i < Window && m_nextToSend < m_task.lines.size(); ++i) {
            text += m_task.prefix + m_task.lines[m_nextToSend] + '\n';
            m_nextToSend += step();
        }
        return text;
    }

    /// False when none comes any more.
    bool readAnswer(qx::io::BufferedReader& answers) {
        String answer;
        if (answers.readLine(answer) < 0) {
            m_ending = "the connection has ended";
            return false;
        }
        if (answer.startsWith(u"BYE")) {
            m_ending = answer.toUtf8();
            return false;
        }
        if (answer.startsWith(u"STAT"))
            return true;
        if (answer.startsWith(u"OK "))
            m_outcome.stored();
        else
            m_outcome.notStored(m_nextAnswer, answer.toUtf8());
        m_nextAnswer += step();
        return true;
    }

    const Task& m_task;
    Outcome& m_outcome;
    size_t m_nextToSend;
    size_t m_nextAnswer;
    std::string m_ending;
};

Address readAddress(const String& text) {
    const int32_t colon = text.lastIndexOf(u':');
    const int32_t port = text.substring(colon + 1).toInt().value_or(0);
    if (colon < 1 || port < 1 || port > 0xFFFF)
        throw std::invalid_argument(text.toUtf8() + " is no HOST:PORT");
    String host = text.substring(0, colon);
    if (host.startsWith(u"[") && host.endsWith(u"]"))
        host = host.substring(1, host.getLength() - 1);
    return {host.toUtf8(), static_cast<uint16_t>(port)};
}

std::vector<std::string> readLines(std::istream& in) {
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    if (in.bad() || !in.eof())
        throw std::runtime_error("the text cannot be read");
    return lines;
}

int readNumber(const qx::util::CommandLineParser& options, const char16_t* name, int highest) {
    const std::optional<int32_t> value = options.getValueString(name, 0).toInt();
    if (!value || *value < 1 || *value > highest)
        throw std::invalid_argument(String(name).toUtf8() + " is a number from 1 to " +
                                    std::to_string(highest));
    return *value;
}

Task readTask(qx::util::CommandLineParser& options, int argc, char** argv) {
    options.defineOption(u"connections", 1, u"1", u"that share the lines");
    options.defineOption(u"level", 1, u"INFO", u"DEBUG, INFO, WARNING or ERROR");
    options.defineOption(u"source", 1, u"LogSend", u"name that the lines come from");
    options.defineOption(u"patience", 1, u"30000", u"milliseconds to wait for an answer");
    options.defineOption(u"raw", 0, nullptr, u"the lines have level and source already");
    options.defineOption(u"help", 0, nullptr, u"show this text");
    options.parseArguments(argc, argv);
    Task task;
    if (options.isPresent(u"help"))
        return task;
    if (const String mistake = options.findMistake(); !mistake.isEmpty())
        throw std::invalid_argument(mistake.toUtf8());
    const int parameters = options.getParameterCount();
    if (parameters < 1 || parameters > 2)
        throw std::invalid_argument("expected ADDRESS[,ADDRESS...] [FILE]");
    task.connections = readNumber(options, u"connections", 1000);
    task.patience = std::chrono::milliseconds(readNumber(options, u"patience", 3'600'000));
    if (!options.isPresent(u"raw"))
        task.prefix = options.getValueString(u"level", 0).toUtf8() + ' ' +
                      options.getValueString(u"source", 0).toUtf8() + ' ';
    qx::util::StringTokenizer addresses(options.getParameter(0)->getValueString(0), u",");
    while (addresses.hasMoreTokens())
        task.addresses.push_back(readAddress(addresses.nextToken()));
    if (task.addresses.empty())
        throw std::invalid_argument("expected ADDRESS[,ADDRESS...] [FILE]");
    if (parameters == 2) {
        std::ifstream file(options.getParameter(1)->getValueString(0).toUtf8());
        task.lines = readLines(file);
    } else {
        task.lines = readLines(std::cin);
    }
    return task;
}

/// How many lines are stored.
size_t send(const Task& task) {
    Outcome outcome;
    std::vector<qx::Reference<qx::exec::Thread>> threads;
    threads.reserve(static_cast<size_t>(task.connections)); // a thread that runs is not lost
    for (int number = 0; number < task.connections; ++number) {
        const auto sending = qx::exec::makeRunnable(
            [&, number] { Sender(task, static_cast<size_t>(number), outcome).run(); });
        const auto thread = makeReference<qx::exec::Thread>(sending);
        if (qx::resultOf([&] { thread->start(); }) >= 0)
            threads.push_back(thread);
        else
            sending->run(); // there are no more threads to be had than those
    }
    for (const auto& thread : threads)
        thread->join();
    return outcome.storedCount();
}

} // namespace

int main(int argc, char** argv) {
    try {
        qx::util::CommandLineParser options;
        const Task task = readTask(options, argc, argv);
        if (options.isPresent(u"help")) {
            std::cout << "usage: LogSend [OPTION...] ADDRESS[,ADDRESS...] [FILE]\n\n"
                      << options.usage();
            return std::cout.flush() ? 0 : 1;
        }
        const size_t stored = send(task);
        std::cout << stored << " of " << task.lines.size() << " lines are stored" << std::endl;
        return stored == task.lines.size() && std::cout ? 0 : 1;
    } catch (const std::invalid_argument& mistake) {
        std::cerr << "LogSend: " << mistake.what() << " (LogSend --help tells more)\n";
        return 2;
    } catch (const std::exception& failure) {
        std::cerr << "LogSend: " << failure.what() << '\n';
    }
    return 1;
}
