#include "tests/torture/Script.h"

#include <algorithm>
#include <filesystem>
#include <mutex>

#include <qx/collections/List.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/core/Comparable.h>
#include <qx/core/Literal.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/runtime/Class.h>
#include <qx/exec/CallableRunnable.h>
#include <qx/exec/Process.h>
#include <qx/exec/SharedLibrary.h>
#include <qx/exec/Thread.h>
#include <qx/i18n/BundleFactory.h>
#include <qx/i18n/BundleName.h>
#include <qx/i18n/ComStringBundle.h>
#include <qx/i18n/Locale.h>
#include <qx/i18n/MessageFile.h>
#include <qx/i18n/StringBundleLogger.h>
#include <qx/i18n/StringMapBundle.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/Channels.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/InputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/io/StringWriter.h>
#include <qx/ipc/Semaphore.h>
#include <qx/ipc/SemaphoreR.h>
#include <qx/ipc/SharedMemory.h>
#include <qx/log/BasicLogWriter.h>
#include <qx/log/Logger.h>
#include <qx/log/pcom/ILogEntry.h>
#include <qx/log/pcom/ILogProcessor.h>
#include <qx/log/pcom/PcomProcessor.h>
#include <qx/net/Transport.h>
#include <qx/net/pcom/AbstractAcceptor.h>
#include <qx/net/pcom/AbstractConnector.h>
#include <qx/net/pcom/AbstractTransport.h>
#include <qx/net/pcom/PcomTransport.h>
#include <qx/platform/module.h>
#include <qx/platform/shared.h>
#include <qx/sync/Condition.h>
#include <qx/sync/Event.h>
#include <qx/sync/Gate.h>
#include <qx/sync/Mutex.h>
#include <qx/sync/ReaderWriterLock.h>
#include <qx/sync/Semaphore.h>
#include <qx/util/Guid.h>
#include <qx/util/buffer/MTBuffer.h>
#include <qx/util/buffer/ROBuffer.h>
#include <qx/util/buffer/RWBuffer.h>
#include <qx/util/config/PropertySet.h>
#include <qx/util/config/RegistryKey.h>
#include <qx/util/config/pcom/IPropertySet.h>

