// Strings and numbers as values of the standard library: ranges, order, hashes, streams.

#include <algorithm>
#include <compare>
#include <functional>
#include <map>
#include <ranges>
#include <sstream>
#include <unordered_map>
#include <unordered_set>

#include <gtest/gtest.h>

#include <qx/core/Float.h>
#include <qx/core/Integer.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/Str1.h>
#include <qx/core/String.h>
#include <qx/math/BigDecimal.h>
#include <qx/math/BigInteger.h>

using namespace qx;

namespace {

template <class T>
constexpr bool IsText = std::ranges::contiguous_range<T>&& std::ranges::sized_range<T>&&
    std::same_as<std::ranges::range_value_t<T>, char16_t>;
static_assert(IsText<String> && IsText<const String> && IsText<TextView>);
static_assert(IsText<Str1> && IsText<Str1Fixed<>> && IsText<const Str1Static>);
static_assert(std::ranges::borrowed_range<TextView> && std::ranges::view<TextView>);

template <class T, class With = T, class Order = std::strong_ordering>
constexpr bool IsOrdered = std::three_way_comparable_with<const T&, const With&, Order>;
static_assert(IsOrdered<String> && IsOrdered<Str1> && IsOrdered<math::BigInteger>);
static_assert(IsOrdered<math::BigDecimal, math::BigDecimal, std::weak_ordering>);
static_assert(IsOrdered<Reference<Object>>);

/// Every kind of text that can stand on the right of a comparison.
template <class Left>
void comparesWithEveryText(const Left& b) {
    const std::u16string_view view = u"c";
    const String string(view);
    const Str1Copy light(view);
    EXPECT_TRUE(b < view && b < string && b < light && b < TextView(view) && b < u"c");
    EXPECT_TRUE(view > b && string > b && light > b && u"c" > b);
    EXPECT_TRUE(b != view && b != string && b != light && b == u"b" && String(u"b") == b);
}

TEST(ValueHabits, TextsCompareWithEachOther) {
    comparesWithEveryText(String(u"b"));
    comparesWithEveryText(static_cast<const Str1&>(Str1Copy(u"b")));
    // By unit, unsigned, a prefix first; the empty light string has no units at all.
    EXPECT_LT(Str1(), Str1Copy(u"\0", 1));
    EXPECT_LT(Str1Copy(u"a"), Str1Copy(u"a\uFFFF"));
    EXPECT_LT(Str1Copy(u"\x7FFF"), Str1Copy(u"\xD800"));
    EXPECT_TRUE(Str1().begin() == Str1().end());
    EXPECT_EQ(std::ranges::count(Str1Copy(u"abca").substring(1), u'a'), 1);
}

TEST(ValueHabits, TextsAreFoundByAnyOther) {
    std::unordered_map<String, int, TextHash, std::equal_to<>> ages{{String(u"Ada"), 36}};
    EXPECT_EQ(ages.find(u"Ada")->second, 36);
    EXPECT_EQ(ages.find(std::u16string_view(u"Ada"))->second, 36);
    EXPECT_EQ(ages.find(Str1Copy(u"Ada"))->second, 36);
    EXPECT_EQ(ages.find(u"ada"), ages.end());
    std::map<String, int, std::less<>> sorted{{String(u"Ada"), 36}};
    EXPECT_EQ(sorted.find(std::u16string_view(u"Ada"))->second, 36);
    EXPECT_EQ(std::hash<Str1>()(Str1Copy(u"Ada")), std::hash<String>()(String(u"Ada")));
}

TEST(ValueHabits, EqualNumbersHaveOneHash) {
    using math::BigDecimal;
    const BigDecimal one(TextView(u"1.0"));
    const BigDecimal alsoOne(math::BigInteger(100), 2);
    EXPECT_EQ(one, alsoOne);
    EXPECT_EQ(std::hash<BigDecimal>()(one), std::hash<BigDecimal>()(alsoOne));
    const std::unordered_set<Integer32> boxed{Integer32(3), Integer32(3), Integer32(4)};
    EXPECT_EQ(boxed.size(), 2u);
    EXPECT_TRUE(Integer32(3) < Integer32(4) && Integer8(3) == Integer64(3) && Double(0.5) < 1);
    EXPECT_EQ(std::hash<Reference<Object>>()(nullptr), std::hash<Object*>()(nullptr));
}

TEST(ValueHabits, EveryObjectHasAStream) {
    std::ostringstream out;
    out << String(u"\u00E4") << TextView(u"\U0001F600") << Str1Copy(u"\xD800") << ' '
        << Integer32(-7) << ' ' << math::BigDecimal(TextView(u"1.50")) << ' ' << Double(0.25);
    EXPECT_EQ(out.str(), "\u00E4\U0001F600\uFFFD -7 1.5 0.25");
    const Object object;
    EXPECT_EQ((std::ostringstream() << object).str(), object.toString().toUtf8());
}

} // namespace
