#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "tests/support/MapPlay.h"

namespace {

// The thread sanitizer of g++ 12 takes more memory with every exception that a test sees.
#ifdef __SANITIZE_THREAD__
constexpr int Rounds = 30;
#else
constexpr int Rounds = 1000;
#endif

/// Plays rounds of random bytes, each with a play that @p makePlay (round) returns.
template <class MakePlay>
void playRandomly(MakePlay&& makePlay) {
    std::minstd_rand random(2026);
    for (int round = 0; round < Rounds; ++round) {
        SCOPED_TRACE(round);
        std::vector<uint8_t> bytes(500);
        for (uint8_t& byte : bytes)
            byte = static_cast<uint8_t>(random() >> 8);
        ASSERT_NO_THROW(makePlay(round).play(bytes));
        ASSERT_EQ(qxtest::Item::alive(), 0);
    }
}

} // namespace

TEST(MapModel, RandomOperationsGoAsOnAPlainTable) {
    playRandomly([](int round) {
        return qxtest::MapPlay(1 + round % 12, 0.25F + 0.25F * static_cast<float>(round % 7));
    });
}

TEST(MapModel, RandomOperationsOfASetGoAsOnAPlainTable) {
    playRandomly([](int) { return qxtest::SetPlay(); });
}
