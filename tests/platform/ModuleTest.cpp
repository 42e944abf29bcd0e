#include <cerrno>
#include <sys/syscall.h>

#include <qx/platform/guid.h>
#include <qx/platform/module.h>
#include <qx/platform/replace.h>

// What the tables in /etc say on the machine of a test cannot be chosen.
#include "qx/platform/posix/module/PrivateGroup.h"

#include "tests/support/ChildProcess.h"
#include "tests/support/ExpectResult.h"
#include "tests/support/RefusedCall.h"
#include "tests/support/TemporaryRegistry.h"

namespace {

using namespace qx;
using namespace qxtest;

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

TEST(Modules, AreCountedOnceEachAndOfferClassesByIdAndNameInEitherCase) {
    const int32_t before = QXModuleGetLiveCount();
    QXGUID found{};
    void* object = &object;
    const auto create = [&object](const QXGUID& classId, const QXGUID& interfaceId = Interface) {
        return QXModuleComCreateObject(&Module, &classId, nullptr, &interfaceId, &object);
    };
    EXPECT_EQ(create(ClassId), result::InvalidHandle);
    expectEach(result::NullPointer,
               {QXModuleSetInitialized(nullptr, 1), QXComClassIDFromProgID(nullptr, &found)});
    EXPECT_EQ(QXModuleSetInitialized(&Module, 0), result::NotFound);
    EXPECT_EQ(QXModuleSetInitialized(&Module, 1), result::Ok);
    EXPECT_EQ(QXComRegisterClassFactory(u"Test.Object", &ClassId, createObject), result::Ok);
    EXPECT_EQ(QXModuleGetLiveCount(), before + 1);
    expectEach(result::FileExists,
               {QXModuleSetInitialized(&Module, 1),
                QXComRegisterClassFactory(nullptr, &ClassId, createObject),
                QXComRegisterClassFactory(u"TEST.object", &OtherClassId, createObject)});
    EXPECT_EQ(QXComClassIDFromProgID(u"test.OBJECT", &found), result::Ok);
    EXPECT_EQ(QXComCompareGUID(&found, &ClassId), 0);
    for (const char16_t* const other : {u"Test.Object.1", u"Test.Objec", u""}) {
        EXPECT_EQ(QXComClassIDFromProgID(other, &found), result::NotFound);
        EXPECT_EQ(found.Data1, 0u);
    }
    EXPECT_EQ(create(ClassId, OtherClassId), result::NoInterface);
    EXPECT_EQ(object, nullptr);
    object = &object;
    EXPECT_EQ(create(OtherClassId), result::ClassNotAvailable);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(QXModuleComCreateObject(&Module, &ClassId, &s_object, &Interface, &object),
              result::NoAggregation);
    expectEach(result::NullPointer,
               {QXModuleComCreateObject(&Module, nullptr, nullptr, &Interface, &object),
                QXModuleComCreateObject(&Module, &ClassId, nullptr, &Interface, nullptr),
                QXComCreateObjectByProgID(nullptr, nullptr, &Interface, &object)});
    EXPECT_EQ(QXComCreateObjectByProgID(u"TEST.object", nullptr, &Interface, &object), result::Ok);
    EXPECT_EQ(QXComRegisterClassFactory(nullptr, &OtherClassId, createThroughTable), result::Ok);
    EXPECT_EQ(create(OtherClassId), result::Ok) << "the table is not locked meanwhile";
    EXPECT_EQ(object, &s_object);
    EXPECT_EQ(QXComRevokeClassFactory(&OtherClassId), result::Ok);
    EXPECT_EQ(QXComRevokeClassFactory(&OtherClassId), result::NotFound);
    expectEach(result::Ok, {QXComRevokeClassFactory(&ClassId), QXModuleSetInitialized(&Module, 0)});
    EXPECT_EQ(QXModuleGetLiveCount(), before);
}

// The class over these functions looks at the length of a text itself.
TEST(Guid, RefusesTextsThatEndEarlyAndShortBuffers) {
    constexpr QXGUID Value = {0x01234567, 0x89AB, 0xCDEF, {0xFE, 0xDC, 0xBA, 0x98, 0x76}};
    char16_t text[39];
    EXPECT_EQ(QXComStringFromGUID(&Value, text, 38), result::BufferTooSmall);
    EXPECT_EQ(text[0], 0);
    EXPECT_EQ(QXComStringFromGUID(&Value, text, 39), result::Ok);
    for (size_t length = 0; length < 38; ++length) {
        QXGUID guid = Value;
        ASSERT_EQ(QXComGUIDFromString(std::u16string(text, length).c_str(), &guid),
                  result::InvalidArgument);
        ASSERT_EQ(guid.Data1, 0u);
        ASSERT_EQ(QXComGUIDFromString(nullptr, &guid), result::NullPointer);
    }
}

QX_TEST_IN_CHILD(Guid, ComesFromTheDeviceWhereTheCallIsMissingOrForbidden) {
    const TemporaryRegistry registry;
    const std::string file = registry.folder() + "/file";
    for (const int error : {ENOSYS, EPERM}) {
        if (!refuseCall(SYS_getrandom, error)) // by the filter that comes last
            GTEST_SKIP() << "system calls cannot be filtered here";
        QXGUID guids[2];
        expectEach(result::Ok,
                   {QXComGenerateGUID(&guids[0]), QXComGenerateGUID(&guids[1]),
                    QXRegistrySetValue(QX_HKEY_USER, u"Key", u"", QX_REG_STRING, u"", 2),
                    QXFileReplace(file.c_str(), "x", 1, 0600, nullptr)});
        EXPECT_NE(QXComCompareGUID(&guids[0], &guids[1]), 0);
    }
}

TEST(PrivateGroup, IsTheFirstGroupOfOneUserThatHasHisName) {
    const std::string users = "root:x:0:0:root:/root:/bin/sh\n"
                              "anna:x:1000:1000::/home/anna:/bin/sh\n"
                              "ben:x:1001:1001::/home/ben:/bin/sh\n"
                              "+::::::\n\n# eve:x:1000:1000\neve:x:1002:100\n"
                              "carl:x:1003:1003::/home/carl:/bin/sh\n"
                              "guest:x:1004:1003::/home/guest:/bin/sh\n"
                              "dora:x:1005:1005::/home/dora:/bin/sh"; // no line's end
    const std::tuple<const char*, const char*, uint32_t, uint32_t, bool> cases[] = {
        // what is tried, the groups, the user and one of them; whether that is his own
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
    for (const auto& [what, groups, user, group, isPrivate] : cases)
        EXPECT_EQ(qx::platform::isPrivateGroup(users, groups, user, group), isPrivate) << what;
}

} // namespace
