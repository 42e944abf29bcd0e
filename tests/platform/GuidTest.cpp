#include <cerrno>
#include <gtest/gtest.h>
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

// The class over these functions looks at the length of a text itself.
TEST(Guid, RefusesTextsThatEndEarlyAndShortBuffers) {
    QXGUID guid = Value;
    for (size_t length = 0; length < 38; ++length) {
        ASSERT_EQ(QXComGUIDFromString(std::u16string(Text, length).c_str(), &guid),
                  result::InvalidArgument);
        ASSERT_EQ(guid.Data1, 0u);
        guid = Value;
    }
    EXPECT_EQ(QXComGUIDFromString(nullptr, &guid), result::NullPointer);
    char16_t buffer[39];
    EXPECT_EQ(QXComStringFromGUID(&Value, buffer, 38), result::BufferTooSmall);
    EXPECT_EQ(buffer[0], 0);
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
