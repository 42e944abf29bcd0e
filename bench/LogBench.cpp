// Logging of level, name and text into a plain text file, in the same lines, one item per entry,
// from the first call until the last entry is in the file. The files lie in memory, because what a
// disk does would hide the rest. A flush hands the text to the system in both libraries; that of
// FileOutputStream alone would wait for the disk. Where a thread writes what others log, it is one,
// and they wait when 8192 entries are queued.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <unistd.h>

#ifdef QX_BENCH_HAVE_SPDLOG
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/exec/CallableRunnable.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/FilterOutputStream.h>
#include <qx/io/HeldFlushWriter.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/log/AsyncProcessor.h>
#include <qx/log/BasicLogWriter.h>
#include <qx/log/Logger.h>

namespace {

using namespace qx;
using namespace qx::literals;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr char Text[] = "connection 4711 accepted from 10.11.12.13, 17 clients are served now";

constexpr uint32_t Queued = 8192;
constexpr int32_t Buffered = 1 << 16;

/// When what was logged reaches the file.
enum class Flush { EveryEntry, HeldBack };

/// The name of a file in memory, which goes with the object.
class LogFile {
public:
    LogFile() {
        static std::atomic<int> s_count{0};
        const std::filesystem::path memory("/dev/shm");
        const auto folder =
            std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
        m_path = folder / ("qxbench." + std::to_string(getpid()) + "." + std::to_string(++s_count));
    }
    ~LogFile() {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    std::string name() const { return m_path.string(); }

private:
    std::filesystem::path m_path;
};

/// Leaves it to the system when the file reaches the disk.
class Unsynced : public io::FilterOutputStream {
public:
    using FilterOutputStream::FilterOutputStream;
    void flush() override {}
};

/// The loggers write themselves, one at a time.
class QxSync {
public:
    explicit QxSync(Flush flush) {
        const auto file = makeReference<io::FileOutputStream>(String::fromUtf8(m_file.name()),
                                                              io::FileOutputStream::TRUNC);
        Reference<io::Writer> writer = makeReference<io::OutputStreamWriter>(
            makeReference<Unsynced>(file), u"UTF-8", Buffered);
        if (flush == Flush::HeldBack)
            writer = m_held = makeReference<io::HeldFlushWriter>(writer);
        m_target = log::BasicLogWriter::create(writer);
        m_logger->setProcessor(m_target);
    }

    void log() { m_logger->log(2, m_text); }
    void finish() {
        if (m_held)
            m_held->release();
    }

protected:
    log::Logger& logger() { return *m_logger; }
    log::ILogProcessor* target() { return m_target; }

private:
    LogFile m_file;
    Reference<io::HeldFlushWriter> m_held;
    Reference<log::ILogProcessor> m_target;
    const Reference<log::Logger> m_logger = log::Logger::create(u"network"_qs);
    const String m_text = String::fromUtf8(Text);
};

/// A thread writes what they log.
class QxAsync : public QxSync {
public:
    explicit QxAsync(Flush flush) : QxSync(flush) {
        log::AsyncOptions options;
        options.capacity = Queued;
        options.whenEmpty = exec::makeRunnable([this] { QxSync::finish(); });
        m_processor = log::AsyncProcessor::create(target(), 1, options);
        logger().setProcessor(m_processor);
    }

    void finish() { m_processor->flush(); }

private:
    Reference<log::AsyncProcessor> m_processor;
};

#ifdef QX_BENCH_HAVE_SPDLOG

void configure(spdlog::logger& logger, Flush flush) {
    logger.set_pattern("level=%L\ntext=%v\nname=%n\n-------------------------");
    logger.flush_on(flush == Flush::EveryEntry ? spdlog::level::trace : spdlog::level::off);
}

class SpdlogSync {
public:
    explicit SpdlogSync(Flush flush)
        : m_logger("network",
                   std::make_shared<spdlog::sinks::basic_file_sink_mt>(m_file.name(), true)) {
        configure(m_logger, flush);
    }

    void log() { m_logger.log(spdlog::level::info, spdlog::string_view_t(m_text)); }
    void finish() { m_logger.flush(); }

private:
    LogFile m_file;
    spdlog::logger m_logger;
    const std::string m_text = Text;
};

class SpdlogAsync {
public:
    explicit SpdlogAsync(Flush flush)
        : m_pool(std::make_shared<spdlog::details::thread_pool>(Queued, 1)),
          m_logger(std::make_shared<spdlog::async_logger>(
              "network", std::make_shared<spdlog::sinks::basic_file_sink_mt>(m_file.name(), true),
              m_pool)) {
        configure(*m_logger, flush);
    }

