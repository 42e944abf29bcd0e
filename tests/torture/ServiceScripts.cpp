#include "tests/torture/Script.h"

#include <memory>
#include <new>

#include <qx/core/Exception.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/i18n/Locale.h>
#include <qx/io/InputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/io/StringWriter.h>
#include <qx/log/AsyncProcessor.h>
#include <qx/log/BasicLogWriter.h>
#include <qx/log/LevelFilter.h>
#include <qx/log/Logger.h>
#include <qx/log/MultiProcessor.h>
#include <qx/log/SyncLogger.h>
#include <qx/log/TimeStamp.h>
#include <qx/log/XmlLogWriter.h>
#include <qx/net/TcpServerSocket.h>
#include <qx/net/TcpServerSocket2.h>
#include <qx/net/TcpSocket.h>
#include <qx/net/uri/FilePath.h>
#include <qx/net/uri/URI.h>

namespace qxtorture {

using qx::makeReference;
using qx::Reference;
using qx::String;

namespace {

void logTo(qx::log::ILogProcessor* processor) {
    const auto logger = qx::log::Logger::create(u"torture");
    for (const char16_t* field : {u"sequence", u"thread", u"timestamp"})
        logger->enableField(field, true);
    logger->setProcessor(processor);
    logger->log(1, u"a text <with> what XML & others escape");
    logger->log(String(u"and another one without a level"));
}

/// A server on loopback addresses, made, used and given up step by step.
void serveOn(const char* hosts) {
    qx::net::TcpServerSocket2* made = nullptr;
    if (qx::net::TcpServerSocket2::createTcpServerSocket2(QX_AF_UNSPEC, QX_SOCK_STREAM, 0, &made))
        throw std::bad_alloc();
    const std::unique_ptr<qx::net::TcpServerSocket2> server(made);
    server->bindListAddAddrInfo(hosts, nullptr, 17457);
    if (server->bind() == 0 && server->listen(5) == 0)
        server->saveBoundAddresses();
    char text[512];
    uint32_t length = sizeof text;
    server->boundListAddressesDiagnosticStrA(text, &length);
}

const Script scripts[] = {
    {"log.plain text",
     [] { logTo(qx::log::BasicLogWriter::create(makeReference<qx::io::StringWriter>())); }},
    {"log.XML",
     [] {
         logTo(qx::log::XmlLogWriter::create(makeReference<qx::io::StringWriter>(),
                                             qx::log::XmlLogWriter::Escaping::WellFormed));
     }},
    {"log.filtered and fanned out",
     [] {
         const auto fan = qx::log::MultiProcessor::create();
         const auto text = makeReference<qx::io::StringWriter>();
         fan->addProcessor(qx::log::BasicLogWriter::create(text));
         fan->addProcessor(qx::log::LevelFilter::create(qx::log::BasicLogWriter::create(text), 5));
         logTo(fan);
     }},
    {"log.queued without a worker",
     [] {
         const auto text = makeReference<qx::io::StringWriter>();
         logTo(qx::log::AsyncProcessor::create(qx::log::BasicLogWriter::create(text), 0));
     }},
    {"log.queued with bounds",
     [] {
         qx::log::AsyncOptions options;
         options.capacity = 1;
         options.overflow = qx::log::AsyncOptions::Overflow::DropOldest;
         const auto text = makeReference<qx::io::StringWriter>();
         logTo(qx::log::AsyncProcessor::create(qx::log::BasicLogWriter::create(text), 0, options));
     }},
    {"log.in line",
     [] {
         const auto logger = qx::log::Logger::create();
         logger->setProcessor(
             qx::log::BasicLogWriter::create(makeReference<qx::io::StringWriter>()));
         qx::log::SyncLogger(logger).log(1, u"in line");
     }},
    {"log.time stamp", [] { qx::log::TimeStamp().toString(); }},
    {"locale.taken apart",
     [] {
         const qx::i18n::Locale locale(u"de_CH.UTF-8@euro");
         locale.toString();
         const Reference<qx::Object> copy(locale.clone());
         copy->equals(locale);
         qx::i18n::Locale::getDefault();
     }},
    {"uri.read and printed",
     [] {
         qx::net::URI uri(u"svc://anna:pw@example.org:8080/a%20b/c?x=1&y=two%26three");
         uri.getUser(true);
         uri.getPath(true);
         uri.getQueryValue(u"y", true);
         uri.setQueryPair(u"name with blanks", u"v & w", true);
         uri.removeQueryPair(u"x");
         const qx::net::URI copy(uri);
         copy.toString();
     }},
    {"uri.without authority",
     [] {
         qx::net::URI uri(u"urn:something:opaque");
         uri.getSchemeSpecificPart(false);
         uri.setPath(u"a path/with \u00E4", true);
         uri.toString();
     }},
    {"net.server by codes", [] { serveOn("127.0.0.1"); }},
    {"net.server on two addresses", [] { serveOn("127.0.0.1,127.0.0.2"); }},
    {"net.streams",
     [] {
         qx::net::TcpServerSocket server(17458, 5);
         qx::net::TcpSocket client(String(u"127.0.0.1"), 17458);
         const auto connection = server.accept();
         client.setSoTimeout(1000);
         client.getOutputStream()->write("ping", 4);
         signed char bytes[4];
         connection->getInputStream()->read(bytes, 4);
         client.getInheritanceId();
     }},
    {"net.nobody listens",
     [] {
         try {
             qx::net::TcpSocket client(String(u"127.0.0.1"), 9);
         } catch (const qx::Exception& failure) {
             failure.getDescription();
         }
     }},
    {"net.file path", [] { qx::net::FilePath(String(u"/tmp/file")).getUNCPath(); }},
    {"net.share", [] { qx::net::FilePath(String(u"\\\\server\\share\\a\\b")).getPath(); }},
};

} // namespace

std::span<const Script> serviceScripts() { return scripts; }

} // namespace qxtorture
