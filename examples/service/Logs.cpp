#include "Logs.h"

#include <filesystem>

#include <qx/core/Exception.h>
#include <qx/core/Integer.h>
#include <qx/core/Result.h>
#include <qx/exec/CallableRunnable.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/log/BasicLogWriter.h>
#include <qx/log/LevelFilter.h>
#include <qx/log/LogEntry.h>
#include <qx/log/MultiProcessor.h>
#include <qx/log/TimeStamp.h>
#include <qx/log/XmlLogWriter.h>

namespace collector {

namespace {

using qx::makeReference;
using qx::Reference;
using qx::String;
using qx::io::HeldFlushWriter;

/// Clients that send more than the disk takes wait when so many messages do.
constexpr uint32_t QueueCapacity = 10'000;

/// The end of the file of that name, without a flush for every entry.
Reference<HeldFlushWriter> open(const String& path) {
    constexpr bool Append = true;
    auto file = makeReference<qx::io::FileOutputStream>(path, Append);
    auto writer = makeReference<qx::io::OutputStreamWriter>(file, u"UTF-8");
    return makeReference<HeldFlushWriter>(writer);
}

/// The path of a document that no run has begun yet.
String newDocument(const String& folder) {
    for (int run = 1;; ++run) {
        String path = folder + u"/service-" + String::valueOf(run) + u".xml";
        if (!std::filesystem::exists(path.toUtf8()))
            return path;
    }
}

} // namespace

Logs::Logs(const String& folder, int32_t level)
    : m_lock(folder), m_plain(open(folder + u"/service.log")), m_xml(open(newDocument(folder))) {
    using namespace qx::log;
    auto files = MultiProcessor::create();
    files->addProcessor(LevelFilter::create(BasicLogWriter::create(m_plain), level));
    files->addProcessor(XmlLogWriter::create(m_xml, XmlLogWriter::Escaping::WellFormed));
    AsyncOptions options;
    options.capacity = QueueCapacity;
    // A flush of a file makes it durable, which costs the same for one entry and for many.
    options.whenEmpty = qx::exec::makeRunnable([plain = m_plain, xml = m_xml] {
        plain->release();
        xml->release();
    });
    m_queue = AsyncProcessor::create(files, 1, options);
}

bool Logs::add(const Message& message, const String& peer) noexcept {
    return qx::resultOf([&] {
               const auto entry = qx::log::LogEntry::create();
               entry->setField(u"timestamp", makeReference<qx::log::TimeStamp>());
               entry->setField(u"level",
                               makeReference<qx::Integer32>(static_cast<int32_t>(message.level)));
               entry->setField(u"text", makeReference<String>(message.text));
               entry->setField(u"name", makeReference<String>(message.source));
               entry->setField(u"peer", makeReference<String>(peer));
               m_queue->process(entry);
           }) >= 0;
}

bool Logs::store() noexcept {
    bool isFlushed = false;
    qx::resultOf([&] { isFlushed = m_queue->flush(); });
    return isFlushed && !hasFailed();
}

std::string Logs::failure() const {
    return qx::makeErrorCode(m_queue->getFirstFailure()).message();
}

} // namespace collector
