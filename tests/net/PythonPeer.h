#pragma once

#include <string>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/exec/Process.h>

#include "tests/support/TemporaryFolder.h"

namespace qxtest {

/// A peer that has nothing of this library: Python's sockets, in a process of their own.
class PythonPeer {
public:
    /// Runs @p script behind imports of os, socket, struct, sys and time.
    explicit PythonPeer(const std::string& script) {
        writeFile(m_folder.path("peer.py"), "import os, socket, struct, sys, time\n" + script);
        const qx::String command =
            qx::String::fromUtf8("python3 -u \"" + m_folder.path("peer.py") + "\"");
        m_process = qx::makeReference<qx::exec::Process>(nullptr, command.getData(), nullptr,
                                                         nullptr, QX_PROCESS_INHERIT_ERROR);
    }
    /// A server on a free port of @p host that has accepted one connection, "c", when @p script
    /// runs.
    static PythonPeer serving(const std::string& script, const std::string& host = "127.0.0.1") {
        return PythonPeer("s = socket.create_server(('" + host + "', 0), family=socket.AF_INET" +
                          (host.find(':') == std::string::npos ? "" : "6") +
                          ")\n"
                          "print(s.getsockname()[1])\n"
                          "c, _ = s.accept()\n" +
                          script);
    }
    ~PythonPeer() { join(); }

    /// The next line that the peer prints.
    std::string readLine() {
        std::string line;
        const auto out = m_process->getInputStream();
        for (int byte = out->read(); byte >= 0 && byte != '\n'; byte = out->read())
            line += static_cast<char>(byte);
        return line;
    }
    /// What a serving peer prints first.
    unsigned short port() { return static_cast<unsigned short>(std::stoi(readLine())); }
    /// Ends the standard input for which a script may wait.
    void endInput() { m_process->getOutputStream()->close(); }
    /// The exit code, when the peer has ended; no input is left to it.
    int join() {
        if (!m_joined) {
            endInput();
            m_exitCode = m_process->join();
            m_joined = true;
        }
        return m_exitCode;
    }

private:
    TemporaryFolder m_folder;
    qx::Reference<qx::exec::Process> m_process;
    bool m_joined = false;
    int m_exitCode = -1;
};

} // namespace qxtest
