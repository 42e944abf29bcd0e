#include <gtest/gtest.h>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"

using namespace qx;

namespace {

struct Unregistered : Object {
    uint32_t hashCode() const override { return 0x0ABC; }
};

/// Cannot even say that it has no class.
struct Nameless : Unregistered {
    const Class* getClass() const override { throw std::bad_alloc(); }
};

} // namespace

TEST(Class, IsFoundByExactNameAndMakesInstances) {
    // clang-format off
    const char16_t* const names[] = { // one at least of each subsystem and of each way to make one
        u"CQXHashMap", u"CQXBigDecimal", u"CQXByteArrayOutputStream", u"CQXFakeMutex", u"CQXString",
        u"CQXMTByteBuffer", u"CQXRWCharBuffer", u"CQXObject", u"CQXStringWriter", u"qx::Exception",
        u"qx::io::TimeoutException", u"qx::IntOverflowException", u"qx::text::charset::CTBAMP7",
        u"qx::text::charset::BTCUTF32BE"};
    const char16_t* const others[] = {u"CQXFilePath", u"CQXReader", u"qx::Class", u"CQXThread",
                                      u"qx::MathErrorException", u"CQXNumber", u"CQXInteger32"};
    // clang-format on
    for (const char16_t* name : names) {
        const Class* const found = Class::forName(name);
        Reference<Object> made(found->createInstance());
        EXPECT_TRUE(found->isInstance(*made));
        EXPECT_EQ(made->getClass(), found);
        EXPECT_EQ(std::u16string(found->getName()), name);
    }
    for (const char16_t* name : others) // classes without a creator
        EXPECT_THROW(static_cast<void>(Class::forName(name)->createInstance()),
                     IllegalAccessException);
    EXPECT_TRUE(Class::forName(u"CQXInteger32")->isInstance(Integer32()));
    EXPECT_FALSE(Class::forName(u"CQXNumber")->isInstance(Integer32()));
    EXPECT_FALSE(Class::forName(u"qx::Exception")->isInstance(ResultException()));
    const auto unknown = [] { Class::forName(u"cqxstring"); };
    EXPECT_EQ(qxtest::descriptionOf<ClassNotFoundException>(unknown), "cqxstring");
    EXPECT_THROW(Class::forName(nullptr), ClassNotFoundException);
    EXPECT_THROW(Class::forType(nullptr), ClassNotFoundException);
    ClassManagerBase manager; // the first registration of a name wins
    manager.registerClass(u"name", &typeid(Object), nullptr);
    manager.registerClass(u"name", &typeid(String), nullptr);
    EXPECT_EQ(manager.lookupName(u"name"), manager.lookupType(&typeid(Object)));
    EXPECT_EQ(manager.lookupType(&typeid(String)), nullptr);
}

TEST(Class, UnregisteredTypesReportTheirReadableName) {
    const auto classOf = [] { Unregistered().getClass(); };
    const auto description = qxtest::descriptionOf<ClassNotFoundException>(classOf);
    EXPECT_NE(description.find("Unregistered"), std::string::npos);
    EXPECT_EQ(Unregistered().toString(), u"Object@ABC");
    EXPECT_EQ(Nameless().toString(), u"Object@ABC");
    EXPECT_TRUE(Object().toString().startsWith(u"CQXObject@"));
    EXPECT_TRUE(Exception().toString().startsWith(u"qx::Exception@"));
    EXPECT_TRUE(ResultException().toString().startsWith(u"Object@"));
}

TEST(Startup, NestsAndReleasesWithTheLastShutDownOnly) {
    const Class* const before = Class::forName(u"CQXString");
    EXPECT_EQ(QXCLLibInit(), 0);
    EXPECT_EQ(Class::forName(u"CQXString"), before);
    EXPECT_EQ(QXCLLibUninit(), 0);
    ASSERT_NE(g_pGlobalLock, nullptr);

    EXPECT_EQ(QXCLLibUninit(), 0);
    EXPECT_EQ(g_pGlobalLock, nullptr);
    EXPECT_EQ(QXCLLibUninit(), result::Fail);
    EXPECT_EQ(QXCLLibInit(), 0);
    Reference<text::charset::ByteToCharConverter> converter(
        text::charset::ByteToCharConverter::getConverter(u"latin1"));
    EXPECT_NE(converter.get(), nullptr);
}
