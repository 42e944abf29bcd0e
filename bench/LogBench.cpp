// Logging of level, name and text into a plain text file, in the same lines, one item per entry,
// from the first call until the last entry is in the file. The files lie in memory, because what a
// disk does would hide the rest. A flush hands the text to the system in both libraries; that of
// FileOutputStream alone would wait for the disk. Where a thread writes what others log, it is one,
// and they wait when 8192 entries are queued.
//
// The rows with "Stamped" do what services do: the text is made of three arguments for each call,
// and every entry carries the time, as the locale "C" writes it. In those with "Pattern" the logger
// is given the pattern and the arguments, which is what the peers are given in both.

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
constexpr char Address[] = "10.11.12.13";

constexpr uint32_t Queued = 8192;
constexpr int32_t Buffered = 1 << 16;

/// When what was logged reaches the file.
enum class Flush { EveryEntry, HeldBack };

/// What is logged: a text that is there, or a time stamp and a text that is made for the call, by
/// the caller or by the logger.
enum class Work { Ready, Stamped, Pattern };

constexpr int clients(int number) { return number % 100; }

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
template <Work Kind>
class QxSync {
public:
    explicit QxSync(Flush flush) {
        m_logger->enableField(u"timestamp"_qs, Kind != Work::Ready);
        const auto file = makeReference<io::FileOutputStream>(String::fromUtf8(m_file.name()),
                                                              io::FileOutputStream::TRUNC);
        Reference<io::Writer> writer = makeReference<io::OutputStreamWriter>(
            makeReference<Unsynced>(file), u"UTF-8", Buffered);
        if (flush == Flush::HeldBack)
            writer = m_held = makeReference<io::HeldFlushWriter>(writer);
        m_target = log::BasicLogWriter::create(writer);
        m_logger->setProcessor(m_target);
    }

    void log(int number) {
        if constexpr (Kind == Work::Ready) {
            m_logger->log(2, m_text);
        } else if constexpr (Kind == Work::Pattern) {
            m_logger->log(2, u"connection {0} accepted from {1}, {2} clients are served now",
                          number, m_address, clients(number));
        } else {
            String text(u"connection ");
            text.append(number).append(u" accepted from ").append(m_address).append(u", ");
            m_logger->log(2, text.append(clients(number)).append(u" clients are served now"));
        }
    }
    void setThreshold(int level) { m_logger->setThreshold(level); }
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
    const String m_address = String::fromUtf8(Address);
};

/// A thread writes what they log.
template <Work Kind>
class QxAsync : public QxSync<Kind> {
public:
    explicit QxAsync(Flush flush) : QxSync<Kind>(flush) {
        log::AsyncOptions options;
        options.capacity = Queued;
        options.whenEmpty = exec::makeRunnable([this] { QxSync<Kind>::finish(); });
        m_processor = log::AsyncProcessor::create(this->target(), 1, options);
        this->logger().setProcessor(m_processor);
    }

    void finish() { m_processor->flush(); }

private:
    Reference<log::AsyncProcessor> m_processor;
};

#ifdef QX_BENCH_HAVE_SPDLOG

void configure(spdlog::logger& logger, Flush flush, Work kind) {
    const std::string stamp = kind != Work::Ready ? "timestamp=%m/%d/%Y %H:%M:%S\n" : "";
    logger.set_pattern("level=%L\ntext=%v\n" + stamp + "name=%n\n-------------------------");
    logger.flush_on(flush == Flush::EveryEntry ? spdlog::level::trace : spdlog::level::off);
}

void logTo(spdlog::logger& logger, Work kind, int number) {
    if (kind == Work::Ready)
        logger.log(spdlog::level::info, spdlog::string_view_t(Text));
    else
        logger.log(spdlog::level::info, "connection {} accepted from {}, {} clients are served now",
                   number, Address, clients(number));
}

template <Work Kind>
class SpdlogSync {
public:
    explicit SpdlogSync(Flush flush)
        : m_logger("network",
                   std::make_shared<spdlog::sinks::basic_file_sink_mt>(m_file.name(), true)) {
        configure(m_logger, flush, Kind);
    }

    void setLevel(spdlog::level::level_enum level) { m_logger.set_level(level); }
    void log(int number) { logTo(m_logger, Kind, number); }
    void finish() { m_logger.flush(); }

private:
    LogFile m_file;
    spdlog::logger m_logger;
};

