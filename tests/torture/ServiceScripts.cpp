#include "tests/torture/Script.h"

#include <filesystem>

namespace qxtorture {

using i18n::StringBundle;

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

struct EntryKeeper : pcom::Implements<Object, log::pcom::ILogProcessor> {
    int32_t Process(log::pcom::ILogEntry* given) override {
        entry = given;
        return 0;
    }
    Reference<log::pcom::ILogEntry> entry;
};

const char Messages[] = "# of a program\n"
                        "file.open   = Cannot open {0}: {1}\n"
                        "prompt      = Name:\\u0020\n"
                        "long        = a text that goes on \\\n"
                        "              in a second line\n"
                        "key with \\= = Gr\xC3\xBC\xC3\x9F"
                        "e\n";

Reference<i18n::StringMapBundle> messages(const char16_t* locale) {
    return i18n::MessageFile(Messages).createBundle(makeReference<i18n::Locale>(locale).get());
}

void writeMessages() {
    io::FileOutputStream(u"text.messages", false).write(Messages, sizeof Messages - 1);
}

void useBundle(StringBundle& bundle) {
    require(bundle.getString(u"prompt").equals(u"Name: "), "another text");
    mustFail([&] { bundle.getString(u"nothing"); });
    const auto keys = bundle.getKeys();
    for (const auto& key : *keys)
        key->toString();
    String key, text;
    int32_t count = 0;
    throwIfFailed(bundle.GetCount(&count));
    for (int32_t i = 0; i < count; ++i)
        throwIfFailed(bundle.GetResource(i, &key, &text));
}

constexpr i18n::CompiledText s_german[] = {{u"yes", u"ja"}, {u"prompt", u"Name: "}};
constexpr i18n::CompiledText s_swiss[] = {{u"yes", u"jo"}};
constexpr i18n::CompiledBundle s_de{u"de", s_german, 2, nullptr};
constexpr i18n::CompiledBundle s_deCh{u"de_CH", s_swiss, 1, &s_de};

int32_t createGerman(const GUID* iid, void** out) {
    return resultOf([&] { return i18n::createBundle(s_de)->QueryInterface(*iid, out); });
}

const char16_t ThingsPath[] = u"" QX_TEST_MODULES_DIR "/things.so";

/// Registers a module until what it returns goes, unless failures leave it so.
auto registerModule(const char16_t* path) {
    throwIfFailed(QXComRegisterModule(path));
    auto unregister = [](const char16_t* registered) {
        QXComUnregisterModule(registered);
        QXComFreeUnusedModules(0, nullptr);
    };
    return std::unique_ptr<const char16_t, decltype(unregister)>(path);
}

/// All classes of the module are entered or none.
void requireWholeEntries() {
    const auto isThere = [](const char16_t* path) {
        return util::RegistryKey(QX_HKEY_CLASSES_64, path).valueExists();
    };
    for (const char16_t* path : {u"Test.Thing\\CLSID", u"Test.Thing.1\\CLSID"})
        require(isThere(path) == isThere(u"Test.Other.1\\CLSID"), "entered by half");
}

} // namespace

