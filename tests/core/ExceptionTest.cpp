#include <algorithm>
#include <cerrno>
#include <exception>
#include <sstream>
#include <system_error>

#include <gtest/gtest.h>

#include <qx/qx.h>

#include "tests/support/BlockingThread.h"
#include "tests/support/FailingAllocator.h"

using namespace qx;
using namespace qx::literals;
namespace charset = text::charset;

namespace {

template <class Base, class Derived>
constexpr bool IsBase = std::is_base_of_v<Base, Derived>;
static_assert(IsBase<io::IoException, io::TimeoutException>);
static_assert(!IsBase<io::IoException, io::UnexpectedEOFException>);
static_assert(IsBase<Exception, io::UnexpectedEOFException>);
static_assert(IsBase<ExternalException, IntOverflowException>);
static_assert(std::is_nothrow_copy_constructible_v<ResultException>);
static_assert(!std::is_convertible_v<OutOfMemoryException*, std::exception*>); // it has two

struct Unregistered : Exception {};

/// What becomes of an exception at the boundary, as a text, as an error code and in a handler of
/// the standard library's.
void expectThat(const auto& thrown, int32_t code, const char* text) {
    SCOPED_TRACE(text);
    EXPECT_EQ(resultOf([&] { throw thrown; }), code);
    EXPECT_EQ(thrown.code(), makeErrorCode(code));
    EXPECT_EQ((std::ostringstream() << thrown).str(), text);
    try {
        throw thrown;
    } catch (const std::exception& caught) {
        EXPECT_STREQ(caught.what(), text);
    }
}

} // namespace

TEST(Exception, BecomesItsResultCodeAndDescribesItself) {
    struct Own : Exception {
        String getDescription() const override { return u"ours"_qs; }
    };
    expectThat(Exception(u"no such \u00F6ption"_qs), result::Fail, "no such \u00F6ption");
    expectThat(Own(), result::Fail, "ours");
    expectThat(Unregistered(), result::Fail, "(anonymous namespace)::Unregistered");
    expectThat(io::TimeoutException(), result::Fail, "qx::io::TimeoutException");
    expectThat(ResultException(), result::Fail, "qx::ResultException");
    expectThat(ResultException(result::NotFound), result::NotFound, "not found (0x80070002)");
    expectThat(ResultException(result::NotFound, u"a.ini"), result::NotFound,
               "a.ini: not found (0x80070002)");
    expectThat(ResultException(result::Fail, u"a.ini"), result::Fail, "a.ini");
    expectThat(charset::InvalidCharacterException(), result::InvalidCharacter,
               "invalid character (0x8BB34101)");
    expectThat(charset::UnmappableCharacterException(), result::UnmappableCharacter,
               "unmappable character (0x8BB34102)");
    expectThat(charset::UnknownEncodingException(u"x"_qs), result::UnknownEncoding,
               "x: unknown encoding (0x8BB34103)");
    EXPECT_EQ(resultOf([] { throw OutOfMemoryException(); }), result::OutOfMemory);
    EXPECT_EQ(OutOfMemoryException().code(), makeErrorCode(result::OutOfMemory));
    EXPECT_EQ(resultOf([] { throw std::bad_alloc(); }), result::OutOfMemory);
    EXPECT_EQ(resultOf([] { throw 42; }), result::Fail);
    EXPECT_EQ(resultOf([] { return int32_t{7}; }), 7);
    EXPECT_EQ(resultOf([] {}), result::Ok);
    EXPECT_EQ(throwIfFailed(3), 3);
    EXPECT_EQ(resultOf([] { throwIfFailed(result::TimedOut); }), result::TimedOut);
}

TEST(Exception, KeepsWhatItWasGivenThroughCopies) {
    ResultException copy;
    copy = ResultException(result::NotFound, u"missing"_qs);
    expectThat(copy, result::NotFound, "missing: not found (0x80070002)");
    const ResultException kept(copy);
    EXPECT_NE(kept.what(), copy.what());
    copy = ResultException(result::Busy);
    EXPECT_STREQ(copy.what(), "in use (0x800700AA)");
    EXPECT_STREQ(kept.what(), "missing: not found (0x80070002)");
    std::u16string memory = u"missing";
    const String wrapped(memory.c_str(), String::AM_WRAP);
    const Exception both = withDetail(Exception(wrapped), wrapped);
    memory[0] = u'M';
    EXPECT_STREQ(both.what(), "missing: missing");
    const int record = 0;
    const MathOverflowException fault(&record);
    EXPECT_EQ(MathOverflowException(fault).getRecord(), &record);
    const util::IniFileException ini(util::IniFileException::SET_NOT_FOUND, u"set"_qs);
    EXPECT_EQ(util::IniFileException(ini).GetType(), 2);
}

TEST(Exception, TellsTheSameTextToAllThreadsAndAFixedOneWithoutMemory) {
    const ResultException shared(result::NotFound, u"a.ini"_qs);
    qxtest::failEachAllocation([&] {
        const ResultException each(shared);
        const std::string_view told = each.what();
        EXPECT_TRUE(told.starts_with("a.ini: not found") || told.starts_with("qx::Exception"))
            << told;
    });
    const char* told[4];
    qxtest::inThreads(4, [&](int thread) { told[thread] = shared.what(); });
    EXPECT_EQ(std::ranges::count(told, shared.what()), 4);
}

TEST(ErrorCode, MeansWhatThePlatformReportsByIt) {
    const struct {
        int32_t code;
        std::vector<int> errors; // the first is what it stands for
        const char* message = nullptr;
    } cases[] = {
        {result::Ok, {}, "success"},
        {result::NotFound, {ENOENT}},
        {result::AccessDenied, {EACCES, EPERM, EISDIR}},
        {result::Busy, {EBUSY, EAGAIN}},
        {result::AlreadyExists, {EEXIST}},
        {result::NotImplemented, {ENOSYS}},
        {result::InvalidCharacter, {EILSEQ}},
        {QX_E_SOCKET_ECONNREFUSED, {ECONNREFUSED}},
        {QX_E_SOCKET_ECONNRESET, {ECONNRESET, EPIPE}},
        {result::Fail, {}, "unspecified failure"},
        {QX_E_SOCKET_SYSCALLFAILURE, {}, "result 0x8BE3277B"},
        {INT32_MIN, {}, "result 0x80000000"},
    };
    for (const auto& [number, errors, message] : cases) {
        const std::error_code code = makeErrorCode(number);
        SCOPED_TRACE(code.message());
        EXPECT_EQ(!code, number >= 0);
        EXPECT_FALSE(code.message().empty());
        EXPECT_TRUE(!message || code.message() == message);
        const auto condition = [](int error) {
            return std::error_condition(error, std::generic_category());
        };
        for (int error = 1; error < 140; ++error)
            EXPECT_EQ(code == condition(error), std::ranges::count(errors, error) == 1) << error;
        EXPECT_EQ(code.default_error_condition(),
                  !errors.empty() ? condition(errors[0])
                  : number < 0    ? std::error_condition(number, resultCategory())
                                  : std::error_condition());
    }
    EXPECT_EQ(makeErrorCode(1), makeErrorCode(result::Ok));
}
