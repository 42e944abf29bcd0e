#include <cerrno>
#include <system_error>

#include <gtest/gtest.h>

#include <qx/core/ErrorCode.h>
#include <qx/core/Exception.h>
#include <qx/net/socketerror.h>

namespace result = qx::result;
using qx::makeErrorCode;
using std::errc;

namespace {

TEST(ErrorCode, MeansWhatThePlatformReportsByIt) {
    constexpr errc None{};
    const struct {
        int32_t code;
        errc means;
        errc alsoMeans;
        errc doesNotMean;
    } cases[] = {
        {result::NotFound, errc::no_such_file_or_directory, None, errc::not_a_directory},
        {result::AccessDenied, errc::permission_denied, errc::operation_not_permitted,
         errc::no_such_file_or_directory},
        {result::Busy, errc::device_or_resource_busy, errc::resource_unavailable_try_again,
         errc::text_file_busy},
        {result::OutOfMemory, errc::not_enough_memory, None, errc::no_buffer_space},
        {result::TimedOut, errc::timed_out, None, errc::interrupted},
        {result::FileExists, errc::file_exists, None, errc::permission_denied},
        {result::AlreadyExists, errc::file_exists, None, errc::permission_denied},
        {result::NotImplemented, errc::function_not_supported, None, errc::not_supported},
        {result::InvalidCharacter, errc::illegal_byte_sequence, None, errc::invalid_argument},
        {QX_E_SOCKET_ECONNREFUSED, errc::connection_refused, None, errc::connection_reset},
        {QX_E_SOCKET_ECONNRESET, errc::connection_reset, errc::broken_pipe, errc::timed_out},
        {QX_E_SOCKET_EWOULDBLOCK, errc::operation_would_block, errc::resource_unavailable_try_again,
         errc::operation_in_progress},
    };
    for (const auto& c : cases) {
        const std::error_code code = makeErrorCode(c.code);
        SCOPED_TRACE(code.message());
        EXPECT_TRUE(code);
        EXPECT_TRUE(code == c.means);
        EXPECT_EQ(code.default_error_condition(), c.means);
        EXPECT_TRUE(c.alsoMeans == None || code == c.alsoMeans);
        EXPECT_FALSE(code == c.doesNotMean);
        EXPECT_FALSE(code.message().empty());
    }
}

TEST(ErrorCode, WithoutAMeaningIsNoneOfTheSystems) {
    const struct {
        int32_t code;
        const char* message;
    } cases[] = {
        {result::Fail, "unspecified failure"},
        {result::EndOfFile, "end of file"},
        {QX_E_SOCKET_SYSCALLFAILURE, "result 0x8BE3277B"},
        {INT32_MIN, "result 0x80000000"},
    };
    for (const auto& c : cases) {
        const std::error_code code = makeErrorCode(c.code);
        SCOPED_TRACE(c.message);
        EXPECT_EQ(code.message(), c.message);
        for (int error = 0; error < 140; ++error)
            EXPECT_FALSE(code == std::error_condition(error, std::generic_category())) << error;
        EXPECT_EQ(code.default_error_condition().category(), qx::resultCategory());
    }
}

TEST(ErrorCode, OfASuccessIsNoError) {
    for (const int32_t success : {result::Ok, 1, INT32_MAX}) {
        EXPECT_FALSE(makeErrorCode(success));
        EXPECT_EQ(makeErrorCode(success), makeErrorCode(result::Ok));
    }
    EXPECT_EQ(makeErrorCode(0).message(), "success");
    EXPECT_EQ(makeErrorCode(0).default_error_condition(), std::error_condition());
}

TEST(ErrorCode, ComesWithEveryException) {
    EXPECT_TRUE(qx::ResultException(result::NotFound).code() == errc::no_such_file_or_directory);
    EXPECT_TRUE(qx::OutOfMemoryException().code() == errc::not_enough_memory);
    EXPECT_EQ(qx::Exception().code(), makeErrorCode(result::Fail));
    EXPECT_STREQ(qx::Exception().code().category().name(), "qx");
}

} // namespace
