#include "Logs.h"

#include <filesystem>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/Integer.h>
#include <qx/core/Result.h>
#include <qx/exec/CallableRunnable.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/log/LevelFilter.h>
#include <qx/log/LineLogWriter.h>
#include <qx/log/LogEntry.h>
#include <qx/log/LogFile.h>
#include <qx/log/MultiProcessor.h>
#include <qx/log/TimeStamp.h>
#include <qx/log/XmlLogWriter.h>
#include <qx/util/SystemName.h>

namespace collector {

namespace {

using qx::makeReference;
using qx::Reference;
using qx::String;
using qx::io::HeldFlushWriter;

/// Clients that send more than the disk takes wait when so many messages do.
constexpr uint32_t QueueCapacity = 10'000;

/// To the stream, without a flush for every entry.
Reference<HeldFlushWriter> writerTo(qx::io::OutputStream* file) {
    return makeReference<HeldFlushWriter>(
        makeReference<qx::io::OutputStreamWriter>(file, u"UTF-8"));
}

/// The path of a document that no run has begun yet.
String newDocument(const String& folder) {
    for (int run = 1;; ++run) {
        String path = folder + u"/service-" + String::valueOf(run) + u".xml";
        if (!std::filesystem::exists(qx::util::toSystemName(path)))
            return path;
    }
}

} // namespace

Logs::Logs(const String& folder, int32_t level, int32_t largest)
    : m_lock(folder),
      m_file(makeReference<qx::log::LogFile>(
          folder + u"/service.log",
          qx::log::LogFileOptions{.limit = largest, .kept = 99, .waitsForDisk = true})),
      m_plain(writerTo(m_file)), m_xml(writerTo(makeReference<qx::io::FileOutputStream>(
                                     newDocument(folder), qx::io::FileOutputStream::ATEND))) {
    using namespace qx::log;
    auto files = MultiProcessor::create();
    files->addProcessor(LevelFilter::create(LineLogWriter::create(m_plain), level));
    files->addProcessor(XmlLogWriter::create(m_xml, XmlLogWriter::Escaping::WellFormed));
    AsyncOptions options;
    options.capacity = QueueCapacity;
    // Until the service has noticed a failure, and in its end, what can be written is.
    options.failure = AsyncOptions::Failure::CarryOn;
    // A flush of a file makes it durable, which costs the same for one entry and for many.
    options.whenEmpty = qx::exec::makeRunnable([plain = m_plain, xml = m_xml] {
        plain->release();
        xml->release();
    });
    m_queue = AsyncProcessor::create(files, 1, options);
}

bool Logs::add(const Message& message, const String& peer) noexcept {
    const int32_t result = qx::resultOf([&] {
        const auto entry = qx::log::LogEntry::create();
        entry->setField(u"timestamp", makeReference<qx::log::TimeStamp>());
        entry->setField(u"level",
                        makeReference<qx::Integer32>(static_cast<int32_t>(message.level)));
        entry->setField(u"text", makeReference<String>(message.text));
        entry->setField(u"name", makeReference<String>(message.source));
        entry->setField(u"peer", makeReference<String>(peer));
        m_queue->process(entry);
    });
    return result >= 0;
}

bool Logs::store() noexcept {
    bool isFlushed = false;
    qx::resultOf([&] { isFlushed = m_queue->flush(); });
    return isFlushed && !hasFailed();
}

void Logs::close() {
    m_queue.reset(); // with its end the writers add what ends a document
    m_plain->close();
    m_xml->close();
}

std::string Logs::failure() const {
    return qx::makeErrorCode(m_queue->getFirstFailure()).message();
}

void Logs::reopen() {
    m_isFailureTold = false;
    m_file->requestReopen();
}

std::string Logs::takeRenewalFailure() {
    const uint64_t failed = m_file->getFailedCount();
    const uint64_t rotated = m_file->getRotatedCount();
    const bool hasFailed = std::exchange(m_failedBefore, failed) != failed;
    if (std::exchange(m_rotatedBefore, rotated) != rotated)
        m_isFailureTold = false;
    if (!hasFailed || std::exchange(m_isFailureTold, true))
        return {};
    return qx::makeErrorCode(m_file->getFirstFailure()).message();
}

} // namespace collector
