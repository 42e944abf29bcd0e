#include "tests/support/BlockingThread.h"

#include <chrono>
#include <fstream>
#include <string>
#include <unistd.h>

namespace qxtest {

namespace {

char kernelState(int threadNumber) {
    std::ifstream file("/proc/self/task/" + std::to_string(threadNumber) + "/stat");
    std::string line;
    std::getline(file, line);
    const auto nameEnd = line.rfind(')');
    return nameEnd == std::string::npos ? 'X' : line[nameEnd + 2];
}

} // namespace

int BlockingThread::ownNumber() { return gettid(); }

void BlockingThread::awaitBlocked() const {
    // Several looks in a row: a sanitizer may make a thread sleep for a moment of its own.
    for (int looksAsleep = 0; looksAsleep < 3 && !m_finished;) {
        looksAsleep = m_number != 0 && kernelState(m_number) == 'S' ? looksAsleep + 1 : 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace qxtest
