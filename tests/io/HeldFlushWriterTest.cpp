#include <qx/io/HeldFlushWriter.h>

#include <gtest/gtest.h>

#include "tests/support/FakeStreams.h"

namespace {

using namespace qx;
using namespace qx::io;

class FlushSink : public qxtest::FakeSink<qxtest::Chars> {
public:
    void flush() override {
        if (failing)
            throw IoException(String(u"broken sink"));
        FakeSink::flush();
    }
};

constexpr uint32_t Never = 3'600'000;

TEST(HeldFlushWriter, PassesTextOnAtOnceAndFlushesOnRelease) {
    auto sink = makeReference<FlushSink>();
    auto held = makeReference<HeldFlushWriter>(sink, Never);
    held->write(u"ab");
    held->flush();
    held->write(String(u"c"));
    held->write(u'd');
    held->flush();
    EXPECT_EQ(qxtest::textOf(sink->content), "abcd");
    EXPECT_EQ(sink->flushes, 0);
    held->release();
    EXPECT_EQ(sink->flushes, 1);
    held->release(); // nothing is held back any more
    EXPECT_EQ(sink->flushes, 1);
}

TEST(HeldFlushWriter, FlushesOnceTheTimeBoundHasPassed) {
    auto sink = makeReference<FlushSink>();
    auto held = makeReference<HeldFlushWriter>(sink, 1u);
    held->write(u"a");
    held->flush();
    while (sink->flushes == 0)
        held->flush();
    auto immediate = makeReference<HeldFlushWriter>(sink, 0u);
    immediate->flush();
    EXPECT_EQ(sink->flushes, 2);
}

TEST(HeldFlushWriter, CloseAndDestructorCarryOutWhatIsHeldBack) {
    auto sink = makeReference<FlushSink>();
    auto held = makeReference<HeldFlushWriter>(sink, Never);
    held->flush();
    held->close();
    EXPECT_EQ(sink->flushes, 1);
    EXPECT_EQ(sink->closes, 1);
    held.reset();
    EXPECT_EQ(sink->flushes, 1);
    makeReference<HeldFlushWriter>(sink, Never)->flush();
    EXPECT_EQ(sink->flushes, 2);
    EXPECT_EQ(sink->closes, 1);
}

TEST(HeldFlushWriter, KeepsAFailedFlushForTheNextAttempt) {
    auto sink = makeReference<FlushSink>();
    auto held = makeReference<HeldFlushWriter>(sink, Never);
    held->flush();
    sink->failing = true;
    EXPECT_THROW(held->release(), IoException);
    sink->failing = false;
    held->release();
    EXPECT_EQ(sink->flushes, 1);

    held->flush();
    sink->failing = true;
    EXPECT_THROW(held->close(), IoException);
    EXPECT_EQ(sink->closes, 1) << "closed nevertheless";
    held->flush();
    held.reset(); // swallows the failure
}

} // namespace
