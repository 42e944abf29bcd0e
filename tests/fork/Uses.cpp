#include "tests/fork/Uses.h"

#include <fstream>

#include <unistd.h>

#include "tests/support/SafeModule.h"
#include "tests/support/Sanitized.h"

namespace qxtest {

using namespace qx;
using log::AsyncProcessor;

static auto nullWriter() { return log::BasicLogWriter::create(makeReference<io::NullWriter>()); }

Inherited::Inherited() {
    processor = AsyncProcessor::create(nullWriter(), 1);
    queued->setProcessor(processor);
    const auto direct = log::Logger::create(u"direct");
    direct->setProcessor(nullWriter());
    direct->enableField(u"timestamp", true);
    logger = makeReference<log::SyncLogger>(direct);
    QXComRegisterModule(String::fromUtf8(safeModule(QX_TEST_MODULES_DIR "/things.so")).getData());
    thread->start();
    texts->put(u"key", makeReference<String>(u"text"));
    require(QXNamedSemOpen(name.c_str(), 4, &semaphore) >= 0, "semaphore");
}

Inherited::~Inherited() {
    gate.open();
    thread->join();
    QXNamedSemClose(semaphore);
    QXComFreeUnusedModules(0, nullptr);
}

namespace {

constexpr unsigned int InheritAll =
    QX_PROCESS_INHERIT_INPUT | QX_PROCESS_INHERIT_OUTPUT | QX_PROCESS_INHERIT_ERROR;

void useLocks(Inherited& shared) {
    QXHandle own = 0;
    require(QXNamedSemOpen(shared.name.c_str(), 4, &own) >= 0, "opened");
    for (const QXHandle handle : {own, shared.semaphore})
        require(QXSemaphoreWait(handle) >= 0 && QXSemaphorePost(handle) >= 0, "used");
    require(QXNamedSemClose(own) >= 0, "closed");
    sync::Mutex mutex((shared.name + " mutex").c_str(), QX_SYNC_SHARED);
    const std::scoped_lock lock(mutex, shared.mutex);
}

void useMemory(Inherited& shared) {
    const std::string name = shared.name + std::to_string(QXThreadCurrentId() % 3);
    QXHandle handle = 0;
    void* address = nullptr;
    require(QXSharedMemOpen(name.c_str(), QX_SHAREDMEM_CREATE, 0, 64, &handle) >= 0, "opened");
    require(QXSharedMemAttach(handle, 0xC0000000u, &address) >= 0, "attached");
    *static_cast<volatile char*>(address) = 1;
    require(QXSharedMemDetach(address) >= 0 && QXSharedMemClose(handle) >= 0, "closed");
}

void useRegistry(Inherited&) {
    const uint32_t number = QXThreadCurrentId();
    util::RegistryKey key(QX_HKEY_USER, String(u"Fork\\").append(static_cast<int64_t>(number)));
    key.setValue(u"number", number);
    require(key.getValueUINT32(u"number") == number, "another value");
}

void useClasses(Inherited&) {
    const int module = 0;
    GUID id;
    require(QXModuleSetInitialized(&module, 1) >= 0, "module");
    require(QXComGenerateGUID(&id) >= 0, "identifier");
    const String name = String(u"Test.").append(static_cast<int64_t>(QXThreadCurrentId()));
    const auto factory = [](const QXGUID*, void**) { return result::NoInterface; };
    require(QXComRegisterClassFactory(name.getData(), &id, factory) >= 0, "factory");
    GUID found{};
    require(QXComClassIDFromProgID(name.getData(), &found) >= 0 && found == id, "class identifier");
    void* object = nullptr;
    require(QXModuleComCreateObject(&module, &id, nullptr, &id, &object) == result::NoInterface,
            "asked the factory");
    require(QXComRevokeClassFactory(&id) >= 0, "revoked");
    require(QXModuleSetInitialized(&module, 0) >= 0, "module gone");
    const auto map = Reference<Object>(Class::forName(u"CQXHashMap")->createInstance());
    require(map->getClass()->isInstance(*map), "class");
}

void useComponents(Inherited&) {
    Reference<IQXComparable> thing;
    require(QXComCreateObjectByProgID(u"Test.Thing", nullptr, &IQXComparable::Iid,
                                      thing.putVoid()) >= 0,
            "created");
    const exec::SharedLibrary library(u"" QX_TEST_MODULES_DIR "/plain.so"); // loaded each time
    const int32_t result = QXComFreeUnusedModules(1000, nullptr);
    require(result >= 0 || result == result::Busy, "freed");
}

void freeComponentsInChild(Inherited& shared) {
    // The thread sanitizer takes a lock there that a thread of the parent may have had at the fork.
    if (!ThreadSanitized)
        useComponents(shared);
    require(QXComFreeUnusedModules(0, nullptr) != result::Busy, "nobody else is at it");
}

void useTexts(Inherited& shared) {
    const String text(u"Gr\u00FC\u00DFe");
    for (const char16_t* const encoding : {u"Cp1252", u"UTF-8"})
        require(text.getBytes(encoding) != nullptr, "encoded");
    char bytes[16];
    require(QXUnicodeToAnsi(u"text", -1, bytes, sizeof bytes) >= 0, "in the locale's encoding");
    const i18n::StringMapBundle bundle(shared.texts);
    require(bundle.getKeys()->getSize() == 1, "keys");
}

void useLogger(Inherited& shared) { shared.logger->log(1, String(u"text")); }

/// What another thread was in the middle of is refused.
void useLoggerInChild(Inherited& shared) {
    try {
        useLogger(shared);
    } catch (const IllegalStateException&) {
    }
    const auto own = log::Logger::create();
    own->setProcessor(nullWriter());
    own->log(1, String(u"text"));
}

void useQueue(Inherited& shared) {
    for (int i = 0; i < 50; ++i)
        shared.queued->log(1, String(u"text"));
    require(shared.processor->flush(), "flushed");
}

void useQueueInChild(Inherited& shared) {
    require(!shared.processor->flush(), "not flushed");
    require(shared.processor->getQueuedCount() == 0, "nothing is queued");
    try {
        shared.queued->log(1, String(u"text"));
        require(false, "nothing thrown");
    } catch (const IllegalStateException&) {
    }
    shared.processor = AsyncProcessor::create(nullWriter(), 1);
    shared.queued->setProcessor(shared.processor);
    useQueue(shared);
    require(shared.processor->getFailedCount() == 0, "a queue of its own");
}

void useProcesses(Inherited&) {
    exec::Process joined(nullptr, u"true", nullptr, nullptr, InheritAll);
    exec::Process(nullptr, u"sleep 0.01", nullptr, nullptr, InheritAll); // dropped while it runs
    require(joined.join() == 0, "joined");
}

void useThreads(Inherited&) {
    uint32_t number = 0;
    exec::Thread thread(exec::makeRunnable([&] { number = QXThreadCurrentId(); }));
    thread.start();
    exec::Thread(exec::makeRunnable([] {}), u"dropped").start();
    thread.join();
    require(number != 0 && number != QXThreadCurrentId(), "number");
}

/// A thread of the parent is none of the child's, not even where they have the same number.
void useThreadsInChild(Inherited& shared) {
    exec::Thread own([] { exec::Thread::sleep(20); });
    own.start();
    require(resultOf([&] { shared.thread->join(); }) < 0, "none of its own");
    shared.thread.reset();
    own.join();
}

void useNames(Inherited&) {
    for (const char* const host : {"127.0.0.1", "::1"}) {
        qx_addrinfo* found = nullptr;
        require(QXgetaddrinfo(host, "80", nullptr, &found) == 0, "address");
        QXfreeaddrinfo(found);
    }
    uint16_t port = 0;
    QXSocketServicePort("http", "tcp", &port); // which not every system lists
    QXSocket socket = 0;
    require(QXSocketCreate(QX_AF_INET, 1, 0, &socket) == 0 && QXSocketClose(socket) == 0, "socket");
}

void useTime(Inherited&) {
    static std::atomic<uint32_t> s_seconds{0};
    STRUCT_QX_TIME time;
    require(QXTimeFromPosix(s_seconds += 86401, &time) >= 0, "time");
    char16_t text[QX_TIME_TEXT_UNITS];
    require(QXTimeGetDateText(&time, 1, text, QX_TIME_TEXT_UNITS) > 0, "date");
    require(QXTimeGetTimeText(&time, text, QX_TIME_TEXT_UNITS) > 0, "time of day");
    require(QXTimeGetLocal(&time) >= 0, "now");
}

void useFiles(Inherited& shared) {
    require(QXDriveMap('q', shared.folder.path().c_str()) >= 0, "mapped");
    require(QXDriveGetType("q:") >= 0, "type");
    const String path = String::fromUtf8(shared.folder.path("shared.ini"));
    util::IniFile file(path.getData(), "fork test");
    require(file.AddKey(u"section", u"key", u"value", true) >= 0, "written");
    if (!std::ifstream("/dev/tty").is_open() && !isatty(STDIN_FILENO))
        require(QXConsoleHoldKeys(1) >= 0 && QXConsoleHoldKeys(0) >= 0, "held");
}

constexpr Use Uses[] = {
    {"Locks", useLocks, useLocks},
    {"Memory", useMemory, useMemory},
    {"Registry", useRegistry, useRegistry},
    {"Classes", useClasses, useClasses},
    {"Components", useComponents, freeComponentsInChild},
    {"Texts", useTexts, useTexts},
    {"Logger", useLogger, useLoggerInChild},
    {"Queue", useQueue, useQueueInChild, true},
    {"Processes", useProcesses, useProcesses},
    {"Threads", useThreads, useThreadsInChild, true},
    {"Names", useNames, useNames},
    {"Time", useTime, useTime},
    {"Files", useFiles, useFiles},
};

} // namespace

std::span<const Use> allUses() { return Uses; }

} // namespace qxtest
