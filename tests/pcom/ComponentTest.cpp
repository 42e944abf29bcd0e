#include <atomic>
#include <chrono>
#include <optional>
#include <shared_mutex>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

#include <qx/qx.h>

#include "tests/support/BlockingThread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/SafeModule.h"
#include "tests/support/TemporaryRegistry.h"
#include "tests/testmodules/plain.h"

namespace {

using namespace qx;
using namespace qx::pcom;
using namespace qxtest;
using util::RegistryKey;

// What a module says of its classes, and enters of them.

struct Thing : Object {
    static constexpr GUID Clsid{0x11111111, 0x2222, 0x3333, {4, 4, 5, 5, 5, 5, 5, 5}};
    static const char16_t* GetComProgID() { return u"Test.Thing.1"; }
    static const char16_t* GetComDescription() { return u"A thing"; }
    static const char16_t* GetComVersionIndependentProgID() { return u"Test.Thing"; }
};

/// A class that can only be found by its identifier.
struct Nameless : Object {
    static constexpr GUID Clsid{0xAAAAAAAA, 0xBBBB, 0xCCCC, {1, 2, 3, 4, 5, 6, 7, 8}};
};

/// Stays where its constructor has entered it.
struct Listener : Nameless {
    Listener() { s_last = this; }
    static inline Reference<Object> s_last;
};

constexpr GUID Unknown{1, 2, 3, {4}};
constexpr char16_t ThingKey[] = u"CLSID\\{11111111-2222-3333-0404-050505050505}";

std::optional<String> textOf(const String& path) {
    const RegistryKey key(QX_HKEY_CLASSES_64, path);
    return key.valueExists() ? std::optional(key.getValueString()) : std::nullopt;
}

struct ModuleTest : testing::Test {
    Reference<IQXClassFactory> factoryOf(const GUID& clsid) {
        Reference<IQXClassFactory> factory;
        EXPECT_EQ(module.GetClassObject(clsid, IQXClassFactory::Iid, factory.putVoid()),
                  result::Ok);
        return factory;
    }

