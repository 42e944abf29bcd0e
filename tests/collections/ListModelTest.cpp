#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/LinkedList.h>

#include "tests/support/ListPlay.h"

template <class T>
class ListModel : public testing::Test {};

using Lists = testing::Types<qx::collections::pcom::ArrayList, qx::collections::pcom::LinkedList>;
TYPED_TEST_SUITE(ListModel, Lists);

TYPED_TEST(ListModel, RandomOperationsGoAsOnAVector) {
    std::minstd_rand random(2026);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        std::vector<uint8_t> bytes(400);
        for (uint8_t& byte : bytes)
            byte = static_cast<uint8_t>(random() >> 8);
        ASSERT_NO_THROW(qxtest::ListPlay(qx::makeReference<TypeParam>()).play(bytes));
        ASSERT_EQ(qxtest::Item::alive(), 0);
    }
}
