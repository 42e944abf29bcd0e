#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

#include <qx/sync/Atomic.h>
#include <qx/sync/FakeAtomic.h>

namespace {

template <class T>
class Atomics : public testing::Test {};
using Kinds = testing::Types<qx::sync::Atomic, qx::sync::FakeAtomic>;
TYPED_TEST_SUITE(Atomics, Kinds);

TYPED_TEST(Atomics, CountAndWrapAround) {
    constexpr int32_t Most = std::numeric_limits<int32_t>::max();
    constexpr int32_t Least = std::numeric_limits<int32_t>::min();
    TypeParam number(Most);
    EXPECT_EQ(number.increment(), Least);
    EXPECT_EQ(number.decrement(), Most);
    EXPECT_EQ(number.fetchAdd(Most), Most);
    EXPECT_EQ(number.exchange(5), -2);
    EXPECT_FALSE(number.compareExchange(4, 9));
    EXPECT_EQ(number.get(), 5);
    EXPECT_TRUE(number.compareExchange(5, 9));
    EXPECT_EQ(number.get(), 9);
    EXPECT_EQ(TypeParam().get(), 0);
}

TEST(Atomic, LosesNoChangeOfAnyThread) {
    constexpr int32_t Rounds = 20'000;
    qx::sync::Atomic sum, won;
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                for (int32_t round = 0; round < Rounds; ++round) {
                    sum.fetchAdd(3);
                    sum.decrement();
                    if (won.compareExchange(round, round + 1))
                        sum.increment();
                }
            });
        }
    }
    EXPECT_EQ(sum.get(), 4 * Rounds * 2 + won.get());
}

} // namespace