    ClassData classes[3] = {classRow<Thing>(), classRow<Nameless>(), {}};
    DllModule module{classes};
    TemporaryRegistry registry;
};

TEST_F(ModuleTest, CountsObjectsAndLocksButNotFactories) {
    const auto factory = factoryOf(Thing::Clsid);
    EXPECT_EQ(module.CanUnloadNow(), 0);
    Reference<IQXUnknown> object;
    createInstance<Listener>(&module, nullptr, IQXUnknown::Iid, object.putVoid());
    object.reset();
    EXPECT_EQ(module.GetRefCount(), 1u); // that of the list is left
    Listener::s_last.reset();
    EXPECT_EQ(module.GetRefCount(), 0u);
    for (const int16_t lock : {int16_t{1}, int16_t{0}}) {
        EXPECT_EQ(factory->LockServer(lock), result::Ok);
        EXPECT_EQ(module.CanUnloadNow(), lock);
    }
}

TEST_F(ModuleTest, RefusesWhatItDoesNotOffer) {
    void* out = &out;
    const GUID &factoryId = IQXClassFactory::Iid, &unknownId = IQXUnknown::Iid;
    ClassData none[] = {{}};
    expectEach(result::ClassNotAvailable,
               {module.GetClassObject(Unknown, factoryId, &out),
                // The answer is that of the last row, of another class.
                module.GetClassObject(Thing::Clsid, Unknown, &out),
                Module(none).GetClassObject(Thing::Clsid, factoryId, &out)});
    const auto factory = factoryOf(Thing::Clsid);
    expectEach(result::NoInterface, {module.GetClassObject(Nameless::Clsid, Unknown, &out),
                                     factory->CreateInstance(nullptr, Unknown, &out)});
    EXPECT_EQ(factory->CreateInstance(factory.get(), IQXComparable::Iid, &out),
              result::InvalidArgument);
    EXPECT_EQ(factory->CreateInstance(factory.get(), unknownId, &out), result::NoAggregation);
    EXPECT_EQ(out, nullptr);
    expectEach(result::NullPointer, {module.GetClassObject(Thing::Clsid, factoryId, nullptr),
                                     factory->CreateInstance(nullptr, unknownId, nullptr)});
    EXPECT_EQ(module.GetRefCount(), 0u);
}

TEST_F(ModuleTest, TurnsWhatAClassThrowsIntoResults) {
    const auto factory = makeReference<ClassFactory>();
    void* out = &out;
    const auto create = [&] { return factory->CreateInstance(nullptr, IQXUnknown::Iid, &out); };
    EXPECT_EQ(create(), result::NotImplemented);
    factory->SetCreateInstanceQIFunc([](auto...) -> int32_t { throw 1; });
    EXPECT_EQ(create(), result::Fail);
    factory->SetCreateInstanceQIFunc([](auto...) { return result::Ok; });
    EXPECT_EQ(create(), result::Fail);
    factory->SetCreateInstanceQIFunc([](auto, auto, auto&, void** left) -> int32_t {
        *left = left;
        throw ResultException(result::DiskFull);
    });
    EXPECT_EQ(create(), result::DiskFull);
    EXPECT_EQ(out, nullptr);

    const auto tryMaker = [&](decltype(ClassData::createFactory) maker) {
        classes[1].createFactory = maker;
        return module.GetClassObject(Nameless::Clsid, IQXClassFactory::Iid, &out);
    };
    EXPECT_EQ(tryMaker([](auto...) { return result::Ok; }), result::Fail);
    EXPECT_EQ(tryMaker([](auto...) -> int32_t { throw ResultException(result::DiskFull); }),
              result::DiskFull);
    EXPECT_EQ(tryMaker(nullptr), result::NotImplemented);
    EXPECT_EQ(tryMaker(&createFactory<&createInstance<Nameless>>), result::Ok); // no lock is left
    static_cast<IQXUnknown*>(out)->Release();
}

TEST_F(ModuleTest, ThreadsThatAskAtOnceGetOneFactory) {
    Reference<IQXClassFactory> factories[4];
    inThreads(4, [&](int thread) { factories[thread] = factoryOf(Thing::Clsid); });
    for (const auto& factory : factories)
        EXPECT_EQ(factory, factories[0]);
}

TEST_F(ModuleTest, EntersItsClassesAndTakesThemOut) {
    const String clsid = u"{11111111-2222-3333-0404-050505050505}", key = ThingKey;
    const String nameless = u"CLSID\\{AAAAAAAA-BBBB-CCCC-0102-030405060708}";
    for (int round = 0; round < 2; ++round) { // entering twice replaces
        ASSERT_EQ(module.RegisterServer(u"/modules/things.so"), result::Ok);
        for (const char16_t* const path : {u"Test.Thing.1", u"Test.Thing", ThingKey})
            EXPECT_EQ(textOf(path), u"A thing");
        for (const char16_t* const path : {u"Test.Thing.1\\CLSID", u"Test.Thing\\CLSID"})
            EXPECT_EQ(textOf(path), clsid);
        EXPECT_EQ(textOf(u"Test.Thing\\CurVer"), u"Test.Thing.1");
        EXPECT_EQ(textOf(key + u"\\ProgID"), u"Test.Thing.1");
        EXPECT_EQ(textOf(key + u"\\VersionIndependentProgID"), u"Test.Thing");
        EXPECT_EQ(textOf(key + u"\\InprocServer32"), u"/modules/things.so");
        EXPECT_EQ(textOf(nameless), u"");
        EXPECT_EQ(textOf(nameless + u"\\ProgID"), u"");
        EXPECT_EQ(textOf(nameless + u"\\InprocServer32"), u"/modules/things.so");
    }
    RegistryKey(QX_HKEY_CLASSES_64, key).remove(); // what is left goes
    ASSERT_EQ(module.UnregisterServer(), result::Ok);
    EXPECT_FALSE(RegistryKey(QX_HKEY_CLASSES_64, u"CLSID").getSubkeyIterator()->hasNext());
    EXPECT_EQ(textOf(u"Test.Thing.1"), std::nullopt);
    EXPECT_EQ(textOf(u"Test.Thing"), std::nullopt);
    EXPECT_EQ(failureOf([&] { module.UnregisterServer(); }), result::NotFound);
}

/// The second class cannot be entered.
struct FailingModule : DllModule {
    using DllModule::DllModule;
    int32_t returned = result::Ok; ///< throws instead