namespace qxtorture {

using namespace qx::literals;
using qx::makeReference;
using qx::Reference;
using qx::String;
using qx::throwIfFailed;
using qx::i18n::StringBundle;

namespace {

template <class Lock>
void lockAndUnlock() {
    Lock lock("a lock of the torture program");
    lock.wait();
    lock.signal();
}

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

Reference<qx::i18n::StringMapBundle> messages(const char16_t* locale) {
    return qx::i18n::MessageFile(Messages).createBundle(
        makeReference<qx::i18n::Locale>(locale).get());
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

class EntryKeeper : public qx::pcom::Implements<qx::Object, qx::log::pcom::ILogProcessor> {
public:
    int32_t Process(qx::log::pcom::ILogEntry* given) override {
        entry = given;
        return 0;
    }
    Reference<qx::log::pcom::ILogEntry> entry;
};

constexpr qx::i18n::CompiledText s_german[] = {{u"yes", u"ja"}, {u"prompt", u"Name: "}};
constexpr qx::i18n::CompiledText s_swiss[] = {{u"yes", u"jo"}};
constexpr qx::i18n::CompiledBundle s_de{u"de", s_german, 2, nullptr};
constexpr qx::i18n::CompiledBundle s_deCh{u"de_CH", s_swiss, 1, &s_de};

int32_t createGerman(const qx::GUID* iid, void** out) {
    return qx::resultOf([&] { return qx::i18n::createBundle(s_de)->QueryInterface(*iid, out); });
}

/// A class that the process offers as long as this lives.
class Offer {
public:
    Offer(const char16_t* progId, QXComClassFactory factory) {
        throwIfFailed(QXComRegisterClassFactory(progId, &s_class, factory));
    }
    ~Offer() { QXComRevokeClassFactory(&s_class); }
    Offer(const Offer&) = delete;
    Offer& operator=(const Offer&) = delete;

private:
    static constexpr qx::GUID s_class{0x746F7274, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
};

// Transports

class Connector : public qx::net::pcom::AbstractConnector {
public:
    Reference<qx::io::IChannel> connect() override {
        return qx::io::Channels::adaptStreams(makeReference<qx::io::ByteArrayInputStream>(
                                                  reinterpret_cast<const signed char*>("bytes"), 5)
                                                  .get(),
                                              makeReference<qx::io::ByteArrayOutputStream>().get());
    }
};

class Acceptor : public qx::net::pcom::AbstractAcceptor {
public:
    Reference<qx::io::IChannel> accept() override { return Connector().connect(); }
};

class MemoryTransport : public qx::net::pcom::AbstractTransport {
public:
    Reference<qx::net::IConnector>
    createConnector(const qx::util::PropertySet& properties) override {
        properties.get(u"host");
        return makeReference<Connector>();
    }
    Reference<qx::net::IAcceptor> createAcceptor(const qx::util::PropertySet& properties) override {
        const auto text = makeReference<String>(properties.get(u"host"_qs) + u":7"_qs);
        throwIfFailed(
            qx::util::PropertySet::getPcom(&properties)->Set(u"bound", text->GetUnknown()));
        return makeReference<Acceptor>();
    }
};

int32_t createTransport(const qx::GUID* iid, void** out) {
    return qx::resultOf(
        [&] { return makeReference<MemoryTransport>()->QueryInterface(*iid, out); });
}

void readFrom(qx::io::IChannel& channel) {
    qx::io::ByteBuffer buffer(10u, QX_ENDIAN_BIG);
    require(channel.read(buffer) == 5, "fewer bytes than there are");
}

// Modules

/// Registered from its beginning to its end, where failures may leave it so.
class RegisteredModule {
public:
    explicit RegisteredModule(const char16_t* path) : m_path(path) {
        throwIfFailed(QXComRegisterModule(path));
    }
    ~RegisteredModule() {
        QXComUnregisterModule(m_path);
        QXComFreeUnusedModules(0, nullptr);
    }
    RegisteredModule(const RegisteredModule&) = delete;
    RegisteredModule& operator=(const RegisteredModule&) = delete;

private:
    const char16_t* const m_path;
};

String absolutePath(const char* path) {
    return String(std::filesystem::absolute(path).string().c_str());
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

const Script scripts[] = {
    {"object.class by name",
     [] {
         for (const char16_t* name :
              {u"CQXString", u"CQXArrayList", u"CQXHashMap", u"CQXBigInteger", u"CQXMutex",
               u"CQXStringWriter", u"qx::IllegalStateException", u"qx::text::charset::CTBUTF8"})
             qx::Reference<qx::Object>(qx::Class::forName(name)->createInstance())->toString();
     }},
    {"object.class that is missing",
     [] { mustFail([&] { qx::Class::forName(u"CQXNothingOfTheKind"); }); }},
    {"object.printable form", [] { makeReference<qx::Object>()->toString(); }},
    {"object.exception thrown and copied",
     [] {
         try {
             qx::throwResult(qx::result::NotFound, u"a description that is long enough to be kept");
         } catch (const qx::Exception& failure) {
             const qx::Exception copy(failure);
             copy.toString();
         }
     }},
    {"object.exception behind the boundary",
     [] {
         qx::resultOf(
             [] { throw qx::RangeErrorException(u"far beyond what there is in the list"); });
     }},
    {"buffer.bytes", [] { fillBuffer<qx::util::RWByteBuffer, signed char>(); }},
    {"buffer.units", [] { fillBuffer<qx::util::RWCharBuffer, char16_t>(); }},
    {"buffer.guarded bytes", [] { fillBuffer<qx::util::MTByteBuffer, signed char>(); }},
    {"buffer.guarded units", [] { fillBuffer<qx::util::MTCharBuffer, char16_t>(); }},
    {"buffer.compared and printed",
     [] {
         const qx::util::ROCharBuffer left(u"left", 4, 0), right(u"left", 4, 0);
         left.equals(right);
         left.toString();
     }},
    {"sync.mutex", lockAndUnlock<qx::sync::Mutex>},
    {"sync.readers and writers",
     [] {
         lockAndUnlock<qx::sync::ReaderWriterLock>();
         qx::sync::ReaderWriterLock lock;
         lock.waitShared();
         lock.signalShared();
     }},
    {"sync.condition",
     [] {
         qx::sync::Condition condition("a condition");
         const qx::sync::Condition::Holder holder(condition);
         mustFail([&] { condition.wait(1); });
         condition.broadcast();
     }},
    {"sync.event, gate and semaphore",
     [] {
         qx::sync::Event event;
         event.signal();
         event.wait();
         qx::sync::Gate gate;
         gate.open();
         gate.wait();
         qx::sync::Semaphore semaphore(1);
         semaphore.wait();
         semaphore.signal();
     }},
    {"sync.mutex of all processes",
     [] {
         qx::sync::Mutex lock("torture mutex", QX_SYNC_SHARED);
         const std::scoped_lock held(lock);
     }},
    {"ipc.semaphore",
     [] {
         qx::ipc::Semaphore semaphore("torture semaphore", 2);
         semaphore.wait();
         semaphore.tryWait();
         semaphore.signal();
         semaphore.signal();
     }},
    {"ipc.semaphore taken again",
     [] {
         const auto guard = makeReference<qx::sync::Mutex>();
         qx::ipc::SemaphoreR semaphore("torture turn", 1, guard);
         semaphore.wait();
         semaphore.wait();
         semaphore.signal();
         semaphore.signal();
     }},
    {"ipc.shared memory",
     [] {
         const qx::ipc::SharedMemory block("torture block", 10000, QX_SHAREDMEM_CREATE, 0);
         *static_cast<char*>(block.get()) = 1;
     }},
    {"exec.thread",
     [] {
         qx::exec::Thread thread(qx::exec::makeRunnable([] {}), u"a thread with a long name");
         thread.start();
         thread.join();
         const qx::Reference<qx::exec::Thread> copy(thread.clone());
     }},
    {"exec.process",
     [] {
         qx::exec::Process process(nullptr, u"cat -u", nullptr, nullptr, 0);
         const auto input = process.getOutputStream();
         input->write("through a child", 15);
         input->close();
         signed char bytes[32];
         const auto output = process.getInputStream();
         while (output->read(bytes, sizeof bytes) > 0) {
         }
         process.join();
     }},
    {"exec.process that cannot be started",
     [] {
         mustFail(
             [&] { qx::exec::Process process(u"/no/such/program", nullptr, u"/", nullptr, 0); });
     }},
    {"exec.library that is missing",
     [] { mustFail([&] { const qx::exec::SharedLibrary library(u"/no/such/library.so"); }); }},
    {"exec.library", [] { qx::exec::SharedLibrary(u"libm.so.6").getSymbol(u"cos"); }},
    {"bundle.message file", [] { useBundle(*messages(u"de_CH")); }},
    {"bundle.message file with mistakes",
     [] {
         const qx::i18n::MessageFile file("key = 1\nkey = 2\nno sign\nx = \\q\n\xFF = 3\n");
         require(file.mistakes().size() == 4, "other mistakes");
         mustFail([&] { file.createBundle(); });
     }},
    {"bundle.message file on disk",
     [] {
         {
             qx::io::FileOutputStream(String(u"text.messages"), false)
                 .write(Messages, sizeof Messages - 1);
         }
         qx::i18n::MessageFile::read(u"text.messages");
     }},
    {"bundle.parents",
     [] {
         const auto bundle = qx::i18n::createBundle(s_deCh);
         require(bundle->getString(u"yes").equals(u"jo"), "another text");
         useBundle(*bundle);
     }},
    {"bundle.of a component",
     [] {
         qx::i18n::ComStringBundle bundle(messages(u"de"), nullptr);
         useBundle(bundle);
         char16_t text[20];
         int32_t length = 20;
         throwIfFailed(bundle.LoadStringW(u"prompt", text, &length));
     }},
    {"bundle.looked for",
     [] {
         const Offer offer(u"Orbelle.Torture.StringBundle.de", &createGerman);
         const qx::i18n::Locale locale(u"de_CH");
         const auto bundle = StringBundle::getBundle(u"Torture", &locale);
         require(bundle->getString(u"yes").equals(u"ja"), "another text");
     }},
    {"bundle.name",
     [] {
         const auto name =
             qx::i18n::BundleName::fromComponentName(u"Orbelle.Torture.StringBundle.de_CH@euro");
         name->generalized()->generalized()->componentName();
         name->classId();
     }},
    {"bundle.logged",
     [] {
         const auto text = makeReference<qx::io::StringWriter>();
         const auto logger = qx::log::Logger::create(u"torture");
         logger->setProcessor(qx::log::BasicLogWriter::create(text));
         qx::log::StringBundleLogger out(messages(u"de"), logger);
         qx::collections::List<qx::Object> arguments(
             makeReference<qx::collections::pcom::ArrayList>());
         arguments.add(makeReference<String>(u"a file"));
         arguments.add(makeReference<String>(u"that is missing"));
         out.log(1, u"file.open", arguments);
         out.log(1, u"prompt");
     }},
    {"log.through a component",
     [] {
         const auto component = makeReference<EntryKeeper>();
         const auto logger = qx::log::Logger::create(u"torture");
         logger->enableField(u"sequence", true);
         logger->setProcessor(qx::log::pcom::PcomProcessor::create(component));
         logger->log(1, u"through a component");
         require(component->entry != nullptr, "an entry is lost");
     }},
    {"transport.through both bridges",
     [] {
         const auto transport =
             makeReference<qx::net::pcom::PcomTransport>(makeReference<MemoryTransport>().get());
         qx::util::PropertySet place;
         place.set(u"host", u"here");
         readFrom(*transport->createConnector(place)->connect());
         readFrom(*transport->createAcceptor(place)->accept());
         require(place.get(u"bound").equals(u"here:7"), "another property");
     }},
    {"transport.by name",
     [] {
         const Offer offer(u"Torture.Transport", &createTransport);
         qx::util::PropertySet place;
         place.set(u"host", u"here");
         readFrom(
             *qx::net::Transport::get(u"Torture.Transport")->createConnector(place)->connect());
     }},
    {"transport.unknown name",
     [] { mustFail([&] { qx::net::Transport::get(u"Torture.No.Transport"); }); }},
    {"component.registered and taken out",
     [] {
         throwIfFailed(QXComRegisterModule(ThingsPath));
         throwIfFailed(QXComUnregisterModule(ThingsPath));
         throwIfFailed(QXComFreeUnusedModules(0, nullptr));
     },
     [] {
         const auto isThere = [](const char16_t* path) {
             return qx::util::RegistryKey(QX_HKEY_CLASSES_64, path).valueExists();
         };
         for (const char16_t* path : {u"Test.Thing\\CLSID", u"Test.Thing.1\\CLSID"})
             require(isThere(path) == isThere(u"Test.Other.1\\CLSID"), "entered by half");
     }},
    {"component.created",
     [] {
         const RegisteredModule things(ThingsPath);
         createThing(u"Test.Thing");
         createThing(u"test.thing.1");
     }},
    {"component.unknown",
     [] {
         qx::GUID classId;
         require(QXComClassIDFromProgID(u"Torture.Nothing", &classId) < 0, "a class of no name");
     }},
#ifdef QX_TEST_MODULE_DIR
    {"component.codec of a module",
     [] {
         const RegisteredModule codecs(u"" QX_TEST_MODULE_DIR "/qxcodecs.so");
         const String text(u"\u65E5\u672C");
         require(text.equals(String(text.getBytes(u"CP932"), -1, u"CP932")), "another text");
     }},
    {"component.transport of a module",
     [] {
         const RegisteredModule tcp(u"" QX_TEST_MODULE_DIR "/qxtransport_tcp.so");
         qx::util::PropertySet place;
         place.set(u"host", u"127.0.0.1");
         place.set(u"port", u"17460");
         const auto transport = qx::net::Transport::get(u"Orbelle.Transport.TCP");
         const auto acceptor = transport->createAcceptor(place);
         const auto client = transport->createConnector(place)->connect();
         const auto server = acceptor->accept();
         qx::io::ByteBuffer out(reinterpret_cast<const signed char*>("bytes"), 5u, QX_ENDIAN_BIG);
         require(client->write(out) == 5, "fewer bytes than were given");
         readFrom(*server);
     }},
    {"component.bundle of a message file",
     [] {
         {
             qx::io::FileOutputStream(String(u"text.messages"), false)
                 .write(Messages, sizeof Messages - 1);
         }
         const qx::i18n::BundleName name{u"Torture", u"de"};
         const auto id = qx::util::Guid(name.classId()).toString();
         qx::util::RegistryKey key(QX_HKEY_CLASSES_64, u"CLSID\\"_qs + id);
         key.setValue(u"MessageFile", absolutePath("text.messages"));
         key.getSubkey(u"ProgID").setValue(name.componentName());
         key.getSubkey(u"InprocServer32").setValue(u"" QX_TEST_MODULE_DIR "/qxmessages.so");
         qx::util::RegistryKey(QX_HKEY_CLASSES_64, name.componentName() + u"\\CLSID"_qs)
             .setValue(id);
         const qx::i18n::Locale locale(u"de");
         StringBundle::getBundle(u"Torture", &locale)->getString(u"prompt");
         QXComFreeUnusedModules(0, nullptr);
     }},
#endif
};

} // namespace

std::span<const Script> componentScripts() { return scripts; }

} // namespace qxtorture
