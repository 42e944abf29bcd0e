// Logs from several threads into files of limited size while somebody renames the file that is
// being written, and is in the way of a rotation for a time. Then it looks for every line:
// LogFiles FOLDER
//
// Exit code: 0 when all of it is there, in order and whole, 1 when not, 2 for a mistake in the
// arguments.

#include <algorithm>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/log/AsyncProcessor.h>
#include <qx/log/Level.h>
#include <qx/log/LineLogWriter.h>
#include <qx/log/LogFile.h>
#include <qx/log/Logger.h>

namespace {

using namespace qx::log;
namespace fs = std::filesystem;

constexpr int Threads = 3, Lines = 5000, Limit = 20'000, LongestLine = 70;

void require(bool holds, const std::string& what) {
    if (!holds)
        throw std::runtime_error(what);
}

/// Threads log, each in a burst of its own, and wait until the queue has handed all of it on.
void logFromThreads(Logger& logger, AsyncProcessor& queue, int first) {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < Threads; ++thread)
        threads.emplace_back([&logger, thread, first] {
            for (int line = first; line < first + Lines; ++line)
                logger.log(Level::Info, u"{0} {1}", thread, line);
        });
    threads.clear();
    require(queue.flush() && queue.getFailedCount() == 0, "something has not been written");
}

/// Every line of the files, each of which has to be a line of its own; how many files are too long.
int collect(const fs::path& folder, std::map<std::pair<int, int>, int>& found) {
    int longer = 0;
    for (const auto& file : fs::directory_iterator(folder)) {
        if (!file.is_regular_file())
            continue;
        longer += file.file_size() > Limit + LongestLine ? 1 : 0;
        std::ifstream lines(file.path());
        std::string time, level, name, number, bar;
        for (int thread, line; lines >> time >> level >> name >> number >> bar >> thread >> line;) {
            require(level == "INFO" && name == "files" && bar == "|", "a line is not whole");
            ++found[{thread, line}];
        }
        require(lines.eof(), file.path().string() + " has something else in it");
    }
    return longer;
}

/// The log in the folder and who writes to it. The scenes come one behind the other.
class Scenes {
public:
    explicit Scenes(const fs::path& folder)
        : m_folder(folder), m_file(qx::makeReference<LogFile>(
                                folder / "log", LogFileOptions{.limit = Limit, .kept = 1000})) {
        // Most lines come to the file in two parts.
        const auto writer = qx::makeReference<qx::io::OutputStreamWriter>(m_file, u"UTF-8", 50);
        m_queue = AsyncProcessor::create(LineLogWriter::create(writer), 1);
        m_logger->setProcessor(m_queue);
    }

    void play() {
        rotate();
        standInTheWay();
        rename();
    }

private:
    void log() {
        logFromThreads(*m_logger, *m_queue, m_nextLine);
        m_nextLine += Lines;
    }

    void rotate() {
        log();
        require(m_file->getRotatedCount() > 10 && m_file->getFailedCount() == 0,
                "the files have not been rotated");
        std::cout << "files of limited size\n";
    }

    /// A folder where the full file would go: it is written on, and that is told.
    void standInTheWay() {
        const uint64_t rotated = m_file->getRotatedCount();
        for (auto number = rotated; number > 0; --number)
            fs::rename(m_folder / ("log." + std::to_string(number)),
                       m_folder / ("old." + std::to_string(number)));
        fs::create_directory(m_folder / "log.1");
        fs::create_directory(m_folder / "log.1" / "full");
        fs::create_symlink("nowhere", m_folder / "log.2");
        log();
        require(m_file->getFailedCount() > 0 && m_file->getFirstFailure() < 0,
                "no failure was told");
        require(m_file->getRotatedCount() == rotated, "there was no room for another file");
        fs::remove_all(m_folder / "log.1");
        fs::remove(m_folder / "log.2");
        std::cout << "something in the way\n";
    }

    /// The file gets another name, of which the log is told later.
    void rename() {
        fs::rename(m_folder / "log", m_folder / "renamed");
        log();
        m_file->requestReopen();
        log();
        require(fs::exists(m_folder / "log"), "the file has not been opened anew");
        std::cout << "renamed and opened anew\n";
    }

    const fs::path m_folder;
    const qx::Reference<LogFile> m_file;
    qx::Reference<AsyncProcessor> m_queue;
    const qx::Reference<Logger> m_logger = Logger::create(u"files");
    int m_nextLine = 0;
};

/// Something is in the way of opening the file anew, and goes away later.
void reopenLater(const fs::path& folder) {
    const fs::path other = folder / "other";
    fs::create_directory(other);
    const auto large = qx::makeReference<LogFile>(other / "log", LogFileOptions{.limit = 64 << 20});
    fs::rename(other / "log", other / "renamed");
    fs::create_directory(other / "log");
    large->requestReopen();
    large->write(std::string("into the old one\n"));
    require(large->getFailedCount() == 1, "no failure was told");
    fs::remove(other / "log");
    for (int line = 0; line < 1000 && !fs::exists(other / "log"); ++line)
        large->write(std::string("sooner or later into the new one\n"));
    require(fs::exists(other / "log"), "the file has not been opened anew later");
}

/// Logs behind what a killed process has left.
void continueTornLine(const fs::path& folder) {
    std::ofstream(folder / "log", std::ios::app)
        << "2024-01-31T23:59:58.007+01:00 INFO files - | 9 9";
    const auto again = Logger::create(u"files");
    again->setProcessor(LineLogWriter::create(qx::makeReference<LogFile>(folder / "log")));
    again->log(Level::Info, u"{0} {1}", 9, 10);
}

void run(const fs::path& folder) {
    Scenes(folder).play();
    reopenLater(folder);
    continueTornLine(folder);
    std::map<std::pair<int, int>, int> found;
    const int longer = collect(folder, found);
    require(std::ranges::all_of(found, [](const auto& line) { return line.second == 1; }),
            "a line stands twice");
    require(longer <= 2, "files are longer than they may be");
    std::cout << found.size() << " lines\n";
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc != 2) {
            std::cerr << "usage: LogFiles FOLDER, which is empty\n";
            return 2;
        }
        run(argv[1]);
        return std::cout.flush() ? 0 : 1;
    } catch (const std::exception& failure) {
        std::cerr << "LogFiles: " << failure.what() << '\n';
    }
    return 1;
}