    int32_t RegisterClassEntry(ClassData& entry, const char16_t* modulePath) override {
        Reference<IQXUnknown> factory; // for which another thread would wait if a lock were held
        std::jthread([&] { GetClassObject(*entry.clsid, IQXUnknown::Iid, factory.putVoid()); });
        if (*entry.clsid == Thing::Clsid)
            return DllModule::RegisterClassEntry(entry, modulePath);
        return returned < 0 ? returned : throw ResultException(result::DiskFull);
    }
};

TEST_F(ModuleTest, EntersNothingWhenOneClassFails) {
    FailingModule failing(classes);
    EXPECT_EQ(failureOf([&] { failing.RegisterServer(u"/m.so"); }), result::DiskFull);
    failing.returned = result::AccessDenied;
    EXPECT_EQ(failing.RegisterServer(u"/m.so"), result::AccessDenied);
    EXPECT_EQ(textOf(ThingKey), std::nullopt);
    EXPECT_EQ(textOf(u"Test.Thing.1"), std::nullopt);

    // What another version has entered before stays as it was.
    module.RegisterServer(u"/before.so");
    EXPECT_EQ(failing.RegisterServer(u"/m.so"), result::AccessDenied);
    classes[1].getProgID = [] { return u""; }; // the root would be its key
    EXPECT_EQ(failureOf([&] { module.RegisterServer(u"/m.so"); }), result::InvalidArgument);
    EXPECT_EQ(textOf(String(ThingKey) + u"\\InprocServer32"), u"/before.so");
    EXPECT_EQ(module.UnregisterServer(), result::Ok);
}

TEST_F(ModuleTest, EntersThePathOfTheFileThatAnAddressLiesIn) {
    char path[260];
    ASSERT_EQ(QXModuleGetFileName(&Thing::Clsid, path, sizeof path), result::Ok);
    EXPECT_EQ(module.RegisterServer(static_cast<const void*>(&Thing::Clsid)), result::Ok);
    EXPECT_EQ(textOf(String(ThingKey) + u"\\InprocServer32"), String(path));
    EXPECT_EQ(module.RegisterServer(static_cast<const void*>(this)), result::Fail);
    EXPECT_EQ(module.RegisterServer(static_cast<const char16_t*>(nullptr)), result::NullPointer);
}

// Registered components: modules are loaded from where the registry says.

constexpr GUID ThingClass{0x7468696E, 0x6701, 0x4000, {0x80, 0, 0, 0, 0, 0, 0, 1}};

std::string modulePath(const std::string& name) {
    return safeModule(QX_TEST_MODULES_DIR "/" + name + ".so");
}

std::u16string wide(const std::string& path) { return std::u16string(String(path.c_str()).view()); }

int32_t registerModule(const std::string& path) { return QXComRegisterModule(wide(path).c_str()); }

/// What creating the thing gives.
int32_t createThing(const char16_t* progId = u"Test.Thing") {
    Reference<IQXComparable> thing;
    const int32_t result =
        QXComCreateObjectByProgID(progId, nullptr, &IQXComparable::Iid, thing.putVoid());
    EXPECT_EQ(result >= 0, thing != nullptr);
    uint32_t hash = 4711;
    if (thing)
        thing->HashCode(&hash);
    EXPECT_EQ(hash, 4711u);
    return result;
}

/// Names the module of a class.
void enter(const std::string& path, const String& classId, const String& progId) {
    RegistryKey(QX_HKEY_CLASSES_64, u"CLSID\\" + classId + u"\\InprocServer32")
        .setValue(String(path.c_str()));
    RegistryKey(QX_HKEY_CLASSES_64, progId + u"\\CLSID").setValue(classId);
}

/// A registry of its own, and no module loaded at the beginning and at the end.
struct ComponentTest : testing::Test {
    ~ComponentTest() override {
        EXPECT_EQ(freeModules(), 0);
        EXPECT_EQ(QXModuleGetLiveCount(), modulesBefore) << "a module stays in memory";
    }

    /// Modules in memory that say so.
    int32_t loadedModules() const { return QXModuleGetLiveCount() - modulesBefore; }

