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
    std::mt19937 random(7);
    for (int round = 0; round < 400; ++round) {
        FakeSink<TypeParam> sink;
        this->written.clear();
        const auto size = static_cast<int32_t>(random() % 50), capacity = std::max(size, 16);
        typename TypeParam::BufferedSink buffered(&sink, size);
        std::vector<int32_t> writes;
        int32_t pending = 0;
        const auto drain = [&] {
            if (pending > 0)
                writes.push_back(std::exchange(pending, 0));
        };
        for (int step = 0; step < 50; ++step) {
            const auto length = static_cast<int32_t>(random() % 60);
            const bool isSingle = random() % 3 == 0;
            if (isSingle)
                this->writeOne(buffered);
            else
                this->write(buffered, length);
            if (pending + (isSingle ? 1 : length) > capacity || (!isSingle && length >= capacity))
                drain();
            if (isSingle || length < capacity)
                pending += isSingle ? 1 : length;
            else
                writes.push_back(length);
            ASSERT_EQ(sink.writes, writes) << round;
        }
        EXPECT_EQ(sink.flushes, 0);
        buffered.flush();
        drain();
        ASSERT_EQ(sink.writes, writes) << round;
        ASSERT_EQ(sink.content, this->written) << round;
        EXPECT_EQ(sink.flushes, 1);
    }
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
