// A service that handles requests on several threads until SIGTERM or SIGINT and logs them as plain
// text and as XML through an asynchronous processor. Its settings come from the command line and
// from an INI file: Service --help. It logs in the language of the user once
// `qxbundle install messages` has registered the message files beside this source.
//
// Prints how many entries it has logged; so many are in service.log and service.xml of the folder.

#include <atomic>
#include <csignal>
#include <iostream>
#include <vector>

#include <qx/collections/List.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/core/Exception.h>
#include <qx/core/Integer.h>
#include <qx/core/String.h>
#include <qx/exec/CallableRunnable.h>
#include <qx/exec/Thread.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/HeldFlushWriter.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/log/AsyncProcessor.h>
#include <qx/log/BasicLogWriter.h>
#include <qx/log/LevelFilter.h>
#include <qx/log/Logger.h>
#include <qx/log/MultiProcessor.h>
#include <qx/log/StringBundleLogger.h>
#include <qx/log/XmlLogWriter.h>

#include "Messages.h"
#include "Settings.h"

namespace {

enum Level { Debug = 1, Note = 2, Warning = 3 };

/// The signals that stop the service, blocked for all its threads and waited for by one.
class StopSignals {
public:
    StopSignals() {
        sigemptyset(&m_signals);
        sigaddset(&m_signals, SIGTERM);
        sigaddset(&m_signals, SIGINT);
        pthread_sigmask(SIG_BLOCK, &m_signals, nullptr);
    }
    void wait() const {
        int signal = 0;
        sigwait(&m_signals, &signal);
    }

private:
    sigset_t m_signals;
};

/// Two log files behind one worker thread. They are complete when the object is gone.
class Logs {
public:
    explicit Logs(const Settings& settings)
        : m_plain(open(settings.folder, u"/service.log")),
          m_xml(open(settings.folder, u"/service.xml")), m_threshold(settings.threshold) {
        auto files = qx::log::MultiProcessor::create();
        files->addProcessor(qx::log::BasicLogWriter::create(m_plain));
        files->addProcessor(
            qx::log::XmlLogWriter::create(m_xml, qx::log::XmlLogWriter::Escaping::WellFormed));
        qx::log::AsyncOptions options;
        options.whenEmpty = qx::exec::makeRunnable([plain = m_plain, xml = m_xml] {
            plain->release();
            xml->release();
        });
        m_queue = qx::log::AsyncProcessor::create(files, 1, options);
    }

    qx::Reference<qx::log::Logger> createLogger(const qx::String& name) const {
        auto logger = qx::log::Logger::create(name);
        logger->enableField(u"sequence", true);
        logger->enableField(u"timestamp", true);
        logger->setProcessor(qx::log::LevelFilter::create(m_queue, m_threshold));
        return logger;
    }

    /// False when entries got lost: the disk is full, for example.
    bool flush() { return m_queue->flush() && m_queue->getFailedCount() == 0; }

private:
    static qx::Reference<qx::io::HeldFlushWriter> open(const qx::String& folder,
                                                       const char16_t* name) {
        auto file =
            qx::makeReference<qx::io::FileOutputStream>(qx::String(folder).append(name), false);
        auto writer = qx::makeReference<qx::io::OutputStreamWriter>(file, u"UTF-8");
        return qx::makeReference<qx::io::HeldFlushWriter>(writer);
    }

    qx::Reference<qx::io::HeldFlushWriter> m_plain;
    qx::Reference<qx::io::HeldFlushWriter> m_xml;
    qx::Reference<qx::log::AsyncProcessor> m_queue;
    int32_t m_threshold;
};

/// Handles requests until @p stopping; the number of entries that reach the files.
int handleRequests(qx::log::StringBundleLogger& logger, const Settings& settings,
                   const std::atomic<bool>& stopping) {
    int logged = 0;
    for (int request = 1; !stopping; ++request) {
        const auto log = [&](Level level, const char16_t* key) {
            qx::collections::List<qx::Object> arguments(
                qx::makeReference<qx::collections::pcom::ArrayList>().get());
            arguments.add(qx::makeReference<qx::Integer32>(request));
            logger.log(level, key, arguments);
            logged += level >= settings.threshold;
        };
        log(Debug, u"request.accepted");
        qx::exec::Thread::sleep(static_cast<uint32_t>(settings.requestMilliseconds));
        const bool isOdd = request % 10 == 0;
        log(isOdd ? Warning : Note, isOdd ? u"request.unanswered" : u"request.handled");
    }
    return logged;
}

/// Threads that are told to stop and waited for, at the latest when the object goes.
class RequestThreads {
public:
    ~RequestThreads() { stop(); }

    template <class Body>
    void start(const qx::String& name, Body body) {
        auto thread = qx::makeReference<qx::exec::Thread>(qx::exec::makeRunnable(body), name);
        m_threads.reserve(m_threads.size() + 1); // a thread that runs is not lost
        thread->start();
        m_threads.push_back(thread);
    }
    void stop() {
        m_stopping = true;
        for (auto& thread : m_threads)
            thread->join();
        m_threads.clear();
    }
    const std::atomic<bool>& stopping() const { return m_stopping; }

private:
    std::atomic<bool> m_stopping{false};
    std::vector<qx::Reference<qx::exec::Thread>> m_threads;
};

int serve(const Settings& settings, const StopSignals& stop) {
    Logs logs(settings);
    const auto messages = findMessages(settings.locale);
    std::atomic<int> logged{0};
    RequestThreads threads;
    for (int number = 1; number <= settings.threads; ++number) {
        const auto name = qx::String(u"requests ").append(number);
        const auto logger =
            qx::makeReference<qx::log::StringBundleLogger>(messages, logs.createLogger(name));
        threads.start(
            name, [&, logger] { logged += handleRequests(*logger, settings, threads.stopping()); });
    }
    std::cout << "serving on " << settings.threads << " threads" << std::endl;

    stop.wait();
    threads.stop();
    if (!logs.flush()) {
        std::cerr << "Service: the logs are not complete\n";
        return 1;
    }
    std::cout << logged << " entries logged" << std::endl;
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        const auto settings = readSettings(argc, argv);
        if (!settings)
            return 0;
        const StopSignals stop;
        return serve(*settings, stop);
    } catch (const UsageFailure& failure) {
        std::cerr << "Service: " << failure.what() << " (Service --help tells more)\n";
        return 2;
    } catch (const qx::Exception& failure) {
        std::cerr << "Service: " << failure.getDescription() << " (result " << std::hex
                  << failure.getResult() << ")\n";
        return 1;
    }
}
