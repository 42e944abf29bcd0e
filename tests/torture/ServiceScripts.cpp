#include "tests/torture/Script.h"

#include <memory>
#include <new>

#include <qx/core/Reference.h>
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
#include <qx/util/config/CommandLineParser.h>
#include <qx/util/config/IniFile.h>
#include <qx/util/config/IniFileIterator.h>
#include <qx/util/config/IniFileView.h>
#include <qx/util/config/Property.h>
#include <qx/util/config/PropertySet.h>
#include <qx/util/config/PropertySources.h>
#include <qx/util/config/RegistryKey.h>
#include <qx/util/config/pcom/PcomPropertySet.h>

namespace qxtorture {

using qx::makeReference;
using qx::Reference;
using qx::String;

namespace {

const qx::util::RegistryKey key() { return {QX_HKEY_USER, u"Torture\\Key"}; }

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
    {"ini.written and read",
     [] {
         qx::util::IniFile ini(u"torture.ini");
         ini.AddKey(u"Server", u"port", u"8080", true);
         ini.AddKey(u"Server\\Limits", u"connections", u"a value that is a little longer", true);
         ini.AddKey(u"Client", u"name", u"somebody", true);
         char16_t value[40];
         ini.GetValue(u"SERVER", u"PORT", value, 40);
         ini.view().find(u"client", u"name");
         ini.DeleteKey(u"Client", u"name");
         ini.DeleteSet(u"Client");
     }},
    {"ini.in turns with others",
     [] {
         qx::util::IniFile ini(u"turns.ini", "torture ini");
         ini.AddKey(u"Set", u"key", u"value", true);
         const qx::util::IniFile copy(ini);
         qx::util::IniFile again(u"turns.ini", "torture ini");
         again.view();
     }},
    {"ini.walked",
     [] {
         qx::util::IniFile ini(u"walk.ini");
         ini.AddKey(u"A", u"one", u"1", true);
         ini.AddKey(u"A\\B", u"two", u"2", true);
         for (qx::util::IniFileKeyIterator keys(ini, u"A"); keys.hasNext();)
             keys.next();
         for (qx::util::IniFileSetIterator sets(ini, u""); sets.hasNext();)
             sets.next();
     }},
    {"ini.missing",
     [] { mustFail([&] { qx::util::IniFile ini(u"no/such/folder/file.ini", nullptr, 1); }); }},
    {"registry.written and read",
     [] {
         auto values = key();
         values.setValue(u"text", u"a text that is kept in the registry");
         values.setValue(u"number", uint32_t{7});
         values.setValue(u"large", uint64_t{1} << 40);
         const signed char bytes[] = {1, 2, 3};
         values.setValue(u"bytes", bytes, 3);
         values.getValueString(u"TEXT");
         values.getValueUINT32(u"number");
         signed char buffer[8];
         values.getValue(u"bytes", buffer, 8);
         values.deleteValue(u"text");
         values.remove();
     }},
    {"registry.walked",
     [] {
         for (const char16_t* name : {u"one", u"two", u"three"}) {
             auto child = key().getSubkey(name);
             child.setValue(u"value", name);
         }
         for (const auto keys = key().getSubkeyIterator(); keys->hasNext();)
             keys->next()->getKey();
         for (const auto names = key().getSubkey(u"two").getValueIterator(); names->hasNext();)
             names->next();
         key().getParent().remove();
     }},
    {"registry.missing",
     [] { mustFail([&] { key().getSubkey(u"missing").getValueString(u"x"); }); }},
    {"properties.with a parent",
     [] {
         const auto parent = makeReference<qx::util::PropertySet>();
         parent->set(u"port", u"80");
         qx::util::PropertySet properties(parent);
         properties.set(u"host", u"example.org");
         properties.get(u"port");
         properties.getKeys();
         properties.remove(u"host");
     }},
    {"properties.across the boundary",
     [] {
         const auto properties = makeReference<qx::util::PropertySet>();
         properties->set(u"name", u"a value for another module");
         const auto component = qx::util::PropertySet::getPcom(properties);
         qx::util::pcom::PcomPropertySet other(component);
         other.get(u"name");
         other.set(u"another", u"value");
     }},
    {"properties.of an INI file and the registry",
     [] {
         qx::util::IniFile ini(u"properties.ini");
         ini.AddKey(u"Set", u"key", u"value", true);
         auto values = key();
         values.setValue(u"number", uint32_t{7});
         qx::util::propertiesOf(ini, u"Set", qx::util::propertiesOf(values))->get(u"number");
         values.remove();
     }},
    {"command line.parsed",
     [] {
         qx::util::CommandLineParser parser;
         parser.defineOption(u"port", 1, u"80", u"where to listen");
         parser.defineOption(u"files", 2, nullptr, u"what to read");
         parser.parse(u"program -port=8080 /files \"first file\" second --unknown parameter");
         parser.getValueString(u"port", 0);
         parser.getOption(u"files");
         parser.usage();
         parser.findMistake();
         qx::util::CommandLineParser copy(parser);
         copy.setIgnoreCase(true);
         copy.getParameter(0);
     }},
    {"command line.of main",
     [] {
         qx::util::CommandLineParser parser;
         parser.defineOption(u"verbose", 0);
         const char* const arguments[] = {"program", "--verbose", "--", "-x", "a b"};
         parser.parseArguments(5, arguments);
         parser.getParameter(0);
     }},
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
     [] { mustFail([&] { qx::net::TcpSocket client(String(u"127.0.0.1"), 9); }); }},
    {"net.file path", [] { qx::net::FilePath(String(u"/tmp/file")).getUNCPath(); }},
    {"net.share", [] { qx::net::FilePath(String(u"\\\\server\\share\\a\\b")).getPath(); }},
};

} // namespace

std::span<const Script> serviceScripts() { return scripts; }

} // namespace qxtorture
