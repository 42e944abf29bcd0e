#include <gtest/gtest.h>

#include <qx/platform/result.h>
#include <qx/sync/Event.h>
#include <qx/sync/Gate.h>
#include <qx/sync/Semaphore.h>
#include <qx/sync/TimedWait.h>

#include "tests/support/ExpectResult.h"

namespace {

namespace result = qx::result;
using qx::sync::Event;
using qx::sync::Gate;
using qx::sync::Semaphore;
using qx::sync::signalled;
using qxtest::expectThrowsResult;

TEST(TimedWait, MapsEveryKindOfResult) {
    EXPECT_TRUE(signalled(result::Ok));
    EXPECT_FALSE(signalled(result::TimedOut)); // negative, yet no failure
    EXPECT_FALSE(signalled(1));                // success other than "signalled"
    expectThrowsResult(result::Fail, [] { signalled(result::Fail); });
}

TEST(SignalClasses, ThrowTheCodeOfAFailingCall) {
    constexpr unsigned int UnknownFlags = 0x10;
    expectThrowsResult(result::InvalidArgument, [] { Event("e", UnknownFlags); });
    expectThrowsResult(result::InvalidArgument, [] { Gate("g", UnknownFlags); });
    expectThrowsResult(result::InvalidArgument, [] { Semaphore(0, "s", UnknownFlags); });
    expectThrowsResult(result::InvalidArgument, [] { Semaphore(0x80000000u); });
    Semaphore full(0x7FFFFFFF);
    expectThrowsResult(result::Overflow, [&full] { full.signal(); });
    EXPECT_EQ(full.getValue(), 0x7FFFFFFF);
}

TEST(EventClass, CannotBePolledButRemembersASignal) {
    Event event;
    event.signal();
    EXPECT_FALSE(event.tryWait());
    EXPECT_TRUE(event.wait(0)); // the poll has not taken it
    EXPECT_FALSE(event.wait(1));
    event.signal();
    event.wait();
    EXPECT_FALSE(event.wait(0));
}

TEST(GateClass, IsPassedWhileItIsOpen) {
    Gate gate;
    EXPECT_FALSE(gate.tryWait());
    EXPECT_FALSE(gate.wait(1));
    gate.open();
    EXPECT_TRUE(gate.tryWait());
    EXPECT_TRUE(gate.wait(0));
    gate.wait();
    gate.close();
    EXPECT_FALSE(gate.tryWait());
}

} // namespace
