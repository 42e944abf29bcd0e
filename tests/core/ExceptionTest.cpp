#include <gtest/gtest.h>

#include <new>
#include <sstream>
#include <string>
#include <type_traits>

#include <qx/core/Exception.h>
#include <qx/core/ExternalException.h>
#include <qx/core/Result.h>
#include <qx/io/IoException.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/util/config/IniFileException.h>

using namespace qx::literals;
namespace charset = qx::text::charset;
namespace result = qx::result;

namespace {

template <class Base, class Derived>
constexpr bool IsBase = std::is_base_of_v<Base, Derived>;
static_assert(IsBase<qx::io::IoException, qx::io::TimeoutException>);
static_assert(!IsBase<qx::io::IoException, qx::io::UnexpectedEOFException>);
static_assert(IsBase<qx::Exception, qx::io::UnexpectedEOFException>);
static_assert(IsBase<qx::ExternalException, qx::IntOverflowException>);

template <class Thrown>
int32_t resultOfThrowing(const Thrown& thrown) {
    return qx::resultOf([&] { throw thrown; });
}

} // namespace

TEST(Exception, BecomesItsResultCodeAtTheBoundary) {
    const struct {
        int32_t actual;
        int32_t expected;
    } cases[] = {
        {resultOfThrowing(qx::Exception()), result::Fail},
        {resultOfThrowing(qx::ResultException()), result::Fail},
        {resultOfThrowing(qx::ResultException(result::InvalidArgument)), result::InvalidArgument},
        {resultOfThrowing(qx::OutOfMemoryException()), result::OutOfMemory},
        {resultOfThrowing(std::bad_alloc()), result::OutOfMemory},
        {resultOfThrowing(qx::io::TimeoutException()), result::Fail},
        {resultOfThrowing(charset::InvalidCharacterException()), result::InvalidCharacter},
        {resultOfThrowing(charset::UnmappableCharacterException()), result::UnmappableCharacter},
        {resultOfThrowing(charset::UnknownEncodingException()), result::UnknownEncoding},
        {resultOfThrowing(42), result::Fail},
        {qx::resultOf([] { return int32_t{7}; }), 7},
        {qx::resultOf([] {}), result::Ok},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.actual, c.expected) << "case " << &c - cases;
}

TEST(Exception, DescribesItself) {
    struct Unregistered : qx::Exception {};
    const auto textOf = [](const qx::Exception& exception) {
        std::ostringstream out;
        out << exception;
        return out.str();
    };
    const struct {
        std::string actual;
        const char* expected;
    } cases[] = {
        {textOf(qx::Exception(u"no such \u00F6ption"_qs)), "no such \u00F6ption"},
        {textOf(qx::io::TimeoutException()), "qx::io::TimeoutException"},
        {textOf(Unregistered()), "Object"},
        {textOf(qx::ResultException(result::NotFound)), "not found (0x80070002)"},
        {textOf(qx::ResultException(result::NotFound, u"a.ini")), "a.ini: not found (0x80070002)"},
        {textOf(qx::ResultException(result::Fail, u"a.ini")), "a.ini"},
        {textOf(charset::UnknownEncodingException(u"x"_qs)), "x: unknown encoding (0x8BB34103)"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.actual, c.expected);
}

TEST(Exception, OfMemoryIsAStandardOne) {
    const qx::OutOfMemoryException exception;
    EXPECT_STREQ(static_cast<const std::bad_alloc&>(exception).what(), "bad allocation");
}

TEST(Exception, KeepsWhatItWasGivenThroughCopies) {
    const qx::ResultException original(result::NotFound, qx::String(u"missing"));
    qx::ResultException copy;
    copy = original;
    EXPECT_EQ(copy.getResult(), result::NotFound);
    EXPECT_TRUE(copy.getDescription().equals(u"missing"));

    const int record = 0;
    const qx::MathOverflowException fault(&record);
    const qx::MathOverflowException faultCopy(fault);
    EXPECT_EQ(faultCopy.getRecord(), &record);

    const qx::util::IniFileException ini(qx::util::IniFileException::SET_NOT_FOUND,
                                         qx::String(u"set"));
    EXPECT_EQ(qx::util::IniFileException(ini).GetType(), 2);
}

TEST(Result, NegativeResultsThrowWithTheirText) {
    EXPECT_EQ(qx::throwIfFailed(3), 3);
    try {
        qx::throwIfFailed(result::TimedOut, u"too late");
        FAIL();
    } catch (const qx::ResultException& exception) {
        EXPECT_EQ(exception.getResult(), result::TimedOut);
        EXPECT_TRUE(exception.getDescription().equals(u"too late"));
    }
}
