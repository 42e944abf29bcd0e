#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <sys/syscall.h>

#include <qx/platform/guid.h>
#include <qx/platform/replace.h>
#include <qx/platform/result.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/RefusedCall.h"
#include "tests/support/TemporaryRegistry.h"

namespace {

using namespace qx;

constexpr char16_t Text[] = u"{01234567-89AB-CDEF-FEDC-BA9876543210}";
constexpr QXGUID Value = {
    0x01234567, 0x89AB, 0xCDEF, {0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10}};

TEST(Guid, ReadsAndWritesTheFieldsInOrder) {
    QXGUID guid{};
    ASSERT_EQ(QXComGUIDFromString(Text, &guid), result::Ok);
    EXPECT_EQ(std::memcmp(&guid, &Value, sizeof guid), 0);
    ASSERT_EQ(QXComGUIDFromString(u"{01234567-89ab-cdef-fedc-ba9876543210}", &guid), result::Ok);
    EXPECT_EQ(QXComCompareGUID(&guid, &Value), 0);
    char16_t buffer[39];
    ASSERT_EQ(QXComStringFromGUID(&Value, buffer, 39), result::Ok);
    EXPECT_EQ(std::u16string(buffer), Text);
    EXPECT_EQ(QXComStringFromGUID(&Value, buffer, 38), result::BufferTooSmall);
    EXPECT_EQ(buffer[0], 0);
}

TEST(Guid, RefusesEveryOtherText) {
    // Every unit of the good form, replaced by one that does not belong there, and every cut.
    for (size_t at = 0; at < 38; ++at) {
        for (const char16_t unit :
             {u'g', u'-', u'{', u' ', u'\u0660', u'\uFF10', u'\0', u'/', u':'}) {
            std::u16string text = Text;
            if (text[at] == unit)
                continue;
            text[at] = unit;
            QXGUID guid = Value;
            ASSERT_EQ(QXComGUIDFromString(text.c_str(), &guid), result::InvalidArgument) << at;
            ASSERT_EQ(guid.Data1, 0u);
        }
        QXGUID guid;
        ASSERT_EQ(QXComGUIDFromString(std::u16string(Text, at).c_str(), &guid),
                  result::InvalidArgument);
    }
    QXGUID guid;
    for (const char16_t* text :
         {u"{01234567-89AB-CDEF-FEDC-BA9876543210} ", u" {01234567-89AB-CDEF-FEDC-BA9876543210}",
          u"01234567-89AB-CDEF-FEDC-BA9876543210", u"{0123456789ABCDEFFEDCBA9876543210}",
          u"{01234567-89ABCDEF-FEDC-BA98-76543210}"})
        EXPECT_EQ(QXComGUIDFromString(text, &guid), result::InvalidArgument);
    EXPECT_EQ(QXComGUIDFromString(nullptr, &guid), result::NullPointer);
}

TEST(Guid, OrdersByTheFieldsAsUnsignedNumbers) {
    const char16_t* const ascending[] = {
        u"{00000000-0000-0000-0000-000000000000}", u"{00000000-0000-0000-0000-000000000001}",
        u"{00000000-0000-0000-0000-0000000000FF}", u"{00000000-0000-0000-0100-000000000000}",
        u"{00000000-0000-0001-0000-000000000000}", u"{00000000-0000-0100-0000-000000000000}",
        u"{00000000-0001-0000-0000-000000000000}", u"{00000001-0000-0000-0000-000000000000}",
        u"{00000100-0000-0000-0000-000000000000}", u"{80000000-0000-0000-0000-000000000000}",
    };
    for (size_t i = 0; i < std::size(ascending); ++i) {
        for (size_t j = 0; j < std::size(ascending); ++j) {
            QXGUID left, right;
            QXComGUIDFromString(ascending[i], &left);
            QXComGUIDFromString(ascending[j], &right);
            const int32_t order = QXComCompareGUID(&left, &right);
            EXPECT_EQ((order > 0) - (order < 0), (i > j) - (i < j)) << i << " and " << j;
        }
    }
}

TEST(Guid, GeneratesDistinctIdentifiersOfVersion4) {
    std::set<std::u16string> seen;
    for (int i = 0; i < 1000; ++i) {
        QXGUID guid;
        ASSERT_EQ(QXComGenerateGUID(&guid), result::Ok);
        ASSERT_EQ(guid.Data3 >> 12, 4);
        ASSERT_EQ(guid.Data4[0] >> 6, 2);
        char16_t text[39];
        QXComStringFromGUID(&guid, text, 39);
        QXGUID back;
        ASSERT_EQ(QXComGUIDFromString(text, &back), result::Ok);
        ASSERT_EQ(QXComCompareGUID(&guid, &back), 0);
        seen.insert(text);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

constexpr int CannotRefuse = 77;

/// The number of what fails without the call; 0 when nothing does.
const qxtest::ChildEntry withoutRandom("useRandomNumbers", [](const auto& arguments) {
    if (!qxtest::refuseCall(SYS_getrandom, std::stoi(arguments[0])))
        return CannotRefuse;
    QXGUID guids[2];
    if (QXComGenerateGUID(&guids[0]) < 0 || QXComGenerateGUID(&guids[1]) < 0 ||
        QXComCompareGUID(&guids[0], &guids[1]) == 0)
        return 1;
    const qxtest::TemporaryRegistry registry;
    if (QXRegistrySetValue(QX_HKEY_USER, u"Key", u"", QX_REG_STRING, u"", 2) < 0)
        return 2;
    const std::string file = registry.folder() + "/file";
    return QXFileReplace(file.c_str(), "x", 1, 0600, nullptr) < 0 ? 3 : 0;
});

TEST(Guid, ComesFromTheDeviceWhereTheCallIsMissing) {
    for (const int error : {ENOSYS, EPERM}) {
        const int status = qxtest::ChildProcess("useRandomNumbers", {std::to_string(error)}).join();
        if (status == CannotRefuse)
            GTEST_SKIP() << "system calls cannot be filtered here";
        EXPECT_EQ(status, 0);
    }
}

} // namespace