    void log() { m_logger->log(spdlog::level::info, spdlog::string_view_t(m_text)); }
    /// Ends the thread, which writes what is queued before it goes.
    void finish() {
        m_logger->flush();
        m_pool.reset();
    }

private:
    LogFile m_file;
    std::shared_ptr<spdlog::details::thread_pool> m_pool;
    std::shared_ptr<spdlog::async_logger> m_logger;
    const std::string m_text = Text;
};

#endif

/// Runs @p body (number of the producer) on that many threads, which begin together, and then
/// @p finish; the time for all of it.
template <class Body, class Finish>
double timed(int producers, Body&& body, Finish&& finish) {
    std::atomic<int> ready{0};
    std::atomic<bool> go{false};
    std::vector<std::jthread> threads;
    for (int i = 0; i < producers; ++i) {
        threads.emplace_back([&, i] {
            ++ready;
            go.wait(false);
            body(i);
        });
    }
    while (ready < producers)
        std::this_thread::yield();
    const auto begin = Clock::now();
    go = true;
    go.notify_all();
    threads.clear();
    finish();
    return Seconds(Clock::now() - begin).count();
}

template <class Log>
void throughput(benchmark::State& state, Flush flush, int entries) {
    const auto producers = static_cast<int>(state.range(0));
    const int each = entries / producers;
    for (auto _ : state) {
        Log log(flush);
        const double seconds = timed(
            producers,
            [&](int) {
                for (int i = 0; i < each; ++i)
                    log.log();
            },
            [&] { log.finish(); });
        state.SetIterationTime(seconds);
    }
    state.SetItemsProcessed(state.iterations() * each * producers);
}

template <class Log>
void flushEveryEntry(benchmark::State& state) {
    throughput<Log>(state, Flush::EveryEntry, 100'000);
}

template <class Log>
void flushHeldBack(benchmark::State& state) {
    throughput<Log>(state, Flush::HeldBack, 400'000);
}

/// The time that one call of so many as the argument says exceeds: with 2 the median, with 100 the
/// 99th percentile. The thread does something else for some microseconds between two calls.
template <class Log>
void callLatency(benchmark::State& state, Flush flush) {
    constexpr int Calls = 50'000;
    constexpr std::chrono::nanoseconds Pace(8'000);
    std::vector<Clock::duration> times(Calls);
    for (auto _ : state) {
        Log log(flush);
        timed(
            1,
            [&](int) {
                auto next = Clock::now();
                for (auto& time : times) {
                    while (Clock::now() < next)
                        ;
                    const auto begin = Clock::now();
                    log.log();
                    const auto end = Clock::now();
                    time = end - begin;
                    next = std::max(end, begin + Pace);
                }
            },
            [&] { log.finish(); });
        const auto beyond = static_cast<size_t>(Calls / state.range(0));
        const auto at = times.end() - static_cast<std::ptrdiff_t>(beyond);
        std::nth_element(times.begin(), at, times.end());
        state.SetIterationTime(Seconds(*at).count());
    }
}

template <class Log>
void latencyFlushEvery(benchmark::State& state) {
    callLatency<Log>(state, Flush::EveryEntry);
}

template <class Log>
void latencyFlushHeld(benchmark::State& state) {
    callLatency<Log>(state, Flush::HeldBack);
}

void disabledQx(benchmark::State& state) {
    const auto logger = log::Logger::create(u"network"_qs);
    logger->setEnabled(false);
    const String text = String::fromUtf8(Text);
    for (auto _ : state) {
        benchmark::DoNotOptimize(logger.get());
        logger->log(2, text);
    }
    state.SetItemsProcessed(state.iterations());
}

#ifdef QX_BENCH_HAVE_SPDLOG
void disabledSpdlog(benchmark::State& state) {
    LogFile file;
    spdlog::logger logger("network",
                          std::make_shared<spdlog::sinks::basic_file_sink_mt>(file.name(), true));
    logger.set_level(spdlog::level::off);
    const std::string text = Text;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&logger);
        logger.log(spdlog::level::info, spdlog::string_view_t(text));
    }
    state.SetItemsProcessed(state.iterations());
}
#endif

void inRuns(benchmark::internal::Benchmark* row) {
    row->Arg(1)->Arg(4)->ArgName("")->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
}

void inPercentiles(benchmark::internal::Benchmark* row) {
    row->Arg(2)->Arg(10)->Arg(100)->Arg(1000)->UseManualTime()->Iterations(1);
}

BENCHMARK(flushEveryEntry<QxAsync>)->Name("LogFlushEveryEntry/qx")->Apply(inRuns);
BENCHMARK(flushHeldBack<QxAsync>)->Name("LogFlushHeldBack/qx")->Apply(inRuns);
BENCHMARK(flushEveryEntry<QxSync>)->Name("LogSelfFlushEveryEntry/qx")->Apply(inRuns);
BENCHMARK(flushHeldBack<QxSync>)->Name("LogSelfFlushHeldBack/qx")->Apply(inRuns);
BENCHMARK(latencyFlushEvery<QxAsync>)->Name("CallFlushEveryEntry/qx")->Apply(inPercentiles);
BENCHMARK(latencyFlushHeld<QxAsync>)->Name("CallFlushHeldBack/qx")->Apply(inPercentiles);
BENCHMARK(disabledQx)->Name("LogDisabled/qx");

#ifdef QX_BENCH_HAVE_SPDLOG
BENCHMARK(flushEveryEntry<SpdlogAsync>)->Name("LogFlushEveryEntry/spdlog-async")->Apply(inRuns);
BENCHMARK(flushEveryEntry<SpdlogSync>)->Name("LogFlushEveryEntry/spdlog")->Apply(inRuns);
BENCHMARK(flushHeldBack<SpdlogAsync>)->Name("LogFlushHeldBack/spdlog-async")->Apply(inRuns);
BENCHMARK(flushHeldBack<SpdlogSync>)->Name("LogFlushHeldBack/spdlog")->Apply(inRuns);
BENCHMARK(latencyFlushEvery<SpdlogAsync>)
    ->Name("CallFlushEveryEntry/spdlog-async")
    ->Apply(inPercentiles);
BENCHMARK(latencyFlushHeld<SpdlogAsync>)
    ->Name("CallFlushHeldBack/spdlog-async")
    ->Apply(inPercentiles);
BENCHMARK(flushEveryEntry<SpdlogSync>)->Name("LogSelfFlushEveryEntry/spdlog")->Apply(inRuns);
BENCHMARK(flushHeldBack<SpdlogSync>)->Name("LogSelfFlushHeldBack/spdlog")->Apply(inRuns);
BENCHMARK(disabledSpdlog)->Name("LogDisabled/spdlog");
#endif

} // namespace

BENCHMARK_MAIN();
