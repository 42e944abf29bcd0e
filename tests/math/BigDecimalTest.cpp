#include <cmath>
#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Float.h>
#include <qx/core/Integer.h>
#include <qx/core/Reference.h>
#include <qx/math/BigDecimal.h>

using namespace qx;
using math::BigDecimal;
using math::BigInteger;

namespace {

BigDecimal scaled(int64_t unscaled, int scale) { return {BigInteger(unscaled), scale}; }

} // namespace

// The cases in tests/data have the arithmetic.
TEST(BigDecimal, TakesSixPlacesOfADouble) {
    const std::pair<double, const char16_t*> rows[] = {
        {0.1, u"0.1"},
        {0.0000005, u"0.0"},
        {-0.0, u"0.0"},
        {0.0000015, u"0.000002"},
        {1e22, u"10000000000000000000000.0"},
    };
    for (const auto& [value, printed] : rows)
        EXPECT_EQ(BigDecimal(value).toString(), printed) << value;
    EXPECT_EQ(BigDecimal(0.1F).toString(), u"0.1");
    EXPECT_EQ(BigDecimal(std::numeric_limits<double>::max()).toDouble(),
              std::numeric_limits<double>::max());
    BigDecimal number(7);
    for (const double value : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
        EXPECT_THROW(number = value, Exception);
        EXPECT_EQ(number, 7);
    }
    EXPECT_EQ((number = 2.5).toString(), u"2.5");
    EXPECT_EQ((number = -3).toString(), u"-3");
    EXPECT_EQ((number = 3u).toString(), u"3");
}

TEST(BigDecimal, OperatesOnItselfAndOnBuiltInNumbers) {
    const BigDecimal number(u"1.5");
    EXPECT_EQ((number + 2).toString(), u"3.5");
    EXPECT_EQ((2 + number).toString(), u"3.5");
    EXPECT_EQ((number - BigDecimal(u"0.25")).toString(), u"1.25");
    EXPECT_EQ((number * BigDecimal(u"-0.25")).toString(), u"-0.375");
    EXPECT_EQ((-number).abs(), 15);
    BigDecimal itself(number);
    EXPECT_EQ(((itself += itself) *= itself).toString(), u"9.00");
    EXPECT_EQ((itself -= itself).toString(), u"0.00");
    EXPECT_THROW((itself = number).divide(scaled(0, 5), 2), Exception);
    EXPECT_EQ(itself.divide(itself, 1).toString(), u"1.0");
    std::ostringstream out;
    out << scaled(-125, 2);
    EXPECT_EQ(out.str(), "-1.25");
}

TEST(BigDecimal, Converts) {
    EXPECT_EQ(scaled(1, 0).setScale(25).setScale(0), 1); // beyond the powers of one limb
    EXPECT_EQ(BigDecimal(u"-7.9").toInt64(), -7);
    EXPECT_EQ(BigDecimal(1e30).toInt64(), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(scaled(25, 1).toFloat(), 2.5F);
    // 300 digits before the point and behind it
    const std::u16string nines(300, u'9');
    EXPECT_EQ(BigDecimal(nines + u"." + nines).toDouble(), 1e300);
    EXPECT_EQ(BigDecimal(u"0." + std::u16string(299, u'0') + nines).toDouble(), 1e-299);
    EXPECT_EQ(scaled(0x0201, 5).getSize(), 2);
    EXPECT_EQ(scaled(0x0201, 5).getData()[1], 2);
    EXPECT_EQ(scaled(-5, 1).toBigDecimal().toString(), u"-0.5");
}

TEST(BigDecimal, ComparesAndHashesByValue) {
    // Ascending in value from row to row; equal within one.
    const std::vector<std::vector<BigDecimal>> rows{
        {scaled(-1, -20), scaled(-10, -19)},
        {scaled(-150, 2), scaled(-15, 1)},
        {scaled(-1, 30)},
        {0, scaled(0, 7), scaled(0, -7)},
        {scaled(1, 30), scaled(1000, 33)},
        {scaled(99, 2)},
        {1, scaled(100, 2), scaled(BigInteger(10).pow(18).toInt64(), 18)},
        {scaled(101, 2)},
        {scaled(12, -3), 12000, scaled(1200000, 2)},
        {scaled(1, -20), scaled(100, -18), BigDecimal(u"100000000000000000000")},
    };
    for (const auto& left : rows) {
        for (const auto& right : rows) {
            const auto order = &left <=> &right;
            for (const BigDecimal& a : left) {
                for (const BigDecimal& b : right) {
                    SCOPED_TRACE(testing::Message()
                                 << a << ' ' << a.getScale() << "  " << b << ' ' << b.getScale());
                    EXPECT_EQ(a.compareTo(b) <=> 0, order);
                    EXPECT_EQ(static_cast<const Object&>(a).compareTo(b) <=> 0, order);
                    EXPECT_EQ(a == b, order == 0);
                    EXPECT_EQ(a.equals(b), order == 0);
                    EXPECT_TRUE((a <=> b) == order);
                    EXPECT_EQ(std::hash<BigDecimal>()(a) == std::hash<BigDecimal>()(b), order == 0);
                    EXPECT_TRUE(order != 0 || a.hashCode() == b.hashCode());
                }
            }
        }
    }
}

TEST(BigDecimal, ComparesWithEveryNumber) {
    EXPECT_EQ(BigDecimal(u"1.5").compareTo(Double(1.5)), 0);
    EXPECT_EQ(BigDecimal(u"1.5").compareTo(Integer32(1)), 1);
    EXPECT_EQ(BigDecimal(u"1.5").compareTo(static_cast<const Object&>(BigInteger(2))), -1);
    EXPECT_THROW(BigDecimal(1).compareTo(String(u"1")), CastFailedException);
    EXPECT_THROW(BigDecimal(1).equals(Object()), CastFailedException);
    const Reference<Object> clone(BigDecimal(u"1.50").clone());
    EXPECT_TRUE(clone->equals(scaled(15, 1)));
}
