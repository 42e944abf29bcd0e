#include "tests/support/BlockingThread.h"

#include <chrono>
#include <fstream>
#include <string>
#include <unistd.h>

namespace qxtest {

namespace {

char kernelState(int threadNumber) {
    std::ifstream file("/proc/" + std::to_string(threadNumber) + "/stat");
    std::string line;
    std::getline(file, line);
    const auto nameEnd = line.rfind(')');
    return nameEnd == std::string::npos ? 'X' : line[nameEnd + 2];
}

} // namespace

int BlockingThread::ownNumber() { return gettid(); }

void awaitAsleep(int threadNumber, const std::function<bool()>& isFinished) {
    // Several looks in a row: a sanitizer may make a thread sleep for a moment of its own.
    for (int looksAsleep = 0; looksAsleep < 3 && !isFinished();) {
        looksAsleep = threadNumber != 0 && kernelState(threadNumber) == 'S' ? looksAsleep + 1 : 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void BlockingThread::awaitBlocked() const {
    while (m_number == 0)
        std::this_thread::yield();
    awaitAsleep(m_number, [this] { return m_finished.load(); });
}

} // namespace qxtest