void addServiceScripts(Scripts& scripts) {
    scripts.add("path.taken apart", [] {
        const util::FilePath path(String(u"/usr/share/../lib/./libqx.so.1"));
        path.getName();
        path.getBaseName();
        path.getExtension();
        path.getParentPath();
        path.getChildPath(u"child");
        path.getAbsolutePath();
        path.getCanonicalPath();
        util::FilePath::getCurrentDir();
        util::FilePath::getTempDir();
        net::FilePath(u"/tmp/file").getUNCPath();
        net::FilePath(u"\\\\server\\share\\a\\b").getPath();
    });
    scripts.add("ini.written, read and walked, in turns with others too", [] {
        util::IniFile ini(u"torture.ini");
        ini.AddKey(u"Server", u"port", u"8080", true);
        ini.AddKey(u"Server\\Limits", u"connections", u"a value that is a little longer", true);
        ini.AddKey(u"Client", u"name", u"somebody", true);
        char16_t value[40];
        ini.GetValue(u"SERVER", u"PORT", value, 40);
        const util::IniFileView view = ini.view();
        view.find(u"client", u"name");
        for (util::IniFileKeyIterator keys(ini, u"Server"); keys.hasNext();)
            keys.next();
        for (util::IniFileSetIterator sets(ini, u""); sets.hasNext();)
            sets.next();
        ini.DeleteKey(u"Client", u"name");
        ini.DeleteSet(u"Client");
        mustFail([] { util::IniFile missing(u"no/such/folder/file.ini", nullptr, 1); });
        util::IniFile first(u"turns.ini", "torture ini");
        first.AddKey(u"Set", u"key", u"value", true);
        const util::IniFile copy(first);
        util::IniFile again(u"turns.ini", "torture ini");
        again.view();
    });
    scripts.add("registry.written, read and walked", [] {
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
        for (const char16_t* name : {u"one", u"two", u"three"})
            values.getSubkey(name).setValue(u"value", name);
        for (const auto keys = values.getSubkeyIterator(); keys->hasNext();)
            keys->next()->getKey();
        for (const auto names = values.getValueIterator(); names->hasNext();)
            names->next();
        mustFail([&] { values.getSubkey(u"missing").getValueString(u"x"); });
        values.getParent().remove();
    });
    scripts.add("properties.of every kind", [] {
        const auto parent = makeReference<util::PropertySet>();
        parent->set(u"port", u"80");
        const auto properties = makeReference<util::PropertySet>(parent);
        properties->set(u"host", u"example.org");
        properties->get(u"port");
        properties->getKeys();
        util::pcom::PcomPropertySet other(util::PropertySet::getPcom(properties));
        other.get(u"host");
        other.set(u"another", u"value");
        properties->remove(u"host");
        util::IniFile ini(u"properties.ini");
        ini.AddKey(u"Set", u"key", u"value", true);
        auto values = key();
        values.setValue(u"number", uint32_t{7});
        util::propertiesOf(ini, u"Set", util::propertiesOf(values))->get(u"number");
        values.remove();
    });
    scripts.add("command line", [] {
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
        const char* const arguments[] = {"program", "--port", "1", "--", "-x", "a b"};
        copy.parseArguments(6, arguments);
        copy.getParameter(0);
    });
    scripts.add("log.XML, fanned out, in line and of a bundle", [] {
        const auto fan = log::MultiProcessor::create();
        const auto text = makeReference<io::StringWriter>();
        const auto plain = log::BasicLogWriter::create(text);
        fan->addProcessor(plain);
        fan->addProcessor(log::LevelFilter::create(log::BasicLogWriter::create(text), 5));
        fan->addProcessor(log::XmlLogWriter::create(text, log::XmlLogWriter::Escaping::WellFormed));
        logTo(fan);
        const auto logger = log::Logger::create();
        logger->setProcessor(plain);
        log::SyncLogger(logger).log(1, u"in line");
        log::TimeStamp().toString();
        log::StringBundleLogger out(messages(u"de"), logger);
        collections::List<Object> arguments(makeReference<collections::pcom::ArrayList>());
        arguments.add(makeReference<String>(u"a file"));
        arguments.add(makeReference<String>(u"that is missing"));
        out.log(1, u"file.open", arguments);
        out.log(1, u"prompt");
    });
    scripts.add("log.queued without a worker, and through a component", [] {
        const auto text = makeReference<io::StringWriter>();
        logTo(log::AsyncProcessor::create(log::BasicLogWriter::create(text), 0));
        log::AsyncOptions options;
        options.capacity = 1;
        options.overflow = log::AsyncOptions::Overflow::DropOldest;
        logTo(log::AsyncProcessor::create(log::BasicLogWriter::create(text), 0, options));
        const auto component = makeReference<EntryKeeper>();
        logTo(log::pcom::PcomProcessor::create(component));
        require(component->entry != nullptr, "an entry is lost");
    });
    scripts.add("locale and uri.taken apart", [] {
        const i18n::Locale locale(u"de_CH.UTF-8@euro");
        locale.toString();
        const Reference<Object> copy(locale.clone());
        copy->equals(locale);
        i18n::Locale::getDefault();
        net::URI uri(u"svc://anna:pw@example.org:8080/a%20b/c?x=1&y=two%26three");
        uri.getUser(true);
        uri.getPath(true);
        uri.getQueryValue(u"y", true);
        uri.setQueryPair(u"name with blanks", u"v & w", true);
        uri.removeQueryPair(u"x");
        const net::URI same(uri);
        same.toString();
        net::URI opaque(u"urn:something:opaque");
        opaque.getSchemeSpecificPart(false);
        opaque.setPath(u"a path/with \u00E4", true);
        opaque.toString();
    });
    // Made, used and given up step by step.
    scripts.add("net.server by codes, on two addresses", [] {
        net::TcpServerSocket2* made = nullptr;
        if (net::TcpServerSocket2::createTcpServerSocket2(QX_AF_UNSPEC, QX_SOCK_STREAM, 0, &made))
            throw std::bad_alloc();
        const std::unique_ptr<net::TcpServerSocket2> server(made);
        if (server->bindListAddAddrInfo("127.0.0.1,127.0.0.2", nullptr, 17457) == 0 &&
            server->bind() == 0 && server->listen(5) == 0)
            static_cast<void>(server->saveBoundAddresses());
        char text[512];
        uint32_t length = sizeof text;
        static_cast<void>(server->boundListAddressesDiagnosticStrA(text, &length));
    });
    scripts.add("net.streams", [] {
        net::TcpServerSocket server(17458, 5);
        net::TcpSocket client(String(u"127.0.0.1"), 17458);
        const auto connection = server.accept();
        client.setSoTimeout(1000);
        client.getOutputStream()->write("ping", 4);
        signed char bytes[4];
        connection->getInputStream()->read(bytes, 4);
        client.getInheritanceId();
        mustFail([] { net::TcpSocket nobody(String(u"127.0.0.1"), 9); });
        mustFail([] { net::Transport::get(u"Torture.No.Transport"); });
    });
    scripts.add("sync.locks, signals and shared memory", [] {
        sync::Mutex mutex("a lock of the torture program");
        sync::Mutex common("torture mutex", QX_SYNC_SHARED);
        sync::ReaderWriterLock lock;
        const std::scoped_lock held(mutex, common, lock);
        sync::Condition condition("a condition");
        const sync::Condition::Holder holder(condition);
        mustFail([&] { condition.wait(1); });
        condition.broadcast();
        sync::Event().signal();
        sync::Gate().open();
        sync::Semaphore(1).wait();
        ipc::Semaphore two("torture semaphore", 2);
        const auto guard = makeReference<sync::Mutex>();
        ipc::SemaphoreR turn("torture turn", 1, guard);
        two.wait();
        const std::scoped_lock taken(turn);
        const std::scoped_lock again(turn);
        two.signal();
        const ipc::SharedMemory block("torture block", 10000, QX_SHAREDMEM_CREATE, 0);
        *static_cast<char*>(block.get()) = 1;
    });
    scripts.add("exec.thread, library and process", [] {
        exec::Thread thread(exec::makeRunnable([] {}), u"a thread with a long name");
        thread.start();
        thread.join();
        const Reference<exec::Thread> copy(thread.clone());
        exec::SharedLibrary(u"libm.so.6").getSymbol(u"cos");
        mustFail([] { const exec::SharedLibrary library(u"/no/such/library.so"); });
        exec::Process process(nullptr, u"cat -u", nullptr, nullptr, 0);
        const auto input = process.getOutputStream();
        input->write("through a child", 15);
        input->close();
        signed char bytes[32];
        const auto output = process.getInputStream();
        while (output->read(bytes, sizeof bytes) > 0) {
        }
        process.join();
        mustFail([] { exec::Process none(u"/no/such/program", nullptr, u"/", nullptr, 0); });
    });
    scripts.add("bundle.of a file, with a parent, of a component", [] {
        useBundle(*messages(u"de_CH"));
        const i18n::MessageFile file("key = 1\nkey = 2\nno sign\nx = \\q\n\xFF = 3\n");
        require(file.mistakes().size() == 4, "other mistakes");
        mustFail([&] { file.createBundle(); });
        writeMessages();
        i18n::MessageFile::read(u"text.messages");
        const auto compiled = i18n::createBundle(s_deCh);
        require(compiled->getString(u"yes").equals(u"jo"), "another text");
        useBundle(*compiled);
        i18n::ComStringBundle bundle(messages(u"de"), nullptr);
        useBundle(bundle);
        char16_t text[20];
        int32_t length = 20;
        throwIfFailed(bundle.LoadStringW(u"prompt", text, &length));
    });
    scripts.add("bundle.looked for", [] {
        static constexpr GUID Class{0x746F7274, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
        const auto name = i18n::BundleName::fromComponentName(u"Orbelle.Torture.StringBundle.de");
        throwIfFailed(
            QXComRegisterClassFactory(name->componentName().getData(), &Class, createGerman));
        const std::unique_ptr<const GUID, int32_t (*)(const GUID*)> registered(
            &Class, QXComRevokeClassFactory);
        const i18n::Locale locale(u"de_CH@euro");
        const auto bundle = StringBundle::getBundle(u"Torture", &locale);
        require(bundle->getString(u"yes").equals(u"ja"), "another text");
    });
    scripts.add(
        "component.registered and taken out",
        [] {
            throwIfFailed(QXComRegisterModule(ThingsPath));
            throwIfFailed(QXComUnregisterModule(ThingsPath));
            throwIfFailed(QXComFreeUnusedModules(0, nullptr));
        },
        requireWholeEntries);
    scripts.add("component.created", [] {
        const auto things = registerModule(ThingsPath);
        for (const char16_t* const name : {u"Test.Thing", u"test.thing.1"}) {
            Reference<IQXComparable> thing;
            const int32_t result =
                QXComCreateObjectByProgID(name, nullptr, &IQXComparable::Iid, thing.putVoid());
            require((result >= 0) == (thing != nullptr), "an object beside a failure");
            throwIfFailed(result);
            uint32_t hash = 0;
            throwIfFailed(thing->HashCode(&hash));
        }
        GUID classId;
        require(QXComClassIDFromProgID(u"Torture.Nothing", &classId) < 0, "a class of no name");
    });
#ifdef QX_TEST_MODULE_DIR
    scripts.add("component.codec of a module", [] {
        const auto codecs = registerModule(u"" QX_TEST_MODULE_DIR "/qxcodecs.so");
        const String text(u"\u65E5\u672C");
        require(text.equals(String(text.getBytes(u"CP932"), -1, u"CP932")), "another text");
    });
    scripts.add("component.transport of a module", [] {
        const auto tcp = registerModule(u"" QX_TEST_MODULE_DIR "/qxtransport_tcp.so");
        util::PropertySet place;
        place.set(u"host", u"127.0.0.1");
        place.set(u"port", u"0");
        const auto transport = net::Transport::get(u"Orbelle.Transport.TCP");
        const auto acceptor = transport->createAcceptor(place);
        place.set(u"port", place.get(u"boundPort"));
        const auto client = transport->createConnector(place)->connect();
        const auto server = acceptor->accept();
        io::ByteBuffer out(reinterpret_cast<const signed char*>("bytes"), 5u, QX_ENDIAN_BIG);
        require(client->write(out) == 5, "fewer bytes than were given");
        io::ByteBuffer in(10u, QX_ENDIAN_BIG);
        require(server->read(in) == 5, "fewer bytes than there are");
    });
    scripts.add("component.bundle of a message file", [] {
        writeMessages();
        const i18n::BundleName name{u"Torture", u"de"};
        const auto id = util::Guid(name.classId()).toString();
        util::RegistryKey key(QX_HKEY_CLASSES_64, u"CLSID\\"_qs + id);
        key.setValue(u"MessageFile", String(std::filesystem::absolute("text.messages").c_str()));
        key.getSubkey(u"ProgID").setValue(name.componentName());
        key.getSubkey(u"InprocServer32").setValue(u"" QX_TEST_MODULE_DIR "/qxmessages.so");
        util::RegistryKey(QX_HKEY_CLASSES_64, name.componentName() + u"\\CLSID"_qs).setValue(id);
        const i18n::Locale locale(u"de");
        StringBundle::getBundle(u"Torture", &locale)->getString(u"prompt");
        QXComFreeUnusedModules(0, nullptr);
    });
#endif
}

} // namespace qxtorture
