#include "tests/torture/Script.h"

namespace qxtorture {

namespace {

const util::RegistryKey key() { return {QX_HKEY_USER, u"Torture\\Key"}; }

void logTo(log::ILogProcessor* processor) {
    const auto logger = log::Logger::create(u"torture");
    for (const char16_t* field : {u"sequence", u"thread", u"timestamp"})
        logger->enableField(field, true);
    logger->setProcessor(processor);
    logger->log(1, u"a text <with> what XML & others escape");
    logger->log(String(u"and another one without a level"));
}

/// A server on loopback addresses, made, used and given up step by step.
void serveOn(const char* hosts) {
    net::TcpServerSocket2* made = nullptr;
    if (net::TcpServerSocket2::createTcpServerSocket2(QX_AF_UNSPEC, QX_SOCK_STREAM, 0, &made))
        throw std::bad_alloc();
    const std::unique_ptr<net::TcpServerSocket2> server(made);
    if (server->bindListAddAddrInfo(hosts, nullptr, 17457) == 0 && server->bind() == 0 &&
        server->listen(5) == 0)
        static_cast<void>(server->saveBoundAddresses());
    char text[512];
    uint32_t length = sizeof text;
    static_cast<void>(server->boundListAddressesDiagnosticStrA(text, &length));
}

} // namespace

void addServiceScripts(Scripts& scripts) {
    scripts.add("ini.written and read", [] {
        util::IniFile ini(u"torture.ini");
        ini.AddKey(u"Server", u"port", u"8080", true);
        ini.AddKey(u"Server\\Limits", u"connections", u"a value that is a little longer", true);
        ini.AddKey(u"Client", u"name", u"somebody", true);
        char16_t value[40];
        ini.GetValue(u"SERVER", u"PORT", value, 40);
        ini.view().find(u"client", u"name");
        ini.DeleteKey(u"Client", u"name");
        ini.DeleteSet(u"Client");
    });
    scripts.add("ini.in turns with others", [] {
        util::IniFile ini(u"turns.ini", "torture ini");
        ini.AddKey(u"Set", u"key", u"value", true);
        const util::IniFile copy(ini);
        util::IniFile again(u"turns.ini", "torture ini");
        again.view();
    });
    scripts.add("ini.walked", [] {
        util::IniFile ini(u"walk.ini");
        ini.AddKey(u"A", u"one", u"1", true);
        ini.AddKey(u"A\\B", u"two", u"2", true);
        for (util::IniFileKeyIterator keys(ini, u"A"); keys.hasNext();)
            keys.next();
        for (util::IniFileSetIterator sets(ini, u""); sets.hasNext();)
            sets.next();
    });
    scripts.addFailing("ini.missing",
                       [] { util::IniFile ini(u"no/such/folder/file.ini", nullptr, 1); });
    scripts.add("registry.written and read", [] {
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
    });
    scripts.add("registry.walked", [] {
        for (const char16_t* name : {u"one", u"two", u"three"}) {
            auto child = key().getSubkey(name);
            child.setValue(u"value", name);
        }
        for (const auto keys = key().getSubkeyIterator(); keys->hasNext();)
            keys->next()->getKey();
        for (const auto names = key().getSubkey(u"two").getValueIterator(); names->hasNext();)
            names->next();
        key().getParent().remove();
    });
    scripts.addFailing("registry.missing",
                       [] { key().getSubkey(u"missing").getValueString(u"x"); });
    scripts.add("properties.with a parent", [] {
        const auto parent = makeReference<util::PropertySet>();
        parent->set(u"port", u"80");
        util::PropertySet properties(parent);
        properties.set(u"host", u"example.org");
        properties.get(u"port");
        properties.getKeys();
        properties.remove(u"host");
    });
    scripts.add("properties.across the boundary", [] {
        const auto properties = makeReference<util::PropertySet>();
        properties->set(u"name", u"a value for another module");
        const auto component = util::PropertySet::getPcom(properties);
        util::pcom::PcomPropertySet other(component);
        other.get(u"name");
        other.set(u"another", u"value");
    });
    scripts.add("properties.of an INI file and the registry", [] {
        util::IniFile ini(u"properties.ini");
        ini.AddKey(u"Set", u"key", u"value", true);
        auto values = key();
        values.setValue(u"number", uint32_t{7});
        util::propertiesOf(ini, u"Set", util::propertiesOf(values))->get(u"number");
        values.remove();
    });
    scripts.add("command line.parsed", [] {
        util::CommandLineParser parser;
        parser.defineOption(u"port", 1, u"80", u"where to listen");
        parser.defineOption(u"files", 2, nullptr, u"what to read");
        parser.parse(u"program -port=8080 /files \"first file\" second --unknown parameter");
        parser.getValueString(u"port", 0);
        parser.getOption(u"files");
        parser.usage();
        parser.findMistake();
        util::CommandLineParser copy(parser);
        copy.setIgnoreCase(true);
        copy.getParameter(0);
    });
    scripts.add("command line.of main", [] {
        util::CommandLineParser parser;
        parser.defineOption(u"verbose", 0);
        const char* const arguments[] = {"program", "--verbose", "--", "-x", "a b"};
        parser.parseArguments(5, arguments);
        parser.getParameter(0);
    });
    scripts.add("log.plain text",
                [] { logTo(log::BasicLogWriter::create(makeReference<io::StringWriter>())); });
    scripts.add("log.XML", [] {
        logTo(log::XmlLogWriter::create(makeReference<io::StringWriter>(),
                                        log::XmlLogWriter::Escaping::WellFormed));
    });
    scripts.add("log.filtered and fanned out", [] {
        const auto fan = log::MultiProcessor::create();
        const auto text = makeReference<io::StringWriter>();
        fan->addProcessor(log::BasicLogWriter::create(text));
        fan->addProcessor(log::LevelFilter::create(log::BasicLogWriter::create(text), 5));
        logTo(fan);
    });
    scripts.add("log.queued without a worker", [] {
        const auto text = makeReference<io::StringWriter>();
        logTo(log::AsyncProcessor::create(log::BasicLogWriter::create(text), 0));
        log::AsyncOptions options;
        options.capacity = 1;
        options.overflow = log::AsyncOptions::Overflow::DropOldest;
        logTo(log::AsyncProcessor::create(log::BasicLogWriter::create(text), 0, options));
    });
    scripts.add("log.in line", [] {
        const auto logger = log::Logger::create();
        logger->setProcessor(log::BasicLogWriter::create(makeReference<io::StringWriter>()));
        log::SyncLogger(logger).log(1, u"in line");
    });
    scripts.add("log.time stamp", [] { log::TimeStamp().toString(); });
    scripts.add("locale.taken apart", [] {
        const i18n::Locale locale(u"de_CH.UTF-8@euro");
        locale.toString();
        const Reference<Object> copy(locale.clone());
        copy->equals(locale);
        i18n::Locale::getDefault();
    });
    scripts.add("uri.read and printed", [] {
        net::URI uri(u"svc://anna:pw@example.org:8080/a%20b/c?x=1&y=two%26three");
        uri.getUser(true);
        uri.getPath(true);
        uri.getQueryValue(u"y", true);
        uri.setQueryPair(u"name with blanks", u"v & w", true);
        uri.removeQueryPair(u"x");
        const net::URI copy(uri);
        copy.toString();
        net::URI opaque(u"urn:something:opaque");
        opaque.getSchemeSpecificPart(false);
        opaque.setPath(u"a path/with \u00E4", true);
        opaque.toString();
    });
    scripts.add("net.server by codes", [] { serveOn("127.0.0.1"); });
    scripts.add("net.server on two addresses", [] { serveOn("127.0.0.1,127.0.0.2"); });
    scripts.add("net.streams", [] {
        net::TcpServerSocket server(17458, 5);
        net::TcpSocket client(String(u"127.0.0.1"), 17458);
        const auto connection = server.accept();
        client.setSoTimeout(1000);
        client.getOutputStream()->write("ping", 4);
        signed char bytes[4];
        connection->getInputStream()->read(bytes, 4);
        client.getInheritanceId();
    });
    scripts.addFailing("net.nobody listens",
                       [] { net::TcpSocket client(String(u"127.0.0.1"), 9); });
    scripts.add("net.paths", [] {
        net::FilePath(u"/tmp/file").getUNCPath();
        net::FilePath(u"\\\\server\\share\\a\\b").getPath();
    });
}

} // namespace qxtorture