template <Work Kind>
class SpdlogAsync {
public:
    explicit SpdlogAsync(Flush flush)
        : m_pool(std::make_shared<spdlog::details::thread_pool>(Queued, 1)),
          m_logger(std::make_shared<spdlog::async_logger>(
              "network", std::make_shared<spdlog::sinks::basic_file_sink_mt>(m_file.name(), true),
              m_pool)) {
        configure(*m_logger, flush, Kind);
    }

    void log(int number) { logTo(*m_logger, Kind, number); }
    /// Ends the thread, which writes what is queued before it goes.
    void finish() {
        m_logger->flush();
        m_pool.reset();
    }

private:
    LogFile m_file;
    std::shared_ptr<spdlog::details::thread_pool> m_pool;
    std::shared_ptr<spdlog::async_logger> m_logger;
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
                    log.log(i);
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
void callLatency(benchmark::State& state, Flush flush, std::chrono::nanoseconds pace) {
    constexpr int Calls = 50'000;
    std::vector<Clock::duration> times(Calls);
    for (auto _ : state) {
        Log log(flush);
        timed(
            1,
            [&](int) {
                auto next = Clock::now();
                for (int i = 0; i < Calls; ++i) {
                    while (Clock::now() < next)
                        ;
                    const auto begin = Clock::now();
                    log.log(i);
                    const auto end = Clock::now();
                    times[static_cast<size_t>(i)] = end - begin;
                    next = std::max(end, begin + pace);
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
    callLatency<Log>(state, Flush::EveryEntry, std::chrono::microseconds(8));
}

template <class Log>
void latencyFlushHeld(benchmark::State& state) {
    callLatency<Log>(state, Flush::HeldBack, std::chrono::microseconds(8));
}

template <class Log>
void latencyRare(benchmark::State& state) {
    callLatency<Log>(state, Flush::HeldBack, std::chrono::microseconds(20));
}

void disabledQx(benchmark::State& state, const auto& text) {
    const auto logger = log::Logger::create(u"network"_qs);
    logger->setEnabled(false);
    for (auto _ : state) {
        benchmark::DoNotOptimize(logger.get());
        logger->log(2, text);
    }
    state.SetItemsProcessed(state.iterations());
}

/// A call that the threshold stops, and one whose text is made and written where it is called: a
/// loop for each, whose instructions can be counted.
template <class Log>
void patterns(benchmark::State& state, Log& log) {
    int number = 0;
    log.log(number); // the first one looks up the locale
    for (auto _ : state)
        log.log(++number);
    log.finish();
    state.SetItemsProcessed(state.iterations());
}

#ifdef QX_BENCH_HAVE_SPDLOG
void patternsSpdlog(benchmark::State& state, bool isBelow) {
    SpdlogSync<Work::Pattern> log(Flush::HeldBack);
    log.setLevel(isBelow ? spdlog::level::warn : spdlog::level::info);
    patterns(state, log);
}

void disabledSpdlog(benchmark::State& state, const auto& text) {
    LogFile file;
    spdlog::logger logger("network",
                          std::make_shared<spdlog::sinks::basic_file_sink_mt>(file.name(), true));
    logger.set_level(spdlog::level::off);
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

/// The rows of a library that is measured with a thread that writes and without one.
template <template <Work> class Async, template <Work> class Self>
void addRows(const std::string& async, const std::string& self) {
    using benchmark::RegisterBenchmark;
    constexpr Work Ready = Work::Ready, Stamped = Work::Stamped, Pattern = Work::Pattern;
    const auto add = [](const std::string& name, auto* function) {
        return RegisterBenchmark(name.c_str(), function);
    };
    add("LogFlushEveryEntry/" + async, &flushEveryEntry<Async<Ready>>)->Apply(inRuns);
    add("LogFlushHeldBack/" + async, &flushHeldBack<Async<Ready>>)->Apply(inRuns);
    add("LogStampedFlushEveryEntry/" + async, &flushEveryEntry<Async<Stamped>>)->Apply(inRuns);
    add("LogStampedFlushHeldBack/" + async, &flushHeldBack<Async<Stamped>>)->Apply(inRuns);
    add("LogPatternFlushEveryEntry/" + async, &flushEveryEntry<Async<Pattern>>)->Apply(inRuns);
    add("LogPatternFlushHeldBack/" + async, &flushHeldBack<Async<Pattern>>)->Apply(inRuns);
    add("LogSelfFlushEveryEntry/" + self, &flushEveryEntry<Self<Ready>>)->Apply(inRuns);
    add("LogSelfFlushHeldBack/" + self, &flushHeldBack<Self<Ready>>)->Apply(inRuns);
    add("LogSelfStampedFlushEveryEntry/" + self, &flushEveryEntry<Self<Stamped>>)->Apply(inRuns);
    add("LogSelfStampedFlushHeldBack/" + self, &flushHeldBack<Self<Stamped>>)->Apply(inRuns);
    add("LogSelfPatternFlushEveryEntry/" + self, &flushEveryEntry<Self<Pattern>>)->Apply(inRuns);
    add("LogSelfPatternFlushHeldBack/" + self, &flushHeldBack<Self<Pattern>>)->Apply(inRuns);
    add("CallFlushEveryEntry/" + async, &latencyFlushEvery<Async<Ready>>)->Apply(inPercentiles);
    add("CallFlushHeldBack/" + async, &latencyFlushHeld<Async<Ready>>)->Apply(inPercentiles);
    add("CallStampedEvery20us/" + async, &latencyRare<Async<Stamped>>)->Apply(inPercentiles);
    add("CallPatternEvery20us/" + async, &latencyRare<Async<Pattern>>)->Apply(inPercentiles);
}

[[maybe_unused]] const bool areAdded = [] {
    addRows<QxAsync, QxSync>("qx", "qx");
#ifdef QX_BENCH_HAVE_SPDLOG
    addRows<SpdlogAsync, SpdlogSync>("spdlog-async", "spdlog");
#endif
    return true;
}();

void patternsQx(benchmark::State& state, bool isBelow) {
    QxSync<Work::Pattern> log(Flush::HeldBack);
    log.setThreshold(isBelow ? 3 : 0);
    patterns(state, log);
}

BENCHMARK_CAPTURE(disabledQx, text, String::fromUtf8(Text))->Name("LogDisabled/qx");
BENCHMARK_CAPTURE(disabledQx, literal, u"connection closed")->Name("LogDisabledLiteral/qx");
BENCHMARK_CAPTURE(patternsQx, below, true)->Name("LogBelowThreshold/qx");
BENCHMARK_CAPTURE(patternsQx, written, false)->Name("LogPatternCall/qx");
#ifdef QX_BENCH_HAVE_SPDLOG
// A peer without a thread beside those with one.
BENCHMARK(flushEveryEntry<SpdlogSync<Work::Ready>>)
    ->Name("LogFlushEveryEntry/spdlog")
    ->Apply(inRuns);
BENCHMARK(flushHeldBack<SpdlogSync<Work::Ready>>)->Name("LogFlushHeldBack/spdlog")->Apply(inRuns);
BENCHMARK(flushEveryEntry<SpdlogSync<Work::Stamped>>)
    ->Name("LogStampedFlushEveryEntry/spdlog")
    ->Apply(inRuns);
BENCHMARK(flushHeldBack<SpdlogSync<Work::Stamped>>)
    ->Name("LogStampedFlushHeldBack/spdlog")
    ->Apply(inRuns);
BENCHMARK(flushEveryEntry<SpdlogSync<Work::Pattern>>)
    ->Name("LogPatternFlushEveryEntry/spdlog")
    ->Apply(inRuns);
BENCHMARK(flushHeldBack<SpdlogSync<Work::Pattern>>)
    ->Name("LogPatternFlushHeldBack/spdlog")
    ->Apply(inRuns);
BENCHMARK_CAPTURE(disabledSpdlog, text, std::string(Text))->Name("LogDisabled/spdlog");
BENCHMARK_CAPTURE(disabledSpdlog, literal, "connection closed")->Name("LogDisabledLiteral/spdlog");
BENCHMARK_CAPTURE(patternsSpdlog, below, true)->Name("LogBelowThreshold/spdlog");
BENCHMARK_CAPTURE(patternsSpdlog, written, false)->Name("LogPatternCall/spdlog");
#endif

} // namespace

BENCHMARK_MAIN();
