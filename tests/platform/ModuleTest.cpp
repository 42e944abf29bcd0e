#include <gtest/gtest.h>

#include <string>

#include <qx/platform/guid.h>
#include <qx/platform/module.h>
#include <qx/platform/result.h>

// What the tables in /etc say on the machine of a test cannot be chosen.
#include "qx/platform/posix/module/PrivateGroup.h"

namespace {

using namespace qx;

constexpr QXGUID ClassId = {1, 2, 3, {4}};
constexpr QXGUID OtherClassId = {1, 2, 3, {5}};
constexpr QXGUID Interface = {9, 9, 9, {9}};
constexpr int Module = 0; // its address identifies this module
int s_object;

int32_t createObject(const QXGUID* interfaceId, void** object) {
    *object = &s_object;
    // Also on failure an object is stored, which must not get through.
    return QXComCompareGUID(interfaceId, &Interface) == 0 ? result::Ok : result::NoInterface;
}

/// A factory that itself looks a class up.
int32_t createThroughTable(const QXGUID* interfaceId, void** object) {
    QXGUID classId;
    if (const int32_t result = QXComClassIDFromProgID(u"Test.Object", &classId); result < 0)
        return result;
    return QXModuleComCreateObject(&Module, &classId, nullptr, interfaceId, object);
}

/// This module lives and offers one class.
class ModuleTest : public testing::Test {
protected:
    ModuleTest() {
        EXPECT_EQ(QXModuleSetInitialized(&Module, 1), result::Ok);
        EXPECT_EQ(QXComRegisterClassFactory(u"Test.Object", &ClassId, createObject), result::Ok);
    }
    ~ModuleTest() override {
        QXComRevokeClassFactory(&ClassId);
        QXModuleSetInitialized(&Module, 0);
    }

