#include "tests/torture/Script.h"

#include <filesystem>

namespace qxtorture {

using i18n::StringBundle;

namespace {

template <class Buffer, class Unit>
void fillBuffer() {
    static const Unit units[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17};
    Buffer buffer(units, 17, 40);
    std::fill_n(buffer.getWriteLock(200), 200, Unit{7});
    buffer.releaseWriteLock(180);
    const Buffer copy(buffer);
    buffer.freeExtra();
}

const char16_t ThingsPath[] = u"" QX_TEST_MODULES_DIR "/things.so";

// Bundles

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

class EntryKeeper : public pcom::Implements<Object, log::pcom::ILogProcessor> {
public:
    int32_t Process(log::pcom::ILogEntry* given) override {
        entry = given;
        return 0;
    }
    Reference<log::pcom::ILogEntry> entry;
};

constexpr i18n::CompiledText s_german[] = {{u"yes", u"ja"}, {u"prompt", u"Name: "}};
constexpr i18n::CompiledText s_swiss[] = {{u"yes", u"jo"}};
constexpr i18n::CompiledBundle s_de{u"de", s_german, 2, nullptr};
constexpr i18n::CompiledBundle s_deCh{u"de_CH", s_swiss, 1, &s_de};

int32_t createGerman(const GUID* iid, void** out) {
    return resultOf([&] { return i18n::createBundle(s_de)->QueryInterface(*iid, out); });
}

/// Offers a class as long as what it returns lives.
auto offer(const char16_t* progId, QXComClassFactory factory) {
    static constexpr GUID Class{0x746F7274, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
    auto revoke = [](const GUID* id) { QXComRevokeClassFactory(id); };
    throwIfFailed(QXComRegisterClassFactory(progId, &Class, factory));
    return std::unique_ptr<const GUID, decltype(revoke)>(&Class);
}

// Modules

/// Registers a module until what it returns goes, unless failures leave it so.
auto registerModule(const char16_t* path) {
    auto unregister = [](const char16_t* registered) {
        QXComUnregisterModule(registered);
        QXComFreeUnusedModules(0, nullptr);
    };
    throwIfFailed(QXComRegisterModule(path));
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

void createThing(const char16_t* progId) {
    Reference<IQXComparable> thing;
    const int32_t result =
        QXComCreateObjectByProgID(progId, nullptr, &IQXComparable::Iid, thing.putVoid());
    require((result >= 0) == (thing != nullptr), "an object beside a failure");
    throwIfFailed(result);
    uint32_t hash = 0;
    throwIfFailed(thing->HashCode(&hash));
}

} // namespace

void addComponentScripts(Scripts& scripts) {
    scripts.add("object.class by name", [] {
        for (const char16_t* name :
             {u"CQXString", u"CQXArrayList", u"CQXHashMap", u"CQXBigInteger", u"CQXMutex",
              u"CQXStringWriter", u"qx::IllegalStateException", u"qx::text::charset::CTBUTF8"})
            Reference<Object>(Class::forName(name)->createInstance())->toString();
    });
    scripts.addFailing("object.class that is missing",
                       [] { Class::forName(u"CQXNothingOfTheKind"); });
    scripts.add("object.exception thrown, copied and printed", [] {
        try {
            throwResult(result::NotFound, u"a description that is long enough to be kept");
        } catch (const Exception& failure) {
            const Exception copy(failure);
            copy.toString();
        }
        makeReference<Object>()->toString();
        resultOf([] { throw RangeErrorException(u"far beyond what there is in the list"); });
    });
    scripts.add("buffer.filled, compared and printed", [] {
        fillBuffer<util::RWByteBuffer, signed char>();
        fillBuffer<util::RWCharBuffer, char16_t>();
        fillBuffer<util::MTByteBuffer, signed char>();
        fillBuffer<util::MTCharBuffer, char16_t>();
        const util::ROCharBuffer left(u"left", 4, 0), right(u"left", 4, 0);
        left.equals(right);
        left.toString();
    });
    scripts.add("sync.locks and signals", [] {
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
    });
    scripts.add("ipc.semaphores and shared memory", [] {
        ipc::Semaphore two("torture semaphore", 2);
        const auto guard = makeReference<sync::Mutex>();
        ipc::SemaphoreR turn("torture turn", 1, guard);
        two.wait();
        const std::scoped_lock held(turn);
        const std::scoped_lock again(turn);
        two.signal();
        const ipc::SharedMemory block("torture block", 10000, QX_SHAREDMEM_CREATE, 0);
        *static_cast<char*>(block.get()) = 1;
    });
    scripts.add("exec.thread", [] {
        exec::Thread thread(exec::makeRunnable([] {}), u"a thread with a long name");
        thread.start();
        thread.join();
        const Reference<exec::Thread> copy(thread.clone());
    });
    scripts.add("exec.process", [] {
        exec::Process process(nullptr, u"cat -u", nullptr, nullptr, 0);
        const auto input = process.getOutputStream();
        input->write("through a child", 15);
        input->close();
        signed char bytes[32];
        const auto output = process.getInputStream();
        while (output->read(bytes, sizeof bytes) > 0) {
        }
        process.join();
    });
    scripts.addFailing("exec.process that cannot be started", [] {
        exec::Process process(u"/no/such/program", nullptr, u"/", nullptr, 0);
    });
    scripts.addFailing("exec.library that is missing",
                       [] { const exec::SharedLibrary library(u"/no/such/library.so"); });
    scripts.add("exec.library", [] { exec::SharedLibrary(u"libm.so.6").getSymbol(u"cos"); });
    scripts.add("bundle.message file", [] { useBundle(*messages(u"de_CH")); });
    scripts.add("bundle.message file with mistakes", [] {
        const i18n::MessageFile file("key = 1\nkey = 2\nno sign\nx = \\q\n\xFF = 3\n");
        require(file.mistakes().size() == 4, "other mistakes");
        mustFail([&] { file.createBundle(); });
    });
    scripts.add("bundle.message file on disk", [] {
        writeMessages();
        i18n::MessageFile::read(u"text.messages");
    });
    scripts.add("bundle.parents", [] {
        const auto bundle = i18n::createBundle(s_deCh);
        require(bundle->getString(u"yes").equals(u"jo"), "another text");
        useBundle(*bundle);
    });
    scripts.add("bundle.of a component", [] {
        i18n::ComStringBundle bundle(messages(u"de"), nullptr);
        useBundle(bundle);
        char16_t text[20];
        int32_t length = 20;
        throwIfFailed(bundle.LoadStringW(u"prompt", text, &length));
    });
    scripts.add("bundle.looked for", [] {
        const auto offered = offer(u"Orbelle.Torture.StringBundle.de", &createGerman);
        const i18n::Locale locale(u"de_CH");
        const auto bundle = StringBundle::getBundle(u"Torture", &locale);
        require(bundle->getString(u"yes").equals(u"ja"), "another text");
    });
    scripts.add("bundle.name", [] {
        const auto name =
            i18n::BundleName::fromComponentName(u"Orbelle.Torture.StringBundle.de_CH@euro");
        name->generalized()->generalized()->componentName();
        name->classId();
    });
    scripts.add("bundle.logged", [] {
        const auto text = makeReference<io::StringWriter>();
        const auto logger = log::Logger::create(u"torture");
        logger->setProcessor(log::BasicLogWriter::create(text));
        log::StringBundleLogger out(messages(u"de"), logger);
        collections::List<Object> arguments(makeReference<collections::pcom::ArrayList>());
        arguments.add(makeReference<String>(u"a file"));
        arguments.add(makeReference<String>(u"that is missing"));
        out.log(1, u"file.open", arguments);
        out.log(1, u"prompt");
    });
    scripts.add("log.through a component", [] {
        const auto component = makeReference<EntryKeeper>();
        const auto logger = log::Logger::create(u"torture");
        logger->enableField(u"sequence", true);
        logger->setProcessor(log::pcom::PcomProcessor::create(component));
        logger->log(1, u"through a component");
        require(component->entry != nullptr, "an entry is lost");
    });
    scripts.addFailing("transport.unknown name",
                       [] { net::Transport::get(u"Torture.No.Transport"); });
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
        createThing(u"Test.Thing");
        createThing(u"test.thing.1");
    });
    scripts.add("component.unknown", [] {
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
