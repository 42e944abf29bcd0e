// Logs from several threads through an asynchronous processor into a plain-text file and prints how
// many messages per second reached it: LogBench [THREADS [MESSAGES [FILE]]]

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <iomanip>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/exec/CallableRunnable.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/HeldFlushWriter.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/log/AsyncProcessor.h>
#include <qx/log/BasicLogWriter.h>
#include <qx/log/Level.h>
#include <qx/log/Logger.h>

namespace {

using Clock = std::chrono::steady_clock;
using Nanoseconds = std::vector<uint32_t>;

enum class Flush { PerMessage, HeldBack };

/// Time that each of @p count calls took.
Nanoseconds logMessages(qx::log::Logger& logger, int count) {
    const qx::String text(u"the quick brown fox jumps over the lazy dog");
    Nanoseconds times(static_cast<size_t>(count));
    auto before = Clock::now();
    for (auto& time : times) {
        logger.log(qx::log::Level::Info, text);
        const auto now = Clock::now();
        time = static_cast<uint32_t>((now - before).count());
        before = now;
    }
    return times;
}

void measure(const char* name, const qx::String& path, Flush flush, int threads, int messages) {
    auto file = qx::makeReference<qx::io::FileOutputStream>(path, false);
    qx::Reference<qx::io::Writer> out =
        qx::makeReference<qx::io::OutputStreamWriter>(file, u"UTF-8", 1 << 16);
    qx::log::AsyncOptions options;
    if (flush == Flush::HeldBack) {
        auto held = qx::makeReference<qx::io::HeldFlushWriter>(out);
        options.whenEmpty = qx::exec::makeRunnable([held] { held->release(); });
        out = held;
    }
    auto processor =
        qx::log::AsyncProcessor::create(qx::log::BasicLogWriter::create(out), 1, options);
    auto logger = qx::log::Logger::create(u"bench");
    logger->setProcessor(processor);

    std::vector<Nanoseconds> times(static_cast<size_t>(threads));
    const auto begin = Clock::now();
    {
        std::vector<std::jthread> loggers;
        for (auto& own : times)
            loggers.emplace_back([&] { own = logMessages(*logger, messages / threads); });
    }
    if (!processor->flush() || processor->getFailedCount() != 0)
        throw std::runtime_error("not everything was written");
    const std::chrono::duration<double> seconds = Clock::now() - begin;

    Nanoseconds all;
    for (const auto& own : times)
        all.insert(all.end(), own.begin(), own.end());
    const auto share = [&all](double part) {
        const auto nth = all.begin() + static_cast<ptrdiff_t>(part * double(all.size() - 1));
        std::nth_element(all.begin(), nth, all.end());
        return *nth;
    };
    std::cout << std::left << std::setw(20) << name << std::right << std::fixed
              << std::setprecision(2) << std::setw(8) << double(all.size()) / seconds.count() / 1e6
              << " M messages/s, call p50 " << share(0.5) << " ns, p99 " << share(0.99)
              << " ns, p99.9 " << share(0.999) << " ns\n";
}

} // namespace

int main(int argc, char** argv) {
    const int threads = argc > 1 ? qx::String(argv[1]).toInt().value_or(0) : 1;
    const int messages = argc > 2 ? qx::String(argv[2]).toInt().value_or(0) : 200'000;
    const qx::String path = argc > 3 ? qx::String(argv[3]) : qx::String(u"/dev/null");
    if (threads < 1 || messages < threads || argc > 4) {
        std::cerr << "usage: LogBench [THREADS [MESSAGES [FILE]]]\n";
        return 2;
    }
    try {
        measure("flush held back", path, Flush::HeldBack, threads, messages);
        measure("flush per message", path, Flush::PerMessage, threads, messages);
        return std::cout.flush() ? 0 : 1;
    } catch (const std::exception& failure) {
        std::cerr << "LogBench: " << failure.what() << '\n';
        return 1;
    }
}
