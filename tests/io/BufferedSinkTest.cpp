#include <random>

#include <gtest/gtest.h>

#include <qx/io/BufferedOutputStream.h>
#include <qx/io/BufferedWriter.h>

#include "tests/support/FakeStreams.h"

using namespace qxtest;

namespace {

template <class Twin>
class BufferedSink : public testing::Test {
protected:
    using Unit = typename Twin::Unit;

    void write(typename Twin::BufferedSink& buffered, int32_t length) {
        Units<Unit> units;
        for (int32_t i = 0; i < length; ++i)
            units.push_back(next());
        buffered.write(units.data(), length);
    }
    void writeOne(typename Twin::BufferedSink& buffered) { buffered.write(next()); }
    Unit next() {
        written.push_back(static_cast<Unit>('a' + written.size() % 26));
        return written.back();
    }

    Units<Unit> written;
};

using Twins = testing::Types<Bytes, Chars>;
TYPED_TEST_SUITE(BufferedSink, Twins);

TYPED_TEST(BufferedSink, WritesInTheDocumentedPortions) {
    struct Case {
        int32_t size;
        std::vector<int32_t> lengths; // of block writes; 0 stands for a single write
        std::vector<int32_t> writes;  // before the flush
        std::vector<int32_t> flushed;
    };
    const Case cases[] = {
        {1, {15, 0}, {}, {16}},           // raised to 16, which it holds
        {16, {15, 0, 0}, {16}, {1}},      // a single write finds it full
        {16, {16}, {16}, {}},             // a whole buffer passes through
        {16, {3, 16}, {3, 16}, {}},       // behind what is pending
        {16, {10, 6}, {}, {16}},          // exactly full
        {16, {10, 7}, {10}, {7}},         // would not fit
        {20, {5, 5, 5, 5, 1}, {20}, {1}}, //
        {16, {100, 0, 100}, {100, 1, 100}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        this->written.clear();
        FakeSink<TypeParam> sink;
        typename TypeParam::BufferedSink buffered(&sink, c.size);
        for (const int32_t length : c.lengths) {
            if (length == 0)
                this->writeOne(buffered);
            else
                this->write(buffered, length);
        }
        EXPECT_EQ(sink.writes, c.writes);
        EXPECT_EQ(sink.flushes, 0);
        sink.writes.clear();
        buffered.flush();
        EXPECT_EQ(sink.writes, c.flushed);
        EXPECT_EQ(sink.flushes, 1);
        EXPECT_EQ(sink.content, this->written);
    }
}

TYPED_TEST(BufferedSink, KeepsTheOrderOfRandomWrites) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        FakeSink<TypeParam> sink;
        this->written.clear();
        typename TypeParam::BufferedSink buffered(&sink, static_cast<int32_t>(random() % 50));
        for (int step = 0; step < 50; ++step) {
            if (random() % 3 == 0)
                this->writeOne(buffered);
            else
                this->write(buffered, static_cast<int32_t>(random() % 60));
        }
        buffered.flush();
        ASSERT_EQ(sink.content, this->written) << round;
    }
}

TYPED_TEST(BufferedSink, WritesNothingForNothing) {
    FakeSink<TypeParam> sink;
    typename TypeParam::BufferedSink buffered(&sink, 16);
    this->write(buffered, 0);
    buffered.flush();
    EXPECT_TRUE(sink.writes.empty());
}

TYPED_TEST(BufferedSink, KeepsPendingUnitsWhenTheSinkFails) {
    FakeSink<TypeParam> sink;
    typename TypeParam::BufferedSink buffered(&sink, 16);
    this->write(buffered, 10);
    sink.failing = true;
    const auto before = this->written;
    EXPECT_EQ(descriptionOf([&] { this->write(buffered, 10); }), "broken sink");
    EXPECT_EQ(descriptionOf([&] { buffered.flush(); }), "broken sink");
    EXPECT_EQ(sink.flushes, 0);
    sink.failing = false;
    buffered.flush();
    EXPECT_EQ(sink.content, before);
}

TYPED_TEST(BufferedSink, DropsPendingUnitsOnCloseAndDestruction) {
    FakeSink<TypeParam> sink;
    {
        typename TypeParam::BufferedSink closed(&sink, 16), destroyed(&sink, 16);
        this->write(closed, 3);
        this->write(destroyed, 3);
        closed.close();
        EXPECT_EQ(sink.closes, 1);
        const typename TypeParam::Unit unit = 0;
        EXPECT_EQ(descriptionOf([&] { closed.write(unit); }), "stream closed");
        EXPECT_EQ(descriptionOf([&] { closed.write(&unit, 1); }), "stream closed");
        EXPECT_EQ(descriptionOf([&] { closed.write(&unit, 0); }), "stream closed");
        EXPECT_EQ(descriptionOf([&] { closed.flush(); }), "stream closed");
    }
    EXPECT_TRUE(sink.content.empty());
    EXPECT_EQ(sink.closes, 1);
}

} // namespace
