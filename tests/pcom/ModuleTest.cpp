#include <optional>
#include <thread>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/TemporaryRegistry.h"

namespace {

using namespace qx;
using namespace qx::pcom;
using qxtest::failureOf;
using qxtest::TemporaryRegistry;
using util::RegistryKey;

class Thing : public Object {
public:
    static constexpr GUID Clsid{0x11111111, 0x2222, 0x3333, {4, 4, 5, 5, 5, 5, 5, 5}};
    static const char16_t* GetComProgID() { return u"Test.Thing.1"; }
    static const char16_t* GetComDescription() { return u"A thing"; }
    static const char16_t* GetComVersionIndependentProgID() { return u"Test.Thing"; }
};

/// A class that can only be found by its identifier.
class Nameless : public Object {
public:
    static constexpr GUID Clsid{0xAAAAAAAA, 0xBBBB, 0xCCCC, {1, 2, 3, 4, 5, 6, 7, 8}};
};

constexpr GUID Unknown{1, 2, 3, {4}};
constexpr char16_t ThingKey[] = u"CLSID\\{11111111-2222-3333-0404-050505050505}";

std::optional<String> textOf(const String& path) {
    const RegistryKey key(QX_HKEY_CLASSES_64, path);
    return key.valueExists() ? std::optional(key.getValueString()) : std::nullopt;
}

class ModuleTest : public testing::Test {
protected:
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
    EXPECT_EQ(factory->CreateInstance(nullptr, IQXComparable::Iid, object.putVoid()), result::Ok);
    EXPECT_EQ(module.CanUnloadNow(), 1);
    EXPECT_EQ(module.GetRefCount(), 1u);
    object.reset();
    EXPECT_EQ(module.CanUnloadNow(), 0);
    EXPECT_EQ(factory->LockServer(1), result::Ok);
    EXPECT_EQ(module.CanUnloadNow(), 1);
    EXPECT_EQ(factory->LockServer(0), result::Ok);
    EXPECT_EQ(module.CanUnloadNow(), 0);
}

TEST_F(ModuleTest, RefusesWhatItDoesNotOffer) {
    void* out = &out;
    EXPECT_EQ(module.GetClassObject(Unknown, IQXClassFactory::Iid, &out),
              result::ClassNotAvailable);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(module.GetClassObject(Nameless::Clsid, Unknown, &out), result::NoInterface);
    // The answer is that of the last row, of another class.
    EXPECT_EQ(module.GetClassObject(Thing::Clsid, Unknown, &out), result::ClassNotAvailable);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(module.GetClassObject(Thing::Clsid, IQXClassFactory::Iid, nullptr),
              result::NullPointer);
    ClassData none[] = {{}};
    EXPECT_EQ(Module(none).GetClassObject(Thing::Clsid, IQXClassFactory::Iid, &out),
              result::ClassNotAvailable);

    const auto factory = factoryOf(Thing::Clsid);
    EXPECT_EQ(factory->CreateInstance(nullptr, Unknown, &out), result::NoInterface);
    EXPECT_EQ(factory->CreateInstance(factory.get(), IQXComparable::Iid, &out),
              result::InvalidArgument);
    EXPECT_EQ(factory->CreateInstance(factory.get(), IQXUnknown::Iid, &out), result::NoAggregation);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, IQXUnknown::Iid, nullptr), result::NullPointer);
    EXPECT_EQ(module.GetRefCount(), 0u);
}

template <class Path>
concept RegistersPath = requires(Module& module, Path path) {
    module.RegisterServer(path);
};

static_assert(RegistersPath<const char16_t*> && RegistersPath<const void*>);
static_assert(!RegistersPath<const char*> && !RegistersPath<char*> && !RegistersPath<wchar_t*>,
              "a path would be taken for an address in a module");

TEST_F(ModuleTest, TurnsWhatAClassThrowsIntoResults) {
    const auto factory = makeReference<ClassFactory>();
    void* out = &out;
    const auto create = [&] { return factory->CreateInstance(nullptr, IQXUnknown::Iid, &out); };
    EXPECT_EQ(create(), result::NotImplemented);
    factory->SetCreateInstanceQIFunc([](auto...) -> int32_t { throw 1; });
    EXPECT_EQ(create(), result::Fail);
    factory->SetCreateInstanceQIFunc(
        [](auto...) -> int32_t { throw ResultException(result::DiskFull); });
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
    std::vector<std::jthread> threads;
    for (auto& factory : factories)
        threads.emplace_back([&] { factory = factoryOf(Thing::Clsid); });
    threads.clear();
    for (const auto& factory : factories)
        EXPECT_EQ(factory, factories[0]);
}

TEST_F(ModuleTest, EntersItsClassesAndTakesThemOut) {
    const String clsid = u"{11111111-2222-3333-0404-050505050505}", key = ThingKey;
    const String nameless = u"CLSID\\{AAAAAAAA-BBBB-CCCC-0102-030405060708}";
    for (int round = 0; round < 2; ++round) { // entering twice replaces
        ASSERT_EQ(module.RegisterServer(u"/modules/things.so"), result::Ok);
        EXPECT_EQ(textOf(u"Test.Thing.1"), u"A thing");
        EXPECT_EQ(textOf(u"Test.Thing.1\\CLSID"), clsid);
        EXPECT_EQ(textOf(u"Test.Thing"), u"A thing");
        EXPECT_EQ(textOf(u"Test.Thing\\CLSID"), clsid);
        EXPECT_EQ(textOf(u"Test.Thing\\CurVer"), u"Test.Thing.1");
        EXPECT_EQ(textOf(key), u"A thing");
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
class FailingModule : public DllModule {
public:
    using DllModule::DllModule;
    int32_t returned = result::Ok; ///< throws instead

protected:
    int32_t RegisterClassEntry(ClassData& entry, const char16_t* modulePath) override {
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
    EXPECT_EQ(textOf(String(ThingKey) + u"\\InprocServer32"), u"/before.so");
}

TEST_F(ModuleTest, EntersThePathOfTheFileThatAnAddressLiesIn) {
    char path[260];
    ASSERT_EQ(QXModuleGetFileName(&Thing::Clsid, path, sizeof path), result::Ok);
    EXPECT_EQ(module.RegisterServer(static_cast<const void*>(&Thing::Clsid)), result::Ok);
    EXPECT_EQ(textOf(String(ThingKey) + u"\\InprocServer32"), String(path));
    EXPECT_EQ(module.RegisterServer(static_cast<const void*>(this)), result::Fail);
    EXPECT_EQ(module.RegisterServer(static_cast<const char16_t*>(nullptr)), result::NullPointer);
}

} // namespace
