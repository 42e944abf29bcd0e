#include "Connection.h"

#include <utility>

#include <qx/core/Exception.h>

namespace collector {

using qx::String;
using qx::net::TcpWorkerSocket2;

namespace {

/// So that a client that sends short lines does not make the service take much memory for them.
constexpr size_t MostAnswers = 1000;

const char CannotBeStored[] = "cannot be stored";

String peerOf(const TcpWorkerSocket2& socket) {
    String text;
    if (socket.getPeerAddress())
        socket.getPeerAddress()->getDiagnosticStr(text);
    return text;
}

} // namespace

Connection::Connection(const Service& service, std::unique_ptr<TcpWorkerSocket2> socket)
    : m_service(service), m_peer(peerOf(*socket)),
      m_link(std::move(socket), service.encryption.side(), service.settings.idle),
      m_lines(service.settings.longestLine) {}

void Connection::serve() {
    if (!begin())
        return;
    send("HELLO collector\n");
    while (m_isOpen && !m_isStopping && receive()) {
        const uint64_t numberBefore = m_lineNumber;
        while (m_isOpen) {
            const auto line = m_lines.next();
            if (!line)
                break;
            handle(*line);
            if (m_answers.size() >= MostAnswers)
                answer();
        }
        answer();
        if (m_lineNumber != numberBefore)
            m_waitingSince = Clock::now();
    }
    if (m_isStopping)
        end("stopping");
}

void Connection::stop() {
    m_isStopping = true;
    m_link.endReceiving();
}

void Connection::abort() { m_link.end(); }

void Connection::turnAway(const Service& service, TcpWorkerSocket2& socket) {
    constexpr std::string_view Text = "BYE all connections are taken\n";
    int64_t sent = 0;
    // A new connection has room for so much.
    if (!service.encryption.isOn())
        static_cast<void>(socket.send(Text.data(), Text.size(), 0, &sent));
    service.journal.tell(Level::Warning, u"client.busy", {peerOf(socket)});
}

/// False when the client does not get as far as its first line.
bool Connection::begin() {
    try {
        m_link.begin();
        return true;
    } catch (const qx::ResultException& failure) {
        m_service.journal.tell(Level::Warning, u"client.refused", {m_peer, qx::describe(failure)});
        return false;
    }
}

/// False when nothing more will come.
bool Connection::receive() {
    const auto room = m_lines.room();
    const auto count = m_link.receive(room);
    m_lines.fill(count.value_or(0));
    // Also of a client that sends a byte from time to time, but never a whole line.
    const bool isLate = Clock::now() - m_waitingSince >= m_service.settings.idle;
    if (!m_isStopping && (!count || (isLate && *count > 0))) {
        m_service.journal.tell(
            Level::Warning, u"client.idle",
            {m_peer, String::valueOf(static_cast<int64_t>(m_service.settings.idle.count()))});
        end("no line for too long");
        return false;
    }
    return count.value_or(0) > 0;
}

void Connection::handle(const LineBuffer::Line& line) {
    ++m_lineNumber;
    if (line.isTooLong)
        handle(Mistake{"line of more than " + std::to_string(m_service.settings.longestLine) +
                       " bytes"});
    else
        std::visit([this](const auto& request) { handle(request); }, parse(line.text));
}

void Connection::handle(const Message& message) {
    if (m_service.logs.add(message, m_peer))
        m_answers.push_back({m_lineNumber, {}, message.source, message.bytes});
    else
        handle(Mistake{CannotBeStored});
}

void Connection::handle(const Mistake& mistake) {
    m_answers.push_back({m_lineNumber, mistake.reason, {}});
}

void Connection::handle(Command command) {
    answer(); // what stands before counts
    std::string text;
    if (command == Command::Statistics)
        text = m_service.statistics.report();
    send(text + "OK " + std::to_string(m_lineNumber) + '\n');
    if (command == Command::Quit)
        m_isOpen = false;
}

/// Stores the messages that wait for it and says so.
void Connection::answer() {
    if (m_answers.empty())
        return;
    const bool isStored = m_service.logs.store();
    std::string text;
    for (const Answer& answer : m_answers) {
        const std::string number = std::to_string(answer.number);
        if (!answer.refusal.empty()) {
            m_service.statistics.countRefused();
            text += "ERROR " + number + ' ' + answer.refusal + '\n';
        } else if (isStored) {
            m_service.statistics.countStored(answer.source, answer.bytes);
            text += "OK " + number + '\n';
        } else {
            text += "ERROR " + number + ' ' + CannotBeStored + '\n';
        }
    }
    m_answers.clear();
    send(text);
}

void Connection::end(std::string_view reason) {
    send("BYE " + std::string(reason) + '\n');
    m_isOpen = false;
}

/// The connection is over when the client does not take the text.
void Connection::send(std::string_view text) { m_isOpen = m_isOpen && m_link.send(text); }

} // namespace collector
