#include <cstdlib>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include <qx/exec/CallableRunnable.h>
#include <qx/exec/Thread.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/HeldFlushWriter.h>
#include <qx/io/IoException.h>
#include <qx/io/NullWriter.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/io/StringWriter.h>
#include <qx/log/AsyncProcessor.h>
#include <qx/log/BasicLogWriter.h>
#include <qx/log/Logger.h>
#include <qx/log/XmlLogWriter.h>

#include "tests/log/ProcessorFakes.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/Sanitized.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace qx;
using log::AsyncProcessor;
using qxtest::expectThrowsResult;
using qxtest::FakeTarget;

constexpr int EntriesPerThread = qxtest::Sanitized ? 5'000 : 100'000;
constexpr int ShutdownRounds = qxtest::Sanitized ? 200 : 1'000;

/// Reads "text=THREAD NUMBER" out of what a BasicLogWriter writes for each entry and keeps account.
class CheckingWriter : public io::NullWriter {
public:
    explicit CheckingWriter(size_t threads)
        : m_seen(threads, std::vector<bool>(size_t{EntriesPerThread})), m_next(threads) {}

    using NullWriter::write;
    void write(const char16_t* from, int32_t length) override {
        const std::u16string_view text(from, static_cast<size_t>(length));
        const size_t begin = text.find(u"text=") + 5;
        const size_t blank = text.find(u' ', begin);
        const size_t thread = number(text.substr(begin, blank - begin));
        const size_t entry = number(text.substr(blank + 1, text.find(u'\n', blank) - blank - 1));
        twice += m_seen.at(thread).at(entry) ? 1 : 0;
        m_seen[thread][entry] = true;
        outOfOrder += m_next[thread] == entry ? 0 : 1;
        m_next[thread] = entry + 1;
        ++count;
    }

    int64_t count = 0;
    int twice = 0;
    int outOfOrder = 0;

private:
    static size_t number(std::u16string_view digits) {
        size_t value = 0;
        for (const char16_t digit : digits)
            value = value * 10 + (digit - u'0');
        return value;
    }

    std::vector<std::vector<bool>> m_seen;
    std::vector<size_t> m_next;
};

class ManyLoggers : public testing::TestWithParam<int> {};