    int32_t create(const QXGUID& classId, void** object, const QXGUID& interfaceId = Interface) {
        return QXModuleComCreateObject(&Module, &classId, nullptr, &interfaceId, object);
    }
};

TEST(Modules, AreCountedOnceEach) {
    const int first = 0, second = 0;
    const int32_t before = QXModuleGetLiveCount();
    EXPECT_EQ(QXModuleSetInitialized(&first, 0), result::NotFound);
    EXPECT_EQ(QXModuleSetInitialized(&first, 1), result::Ok);
    EXPECT_EQ(QXModuleSetInitialized(&first, 1), result::FileExists);
    EXPECT_EQ(QXModuleSetInitialized(&second, 1), result::Ok);
    EXPECT_EQ(QXModuleGetLiveCount(), before + 2);
    EXPECT_EQ(QXModuleSetInitialized(&first, 0), result::Ok);
    EXPECT_EQ(QXModuleSetInitialized(&first, 0), result::NotFound);
    EXPECT_EQ(QXModuleSetInitialized(&second, 0), result::Ok);
    EXPECT_EQ(QXModuleGetLiveCount(), before);
    EXPECT_EQ(QXModuleSetInitialized(nullptr, 1), result::NullPointer);
}

TEST_F(ModuleTest, OffersEachClassAndNameOnceInEitherCase) {
    QXGUID found{};
    EXPECT_EQ(QXComClassIDFromProgID(u"test.OBJECT", &found), result::Ok);
    EXPECT_EQ(QXComCompareGUID(&found, &ClassId), 0);
    for (const char16_t* const other : {u"Test.Object.1", u"Test.Objec", u""}) {
        EXPECT_EQ(QXComClassIDFromProgID(other, &found), result::NotFound);
        EXPECT_EQ(found.Data1, 0u);
    }
    EXPECT_EQ(QXComClassIDFromProgID(nullptr, &found), result::NullPointer);
    EXPECT_EQ(QXComRegisterClassFactory(nullptr, &ClassId, createObject), result::FileExists);
    EXPECT_EQ(QXComRegisterClassFactory(u"TEST.object", &OtherClassId, createObject),
              result::FileExists);
    EXPECT_EQ(QXComRevokeClassFactory(&OtherClassId), result::NotFound);
    EXPECT_EQ(QXComRegisterClassFactory(nullptr, &OtherClassId, createThroughTable), result::Ok);
    void* object = nullptr;
    EXPECT_EQ(create(OtherClassId, &object), result::Ok) << "the table is not locked meanwhile";
    EXPECT_EQ(object, &s_object);
    EXPECT_EQ(QXComRevokeClassFactory(&OtherClassId), result::Ok);
    EXPECT_EQ(QXComRevokeClassFactory(&OtherClassId), result::NotFound);
}

TEST_F(ModuleTest, CreatesObjectsForLiveModules) {
    void* object = nullptr;
    EXPECT_EQ(create(ClassId, &object), result::Ok);
    EXPECT_EQ(object, &s_object);
    EXPECT_EQ(create(ClassId, &object, OtherClassId), result::NoInterface);
    EXPECT_EQ(object, nullptr);
    object = &object;
    EXPECT_EQ(create(OtherClassId, &object), result::ClassNotAvailable);
    EXPECT_EQ(object, nullptr);
    int outer = 0;
    EXPECT_EQ(QXModuleComCreateObject(&Module, &ClassId, &outer, &Interface, &object),
              result::NoAggregation);
    EXPECT_EQ(QXModuleComCreateObject(&outer, &ClassId, nullptr, &Interface, &object),
              result::InvalidHandle);
    EXPECT_EQ(QXModuleComCreateObject(&Module, nullptr, nullptr, &Interface, &object),
              result::NullPointer);
    EXPECT_EQ(create(ClassId, nullptr), result::NullPointer);
}

TEST(PrivateGroup, IsTheFirstGroupOfOneUserThatHasHisName) {
    const std::string users = "root:x:0:0:root:/root:/bin/sh\n"
                              "anna:x:1000:1000::/home/anna:/bin/sh\n"
                              "ben:x:1001:1001::/home/ben:/bin/sh\n"
                              "+::::::\n"
                              "\n"
                              "# eve:x:1000:1000\n"
                              "eve:x:1002:100\n"
                              "carl:x:1003:1003::/home/carl:/bin/sh\n"
                              "guest:x:1004:1003::/home/guest:/bin/sh\n"
                              "dora:x:1005:1005::/home/dora:/bin/sh"; // no line's end
    const struct {
        const char* what;
        const char* groups;
        uint32_t user, group;
        bool isPrivate;
    } cases[] = {
        {"own", "root:x:0:\n#staff:x:1000:\nanna:x:1000:\n", 1000, 1000, true},
        {"own, in the last line", "dora:x:1005:", 1005, 1005, true},
        {"a member twice over", "anna:x:1000:anna\n", 1000, 1000, true},
        {"with somebody else too", "anna:x:1000:anna,ben\n", 1000, 1000, false},
        {"of somebody else", "ben:x:1001:\n", 1000, 1001, false},
        {"of somebody else, as a member", "ben:x:1001:anna\n", 1000, 1001, false},
        {"of another name", "staff:x:1000:\n", 1000, 1000, false},
        {"of two names", "anna:x:1000:\nstaff:x:1000:ben\n", 1000, 1000, false},
        {"common first group", "users:x:100:\neve:x:1002:\n", 1002, 100, false},
        {"not his first", "eve:x:1002:\n", 1002, 1002, false},
        {"first group of a second user", "carl:x:1003:\n", 1003, 1003, false},
        {"not in the table", "ben:x:1001:\n", 1000, 1000, false},
        {"user not in the table", "zoe:x:2000:\n", 2000, 2000, false},
        {"no number", "anna:x:1000x:\nanna:x\nanna\n:::\n", 1000, 1000, false},
        {"no table", "", 1000, 1000, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(qx::platform::isPrivateGroup(users, c.groups, c.user, c.group), c.isPrivate);
    }
}

} // namespace
