#include <chrono>
#include <csignal>
#include <pthread.h>

#include <gtest/gtest.h>

#include <qx/platform/result.h>
#include <qx/platform/thread.h>

#include "tests/support/BlockingThread.h"

using namespace qx;

namespace {

constexpr QXHandle None = ~QXHandle{0};

void* giveBack(void* argument) { return argument; }

TEST(PlatformThread, RefusesWhatItCannotStartOrJoin) {
    QXHandle handle = 1;
    uint32_t id = 1;
    EXPECT_EQ(QXThreadCreate(nullptr, nullptr, 0, 0, &handle, &id), result::NullPointer);
    EXPECT_EQ(handle, None);
    EXPECT_EQ(id, 0u);
    EXPECT_EQ(QXThreadCreate(giveBack, nullptr, 1, 0, &handle, &id), result::InvalidArgument);
    EXPECT_EQ(QXThreadCreate(giveBack, nullptr, 0, 0, nullptr, &id), result::NullPointer);
    EXPECT_EQ(QXThreadCreate(giveBack, nullptr, 0, 0, &handle, nullptr), result::NullPointer);
    void* value = &handle;
    for (const QXHandle invalid : {QXHandle{0}, None}) {
        EXPECT_EQ(QXThreadJoin(invalid, &value), result::InvalidHandle);
        EXPECT_EQ(value, nullptr);
        EXPECT_EQ(QXThreadDetach(invalid), result::InvalidHandle);
    }
    ASSERT_EQ(QXThreadCreateNamed("", giveBack, &id, 0, 0, &handle, &id), result::Ok);
    EXPECT_EQ(QXThreadJoin(handle, nullptr), result::NullPointer);
    EXPECT_EQ(QXThreadJoin(handle, &value), result::Ok);
    EXPECT_EQ(value, &id);
}

TEST(PlatformThread, SleepsThroughSignals) {
    using Clock = std::chrono::steady_clock;
    struct sigaction action {};
    struct sigaction previous {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, &previous);
    const auto begin = Clock::now();
    auto end = begin;
    qxtest::BlockingThread sleeper([&end] {
        QXThreadSleep(100);
        end = Clock::now();
    });
    while (!sleeper.isFinished()) {
        pthread_kill(sleeper.thread().native_handle(), SIGUSR1);
        QXThreadSleep(5);
    }
    sleeper.join();
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_GE(end - begin, std::chrono::milliseconds(100));
}

} // namespace