TEST_P(ManyLoggers, EveryEntryArrivesOnceAndInOrderWithOneWorker) {
    constexpr int Threads = 16;
    auto checking = makeReference<CheckingWriter>(size_t{Threads});
    auto processor = AsyncProcessor::create(log::BasicLogWriter::create(checking), GetParam());
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < Threads; ++thread)
            threads.emplace_back([&processor, thread] {
                auto logger = log::Logger::create();
                logger->setProcessor(processor);
                for (int entry = 0; entry < EntriesPerThread; ++entry) {
                    String text;
                    text.append(thread).append(u' ').append(entry);
                    logger->log(1, text);
                }
            });
    }
    EXPECT_TRUE(processor->flush());
    EXPECT_EQ(checking->count, int64_t{Threads} * EntriesPerThread);
    EXPECT_EQ(checking->twice, 0);
    if (GetParam() == 1) {
        EXPECT_EQ(checking->outOfOrder, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Workers, ManyLoggers, testing::Values(1, 4));

TEST(LoggingFaults, ShutdownWhileLoggersRunLosesNothing) {
    for (int round = 0; round < ShutdownRounds; ++round) {
        constexpr int Threads = 2;
        const int entries = round % 40;
        auto target = makeReference<FakeTarget>();
        {
            std::vector<std::jthread> threads;
            auto processor = AsyncProcessor::create(target, round % 3);
            for (int thread = 0; thread < Threads; ++thread) {
                auto logger = log::Logger::create();
                logger->setProcessor(processor);
                threads.emplace_back([logger = std::move(logger), entries]() mutable {
                    for (int entry = 0; entry < entries; ++entry)
                        logger->log(entry, String());
                    logger.reset();
                });
            }
            processor.reset(); // from here on the loggers have the last references
        }
        ASSERT_EQ(target->calls, Threads * entries) << "round " << round;
    }
}

Reference<log::Logger> loggerTo(log::ILogProcessor* processor) {
    auto logger = log::Logger::create();
    logger->setProcessor(processor);
    return logger;
}

TEST(LoggingFaults, AFullDiskIsReported) {
    const String device(u"/dev/full");
    if (::access("/dev/full", W_OK) != 0)
        GTEST_SKIP() << "no /dev/full";
    auto file = makeReference<io::FileOutputStream>(device, false);
    auto out = makeReference<io::OutputStreamWriter>(file, u"UTF-8");
    const String text(u"lost");
    expectThrowsResult(result::DiskFull,
                       [&] { loggerTo(log::BasicLogWriter::create(out))->log(1, text); });

    auto processor = AsyncProcessor::create(log::BasicLogWriter::create(out), 1);
    for (int i = 0; i < 3; ++i)
        loggerTo(processor)->log(1, text);
    EXPECT_FALSE(processor->flush());
    EXPECT_EQ(processor->getFailedCount(), 1u);
    EXPECT_EQ(processor->getQueuedCount(), 2u);
    processor.reset();

    // Held back, the failure comes with the flush that is carried out.
    auto held = makeReference<io::HeldFlushWriter>(out);
    log::AsyncOptions options;
    options.whenEmpty = exec::makeRunnable([held] { held->release(); });
    processor = AsyncProcessor::create(log::XmlLogWriter::create(held), 1, options);
    loggerTo(processor)->log(1, text);
    while (processor->getWorkerCount() != 0)
        exec::Thread::sleep(1);
    EXPECT_EQ(processor->getFailedCount(), 2u) << "tried by the worker, and again when it ended";
    EXPECT_EQ(processor->getFirstFailure(), result::DiskFull);
    expectThrowsResult(result::DiskFull, [&] { processor->flush(); });
}

TEST(LoggingFaults, ATextThatCannotBeEncodedCostsNoOther) {
    const qxtest::TemporaryFolder folder;
    auto file = makeReference<io::FileOutputStream>(String::fromUtf8(folder.path("log")), false);
    auto out = makeReference<io::OutputStreamWriter>(file, u"UTF-8");
    const auto writer = log::BasicLogWriter::create(out);
    log::AsyncOptions options;
    options.failure = log::AsyncOptions::Failure::CarryOn;
    auto processor = AsyncProcessor::create(writer, 1, options);
    const auto logger = loggerTo(processor);
    for (int i = 0; i < 1000; ++i)
        logger->log(1, i % 100 == 7 ? String(u"half \xD800") : String(u"whole"));
    EXPECT_TRUE(processor->flush());
    EXPECT_EQ(processor->getFailedCount(), 10u);
    EXPECT_EQ(static_cast<const log::AbstractLogWriter*>(writer.get())->getLostCount(), 10u);
    const std::string text = qxtest::readFile(folder.path("log"));
    size_t count = 0;
    for (size_t at = 0; (at = text.find("=whole\n", at)) != std::string::npos; ++at)
        ++count;
    EXPECT_EQ(count, 990u);
}

TEST(LoggingFaults, AClosedFileIsReported) {
    const qxtest::TemporaryFolder folder;
    const auto path = String::fromUtf8(folder.path("closed.log"));
    auto file = makeReference<io::FileOutputStream>(path, false);
    auto out = makeReference<io::OutputStreamWriter>(file, u"UTF-8");
    auto logger = loggerTo(log::BasicLogWriter::create(out));
    file->close();
    EXPECT_THROW(logger->log(1, String(u"lost")), ResultException);
    out->close();
    EXPECT_THROW(logger->log(1, String(u"lost")), io::IoException);
}

/// Logs numbers to a file and states, after each call, how many have returned.
const qxtest::ChildEntry logUntilKilled("log-until-killed", [](const auto& arguments) {
    auto file = makeReference<io::FileOutputStream>(String::fromUtf8(arguments[0]), false);
    auto out = makeReference<io::OutputStreamWriter>(file, u"UTF-8");
    auto logger = loggerTo(log::BasicLogWriter::create(out));
    const int progress = ::open(arguments[1].c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    for (int number = 0;; ++number) {
        logger->log(number, String(u"some text"));
        const std::string returned = std::to_string(number + 1);
        if (::pwrite(progress, returned.data(), returned.size(), 0) < 0)
            return 1;
    }
});

TEST(LoggingFaults, KilledProgramsHaveWrittenWhateverHadReturned) {
    for (int round = 0; round < 4; ++round) {
        const qxtest::TemporaryFolder folder;
        const std::string logFile = folder.path("log"), progress = folder.path("progress");
        const auto returnedCalls = [&] { return std::atoi(qxtest::readFile(progress).c_str()); };
        qxtest::ChildProcess child("log-until-killed", {logFile, progress});
        while (returnedCalls() < 10 * (round + 1))
            exec::Thread::sleep(1);
        child.kill();
        EXPECT_EQ(child.join(), -9);

        std::string expected;
        const int count = returnedCalls();
        for (int number = 0; number < count; ++number) {
            auto collected = makeReference<io::StringWriter>();
            loggerTo(log::BasicLogWriter::create(collected))->log(number, String(u"some text"));
            expected += collected->toString().toUtf8();
        }
        EXPECT_EQ(qxtest::readFile(logFile).substr(0, expected.size()), expected);
    }
}

} // namespace