    /// Creates an object of a class that is registered for a module, for what comes of it.
    static int32_t createFrom(const std::string& path, uint32_t fault = 1) {
        const GUID classId{fault, 0, 0, {}};
        char16_t text[39];
        QXComStringFromGUID(&classId, text, 39);
        enter(path, text, u"Test.Registered");
        void* object = &object;
        const int32_t result =
            QXComCreateObjectByProgID(u"Test.Registered", nullptr, &IQXUnknown::Iid, &object);
        EXPECT_EQ(object, nullptr);
        return result;
    }

    TemporaryRegistry registry;
    const int32_t modulesBefore = QXModuleGetLiveCount();
};

TEST_F(ComponentTest, AreFoundByEachOfTheirNamesWhileRegistered) {
    EXPECT_EQ(createThing(), result::NotFound);
    ASSERT_EQ(registerModule(modulePath("things")), result::Ok);
    EXPECT_EQ(loadedModules(), 0); // not kept for having been registered
    expectEach(result::Ok, {createThing(u"Test.Thing.1"), createThing(u"test.THING")});
    EXPECT_EQ(loadedModules(), 1);
    RegistryKey(QX_HKEY_CLASSES_64, u"Test.Thing\\CLSID").remove();
    EXPECT_EQ(createThing(), result::Ok); // by its current version
    for (const char16_t* const name : {u"", u"CLSID", u"Test.Thing\\CurVer", u"Test"})
        EXPECT_EQ(createThing(name), result::NotFound);

    GUID found{};
    EXPECT_EQ(QXComClassIDFromProgID(u"Test.Thing", &found), result::Ok);
    EXPECT_TRUE(found == ThingClass);
    Reference<IQXUnknown> none;
    EXPECT_EQ(QXComCreateObjectByProgID(u"Test.Thing", this, &IQXUnknown::Iid, none.putVoid()),
              result::NoAggregation);

    EXPECT_EQ(QXComUnregisterModule(wide(modulePath("things")).c_str()), result::Ok);
    EXPECT_EQ(createThing(), result::NotFound);
    EXPECT_EQ(QXComUnregisterModule(wide(modulePath("things")).c_str()), result::NotFound);
}

TEST_F(ComponentTest, TypedCreationSaysWhatItCouldNotMake) {
    ASSERT_EQ(registerModule(modulePath("things")), result::Ok);
    EXPECT_TRUE(createObject<IQXComparable>(ThingClass));
    EXPECT_EQ(descriptionOf([] { static_cast<void>(createObject<IQXClassFactory>("Test.Thing")); }),
              "no such interface: IQXClassFactory");
    const String unknown = u"{00000001-0002-0003-0400-000000000000}";
    EXPECT_EQ(descriptionOf([] { static_cast<void>(createObject<IQXComparable>(Unknown)); }),
              "cannot create " + unknown.toUtf8());
    enter(modulePath("with_unresolved_function"), unknown, u"Test.Unresolved");
    const auto create = [] { static_cast<void>(createObject<IQXUnknown>(u"Test.Unresolved")); };
    EXPECT_EQ(failureOf(create), result::ModuleNotFound);
    const std::string told = descriptionOf<std::exception>(create);
    EXPECT_NE(told.find("undefined symbol"), std::string::npos) << "the loader's words";
}

TEST_F(ComponentTest, ModulesThatDoNotFitAreRefusedBeforeTheyRun) {
    const TemporaryFolder folder;
    writeFile(folder.path("text.so"), "no library at all, but as long as a header may be,"
                                      " which is 64 bytes");
    const std::string whole = readFile(modulePath("things"));
    writeFile(folder.path("cut.so"), whole.substr(0, 1000));
    writeFile(folder.path("empty.so"), "");
    const std::pair<std::string, int32_t> pathsAndResults[] = {
        {folder.path("absent.so"), result::NotFound},
        {folder.path("text.so"), result::NotALibrary},
        {folder.path("empty.so"), result::NotALibrary},
        {folder.path("cut.so"), result::NotALibrary},
        {folder.path(), result::NotALibrary},
        {"/bin/sh", result::NotAModule}, // a program
        {modulePath("without_note"), result::NotAModule},
        {modulePath("of_next_version"), result::ModuleVersion},
        {modulePath("of_next_minor_version"), result::ModuleVersion},
        {"", result::InvalidArgument},
        {"things.so", result::InvalidArgument},
        {"./things.so", result::InvalidArgument},
        {modulePath("with_unresolved_function"), result::ModuleNotFound},
    };
    for (const auto& [path, result] : pathsAndResults) {
        SCOPED_TRACE(path);
        EXPECT_EQ(createFrom(path), result);
        EXPECT_EQ(registerModule(path), result);
        EXPECT_EQ(loadedModules(), 0);
    }
    EXPECT_EQ(createFrom(modulePath("without_entry")), result::SymbolNotFound);
    EXPECT_EQ(loadedModules(), 0); // ran, and is gone again
    EXPECT_EQ(QXComRegisterModule(nullptr), result::NullPointer);
}

TEST_F(ComponentTest, ModulesThatOthersMayChangeAreRefused) {
    const TemporaryFolder folder;
    const std::string inner = folder.path("inner"), path = inner + "/things.so";
    ASSERT_EQ(::mkdir(inner.c_str(), 0700), 0);
    writeFile(path, readFile(modulePath("things")));
    const auto tryModes = [&](mode_t folderMode, mode_t fileMode) {
        ::chmod(inner.c_str(), folderMode);
        ::chmod(path.c_str(), fileMode);
        return registerModule(path);
    };
    expectEach(result::AccessDenied, {tryModes(0755, 0757), tryModes(0757, 0755)});
    EXPECT_EQ(tryModes(01777, 0755), result::Ok);
    // What a link leads to is looked at as well.
    const std::string link = folder.path("link.so");
    ASSERT_EQ(::symlink(path.c_str(), link.c_str()), 0);
    EXPECT_EQ(registerModule(link), result::Ok);
    expectEach(result::AccessDenied, {tryModes(0777, 0755), registerModule(link)});
    EXPECT_EQ(tryModes(0755, 0755), result::Ok);
    if (::geteuid() == 0) { // others may have a group of their own; and cannot give things away
        expectEach(result::AccessDenied, {tryModes(0755, 0775), tryModes(0775, 0755)});
        EXPECT_EQ(tryModes(0755, 0755), result::Ok);
        constexpr uid_t Stranger = 12345;
        EXPECT_EQ(::lchown(link.c_str(), Stranger, Stranger), 0);
        EXPECT_EQ(registerModule(link), result::AccessDenied);
        EXPECT_EQ(::chown(inner.c_str(), Stranger, Stranger), 0);
        EXPECT_EQ(registerModule(path), result::AccessDenied);
        const auto isRefused = [&](mode_t mode) {
            void* object = nullptr;
            ::chmod(path.c_str(), mode);
            return QXComCreateObjectFromFile(path.c_str(), &Thing::Clsid, &IQXUnknown::Iid,
                                             &object) == result::AccessDenied;
        };
        EXPECT_TRUE(holdsInFork([&] { // nothing says that the stranger is alone in his group
            return ::chmod(folder.path().c_str(), 0755) == 0 &&
                   ::chown(path.c_str(), Stranger, Stranger) == 0 && ::setgid(Stranger) == 0 &&
                   ::setuid(Stranger) == 0 && !isRefused(0755) && isRefused(0775);
        }));
    }
}

TEST_F(ComponentTest, FaultsOfAModuleBecomeResults) {
    const std::string faulty = modulePath("faulty");
    const std::pair<uint32_t, int32_t> faultsAndResults[] = {
        {1, result::AccessDenied}, // the entry fails, with an object
        {2, result::Fail},         // succeeds without one
        {3, result::Fail},         // throws
        {4, result::DiskFull},     // the factory fails, with an object
        {5, result::Fail},         // succeeds without one
        {6, result::Fail},         // throws
        {7, result::ClassNotAvailable},
    };
    for (const auto& [fault, result] : faultsAndResults) {
        SCOPED_TRACE(fault);
        EXPECT_EQ(createFrom(faulty, fault), result);
        EXPECT_EQ(createFrom(faulty, fault), result);
    }
    EXPECT_EQ(registerModule(faulty), result::Fail); // throws
    EXPECT_EQ(QXComUnregisterModule(wide(faulty).c_str()), result::SymbolNotFound);
    RegistryKey(QX_HKEY_CLASSES_64, u"Test.Registered\\CLSID").setValue(u"no identifier");
    EXPECT_EQ(createThing(u"Test.Registered"), result::Corrupt);
}

TEST_F(ComponentTest, ModulesAreUnloadedWhenNothingOfThemLives) {
    for (const char* const name : {"things", "things_plainly"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(registerModule(modulePath(name)), result::Ok);
        auto thing = createObject<IQXComparable>("Test.Thing");
        EXPECT_EQ(freeModules(), 1);
        EXPECT_EQ(thing->AddRef(), 2u); // still there
        thing->Release();
        const String empty = dynamic_cast<Object&>(*thing).toString();
        thing.reset();
        constexpr uint32_t Hour = 3'600'000;
        EXPECT_EQ(freeModules(Hour), 1);
        EXPECT_EQ(loadedModules(), 1);
        expectEach(0, {freeModules(), loadedModules()});
        EXPECT_EQ(empty.getData()[0], u'\0'); // not from a literal of the module
    }
    for (int round = 0; round < 2; ++round) { // the time runs from the last use
        createThing();
        EXPECT_EQ(freeModules(20), 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    EXPECT_EQ(freeModules(20), 0);
}

const ChildEntry withPinned("pinned", [](const auto& arguments) {
    if (QXRegistrySetFolder(arguments[0].c_str()) < 0 || registerModule(arguments[1]) < 0)
        return 1;
    const int32_t live = QXModuleGetLiveCount();
    bool isKept = true;
    for (int round = 0; round < 3; ++round)
        isKept = isKept && createThing() >= 0 && freeModules() == 1 && freeModules() == 1;
    return isKept && QXModuleGetLiveCount() == live && registerModule(arguments[2]) >= 0 ? 0 : 2;
});

TEST_F(ComponentTest, AModuleThatCannotBeUnloadedIsKeptAndKnown) {
    EXPECT_EQ(createThing(), result::NotFound);
    // In another process, since it stays there.
    const std::string pinned = modulePath("things_pinned"), plain = modulePath("things");
    EXPECT_EQ(ChildProcess("pinned", {registry.folder(), pinned, plain}).join(), 0);
    EXPECT_EQ(createThing(), result::Ok); // what another process has registered is seen
}

TEST_F(ComponentTest, AModuleStaysWhileACreationIsUnderWay) {
    ASSERT_EQ(registerModule(modulePath("things")), result::Ok);
    ASSERT_EQ(createThing(), result::Ok);
    auto* const onCreate = static_cast<void (**)()>(
        exec::SharedLibrary(wide(modulePath("things")).c_str()).getSymbol(u"qxTestOnCreate"));
    static int32_t s_kept;
    *onCreate = [] { s_kept = freeModules(); };
    EXPECT_EQ(createThing(), result::Ok);
    EXPECT_EQ(s_kept, 1);
    *onCreate = nullptr;
}

TEST_F(ComponentTest, CreationMayRaceWithUnloading) {
    ASSERT_EQ(registerModule(modulePath("things")), result::Ok);
    enter(modulePath("plain"), PLAIN_CLASS, PLAIN_NAME);
    constexpr int Rounds = 200;
    // With a delay of 0 it is up to the caller that no Release is on its way out of the module.
    std::shared_mutex releasing;
    std::atomic<int> running = 3;
    const auto create = [&](const char16_t* name) {
        for (int round = 0; round < Rounds; ++round) {
            const QXUnknownTable** object = nullptr; // one of them is made in C
            EXPECT_EQ(QXComCreateObjectByProgID(name, nullptr, &IQXUnknown::Iid,
                                                reinterpret_cast<void**>(&object)),
                      result::Ok);
            const std::shared_lock guard(releasing);
            (*object)->Release(object);
        }
        --running;
    };
    std::vector<std::jthread> threads;
    for (const char16_t* const name : {u"Test.Thing", u"Test.Thing", PLAIN_NAME})
        threads.emplace_back(create, name);
    while (running > 0) {
        const std::unique_lock guard(releasing);
        EXPECT_GE(freeModules(), 0);
    }
}

} // namespace
