#include <gtest/gtest.h>

#include <qx/platform/guid.h>
#include <qx/platform/module.h>
#include <qx/platform/result.h>

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

TEST_F(ModuleTest, FindsAClassByItsNameInEitherCase) {
    QXGUID found{};
    EXPECT_EQ(QXComClassIDFromProgID(u"test.OBJECT", &found), result::Ok);
    EXPECT_EQ(QXComCompareGUID(&found, &ClassId), 0);
    EXPECT_EQ(QXComClassIDFromProgID(u"Test.Object.1", &found), result::NotFound);
    EXPECT_EQ(found.Data1, 0u);
    EXPECT_EQ(QXComClassIDFromProgID(u"Test.Objec", &found), result::NotFound);
    EXPECT_EQ(QXComClassIDFromProgID(u"", &found), result::NotFound);
    EXPECT_EQ(QXComClassIDFromProgID(nullptr, &found), result::NullPointer);
}

TEST_F(ModuleTest, OffersEachClassAndNameOnce) {
    EXPECT_EQ(QXComRegisterClassFactory(nullptr, &ClassId, createObject), result::FileExists);
    EXPECT_EQ(QXComRegisterClassFactory(u"TEST.object", &OtherClassId, createObject),
              result::FileExists);
    EXPECT_EQ(QXComRevokeClassFactory(&OtherClassId), result::NotFound);
    EXPECT_EQ(QXComRegisterClassFactory(nullptr, &OtherClassId, createObject), result::Ok);
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

TEST_F(ModuleTest, AFactoryMayUseTheTable) {
    ASSERT_EQ(QXComRegisterClassFactory(u"Test.Outer", &OtherClassId, createThroughTable),
              result::Ok);
    void* object = nullptr;
    EXPECT_EQ(create(OtherClassId, &object), result::Ok);
    EXPECT_EQ(object, &s_object);
    EXPECT_EQ(QXComRevokeClassFactory(&OtherClassId), result::Ok);
}

} // namespace
