#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include <qx/net/socketerror.h>
#include <qx/platform/result.h>

namespace {

std::u16string_view describe(ENUM_QX_E_SOCKET code) {
    return QXGetDescriptionFromQX_E_SOCKET(code);
}

TEST(SocketError, NumbersBecomeCodes) {
    const struct {
        int native;
        ENUM_QX_E_SOCKET ofSocket;
        ENUM_QX_E_SOCKET ofResolver;
    } cases[] = {
        {0, 0, 0},
        {10022, QX_E_SOCKET_EINVAL, QX_E_SOCKET_EINVAL},
        {10004, QX_E_SOCKET_EINTR, QX_E_SOCKET_EINTR},
        {11004, QX_E_SOCKET_NO_DATA, QX_E_SOCKET_NO_DATA},
        {10000, QX_E_FAIL, QX_E_FAIL},
        {10003, QX_E_FAIL, QX_E_FAIL},
        {11005, QX_E_FAIL, QX_E_FAIL},
        {-10022, QX_E_FAIL, QX_E_FAIL},
        {10022 + 0x10000, QX_E_FAIL, QX_E_FAIL}, // the lower half alone is no number
        {2008, QX_E_FAIL, QX_E_SOCKET_EAI_MEMORY},
        {14001, QX_E_FAIL, QX_E_SOCKET_EAI_NODATA},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.native);
        EXPECT_EQ(QX_E_SOCKETFromNativeSocketError(c.native), c.ofSocket);
        EXPECT_EQ(QX_E_SOCKETFromNativeEaiSocketError(c.native), c.ofResolver);
    }
    EXPECT_EQ(QX_E_SOCKET_EINVAL, static_cast<int32_t>(0x8BE32726u));
    EXPECT_EQ(QX_E_SOCKET_EAI_NONAME, static_cast<int32_t>(0x8BE332C9u));
}

TEST(SocketError, DescriptionsBeginWithTheName) {
    EXPECT_EQ(describe(0), u"OK");
    EXPECT_EQ(describe(QX_E_FAIL), u"FAIL");
    EXPECT_EQ(describe(10022), u"FAIL");
    EXPECT_EQ(describe(QX_E_SOCKET_EINVAL), u"EINVAL An invalid argument was supplied. ");
    EXPECT_EQ(describe(QX_E_SOCKET__E_NO_MORE),
              u"_E_NO_MORE No more results can be returned by WSALookupServiceNext. ");
    EXPECT_EQ(describe(QX_E_SOCKET_EAI_NONAME), u"EAI_NONAME NAME or SERVICE is unknown.");
    // Every code is found again from its number; those of the system end with a blank but for one.
    int codes = 0;
    for (int number = 1; number <= 0xFFFF; ++number) {
        const ENUM_QX_E_SOCKET code = QX_E_SOCKET_FROM_NUMBER(number);
        const std::u16string text(describe(code));
        if (text == u"FAIL")
            continue;
        ++codes;
        SCOPED_TRACE(number);
        EXPECT_EQ(QX_E_SOCKETFromNativeEaiSocketError(number), code);
        EXPECT_NE(text.find(u' '), std::u16string::npos);
        const bool isOfSystem = number >= 10004 && number <= 11004;
        EXPECT_EQ(text.ends_with(u". "), isOfSystem && number != 10004);
    }
    EXPECT_EQ(codes, 71);
}

} // namespace
