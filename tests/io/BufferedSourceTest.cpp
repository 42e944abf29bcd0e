#include <functional>
#include <random>

#include <gtest/gtest.h>

#include <qx/io/BufferedInputStream.h>
#include <qx/io/BufferedReader.h>

#include "tests/support/FakeStreams.h"

using namespace qxtest;

namespace {

template <class Twin>
class BufferedSource : public testing::Test {
protected:
    static std::string alphabet(int length) {
        std::string text;
        for (int i = 0; i < length; ++i)
            text.push_back(static_cast<char>('a' + i % 26));
        return text;
    }

    /// Up to @p length units as text; "end" for -1.
    static std::string read(typename Twin::Source& source, int32_t length) {
        Units<typename Twin::Unit> units(static_cast<size_t>(length));
        const int32_t count = source.read(units.data(), length);
        if (count < 0)
            return "end";
        units.resize(static_cast<size_t>(count));
        return textOf(units);
    }
};

using Twins = testing::Types<Bytes, Chars>;
TYPED_TEST_SUITE(BufferedSource, Twins);

TYPED_TEST(BufferedSource, DeliversEverythingWhateverThePortionsAndSizes) {
    const std::string content = this->alphabet(100);
    for (const int32_t portion : {1, 2, 15, 16, 17, 1000}) {
        for (const int32_t size : {1, 16, 17, 64, 200}) {
            for (const int32_t length : {1, 2, 15, 16, 17, 63, 150}) {
                SCOPED_TRACE(testing::Message() << portion << ' ' << size << ' ' << length);
                FakeSource<TypeParam> source(content, portion);
                typename TypeParam::BufferedSource buffered(&source, size);
                std::string read, part;
                while ((part = this->read(buffered, length)) != "end") {
                    ASSERT_FALSE(part.empty());
                    read += part;
                }
                EXPECT_EQ(read, content);
                EXPECT_EQ(buffered.read(), -1);
            }
        }
    }
}

TYPED_TEST(BufferedSource, ZeroExtendsSingleUnits) {
    using Unit = typename TypeParam::Unit;
    FakeSource<TypeParam> source(Units<Unit>{static_cast<Unit>(-1), 0});
    typename TypeParam::BufferedSource buffered(&source);
    EXPECT_EQ(buffered.read(), sizeof(Unit) == 1 ? 0xFF : 0xFFFF);
    EXPECT_EQ(buffered.read(), 0);
    EXPECT_EQ(buffered.read(), -1);
}

TYPED_TEST(BufferedSource, AsksItsSourceInTheDocumentedPortions) {
    struct Case {
        int32_t size;
        std::vector<int32_t> lengths; // of block reads; 0 stands for a single read
        int32_t available;
        std::vector<int32_t> delivered;
        std::vector<int32_t> requests;
    };
    const Case cases[] = {
        {4, {0}, 0, {1}, {16}},              // raised to the minimum
        {20, {5, 5}, 0, {5, 5}, {20}},       // both from one buffer
        {20, {20}, 0, {20}, {20}},           // as large as the buffer: directly
        {20, {19}, 0, {19}, {20}},           // smaller: by way of the buffer
        {20, {50}, 0, {50}, {50}},           // larger: in one read
        {20, {0, 30}, 0, {1, 19}, {20}},     // rather short than blocking
        {20, {0, 30}, 7, {1, 30}, {20, 20}}, // 19 buffered, 11 < 20: refill
        {20, {0, 50}, 7, {1, 50}, {20, 31}}, // 19 buffered, 31 >= 20: directly
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        FakeSource<TypeParam> source(this->alphabet(200));
        source.availableNow = c.available;
        typename TypeParam::BufferedSource buffered(&source, c.size);
        for (size_t i = 0; i < c.lengths.size(); ++i) {
            if (c.lengths[i] == 0)
                EXPECT_EQ(buffered.read(), i == 0 ? 'a' : -2);
            else
                EXPECT_EQ(static_cast<int32_t>(this->read(buffered, c.lengths[i]).size()),
                          c.delivered[i]);
        }
        EXPECT_EQ(source.requests, c.requests);
    }
}

TYPED_TEST(BufferedSource, BypassesNoBufferThatAMarkNeeds) {
    FakeSource<TypeParam> source(this->alphabet(100));
    typename TypeParam::BufferedSource buffered(&source, 16);
    buffered.mark(60);
    EXPECT_EQ(this->read(buffered, 20), this->alphabet(20));
    // Grown to the limit at the first refill.
    EXPECT_EQ(source.requests, (std::vector<int32_t>{60}));
    buffered.reset();
    EXPECT_EQ(this->read(buffered, 60), this->alphabet(60));
}

TYPED_TEST(BufferedSource, ReturnsToTheMarkWithinItsLimit) {
    struct Case {
        int32_t before; // units read before mark
        int32_t limit;
        int32_t after; // units read between mark and reset
        const char* failure;
    };
    const Case cases[] = {
        {0, 0, 0, "nothing thrown"},    // nothing was refilled yet
        {3, 2, 2, "nothing thrown"},    // within the limit
        {3, 2, 13, "nothing thrown"},   // beyond it, but still in the buffer
        {3, 2, 14, "mark invalid"},     // the refill finds 13 >= 2 units to keep
        {16, 2, 1, "mark invalid"},     // the mark stands in front of a refill with an empty rest
        {15, 2, 2, "nothing thrown"},   // one unit is kept
        {15, 1, 2, "mark invalid"},     // one unit is not below the limit
        {3, 14, 14, "nothing thrown"},  // 13 units are kept
        {3, 13, 14, "mark invalid"},    //
        {3, 100, 90, "nothing thrown"}, // a larger buffer
        {16, 100, 99, "nothing thrown"}, {0, 17, 17, "nothing thrown"}, {3, -1, 20, "mark invalid"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.before << ' ' << c.limit << ' ' << c.after);
        for (const int32_t portion : {1, 1000}) {
            FakeSource<TypeParam> source(this->alphabet(300), portion);
            source.availableNow = 1;
            typename TypeParam::BufferedSource buffered(&source, 16);
            for (int i = 0; i < c.before; ++i)
                buffered.read();
            const int32_t requestsBefore = static_cast<int32_t>(source.requests.size());
            buffered.mark(c.limit);
            for (int i = 0; i < c.after; ++i)
                buffered.read();
            if (portion == 1) {
                // Every read refills: the mark lives exactly as long as its limit says.
                const bool refilled = static_cast<int32_t>(source.requests.size()) > requestsBefore;
                const bool kept = !refilled || (c.limit > 0 && c.after - 1 < c.limit);
                EXPECT_EQ(descriptionOf([&] { buffered.reset(); }),
                          kept ? "nothing thrown" : "mark invalid");
            } else if (c.before != 16 || c.limit > 2) {
                EXPECT_EQ(descriptionOf([&] { buffered.reset(); }), c.failure);
            } else {
                // 0 units to keep are below the limit.
                EXPECT_EQ(descriptionOf([&] { buffered.reset(); }), "nothing thrown");
            }
        }
    }
}

TYPED_TEST(BufferedSource, FollowsAModelThroughRandomOperations) {
    std::mt19937 random(20240501);
    const auto upTo = [&random](int32_t limit) {
        return std::uniform_int_distribution<int32_t>(0, limit)(random);
    };
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        const std::string content = this->alphabet(upTo(400));
        FakeSource<TypeParam> source(content, 1 + upTo(40));
        source.availableNow = upTo(1);
        typename TypeParam::BufferedSource buffered(&source, upTo(60));
        size_t position = 0, mark = 0, markEnd = 0;
        bool marked = false;
        for (int step = 0; step < 60; ++step) {
            const int32_t length = 1 + upTo(70);
            const size_t left = content.size() - position;
            switch (upTo(4)) {
            case 0:
                ASSERT_EQ(buffered.read(), left ? content[position] : -1);
                position += left ? 1 : 0;
                break;
            case 1: {
                const std::string part = this->read(buffered, length);
                if (left == 0) {
                    ASSERT_EQ(part, "end");
                } else {
                    ASSERT_FALSE(part.empty());
                    ASSERT_EQ(part, content.substr(position, part.size()));
                    position += part.size();
                }
                break;
            }
            case 2:
                ASSERT_EQ(buffered.skip(length),
                          static_cast<int32_t>(std::min(left, static_cast<size_t>(length))));
                position += std::min(left, static_cast<size_t>(length));
                break;
            case 3:
                buffered.mark(length);
                marked = true;
                mark = position;
                markEnd = position + static_cast<size_t>(length);
                break;
            default:
                if (marked && position < markEnd) {
                    buffered.reset();
                    position = mark;
                }
            }
        }
    }
}

TYPED_TEST(BufferedSource, SkipsThroughTheBufferOnly) {
    FakeSource<TypeParam> source(this->alphabet(50));
    typename TypeParam::BufferedSource buffered(&source, 16);
    EXPECT_EQ(buffered.skip(0), 0);
    EXPECT_EQ(buffered.skip(-5), 0);
    EXPECT_TRUE(source.requests.empty());
    EXPECT_EQ(buffered.skip(20), 20);
    EXPECT_EQ(source.requests, (std::vector<int32_t>{16, 16}));
    EXPECT_EQ(buffered.skip(100), 30);
    EXPECT_EQ(buffered.skip(1), 0);
}

TYPED_TEST(BufferedSource, AddsBufferedUnitsToWhatIsAvailable) {
    FakeSource<TypeParam> source(this->alphabet(50));
    typename TypeParam::BufferedSource buffered(&source, 16);
    source.availableNow = 34;
    buffered.read();
    EXPECT_EQ(buffered.available(), 34 + 15);
    source.availableNow = FakeSource<TypeParam>::NoLimit;
    EXPECT_EQ(buffered.available(), FakeSource<TypeParam>::NoLimit);
}

TYPED_TEST(BufferedSource, GoesOnAfterAFailureOfItsSource) {
    FakeSource<TypeParam> source(this->alphabet(40));
    typename TypeParam::BufferedSource buffered(&source, 16);
    buffered.skip(10);
    buffered.mark(30);
    EXPECT_EQ(this->read(buffered, 6), "klmnop");
    source.failAt = 2;
    EXPECT_EQ(descriptionOf([&] { buffered.read(); }), "broken source");
    EXPECT_EQ(buffered.read(), 'q');
    buffered.reset();
    EXPECT_EQ(this->read(buffered, 10), "klmnopqrst");
}

TYPED_TEST(BufferedSource, ResetNeedsAMark) {
    FakeSource<TypeParam> source(std::string("abc"));
    typename TypeParam::BufferedSource buffered(&source, 16);
    EXPECT_TRUE(buffered.markSupported());
    EXPECT_EQ(descriptionOf([&] { buffered.reset(); }), "stream not marked");
}

TYPED_TEST(BufferedSource, RefusesEverythingOnceClosed) {
    using Unit = typename TypeParam::Unit;
    FakeSource<TypeParam> source(this->alphabet(40));
    typename TypeParam::BufferedSource buffered(&source, 16);
    buffered.read();
    buffered.close();
    EXPECT_EQ(source.closes, 1);
    Unit unit;
    const std::function<void()> operations[] = {
        [&] { buffered.read(); },         [&] { buffered.read(&unit, 1); },
        [&] { buffered.read(&unit, 0); }, [&] { buffered.skip(1); },
        [&] { buffered.available(); },    [&] { buffered.mark(1); },
        [&] { buffered.reset(); },        [&] { buffered.markSupported(); },
        [&] { buffered.close(); },
    };
    for (const auto& operation : operations) {
        SCOPED_TRACE(&operation - operations);
        EXPECT_EQ(descriptionOf(operation), "stream closed");
    }
    EXPECT_EQ(source.closes, 1);
}

TYPED_TEST(BufferedSource, ReleasesItsSourceWithoutClosingIt) {
    auto source = qx::makeReference<FakeSource<TypeParam>>(std::string("abc"));
    {
        typename TypeParam::BufferedSource buffered(source);
        EXPECT_EQ(source->GetRefCount(), 2u);
    }
    EXPECT_EQ(source->GetRefCount(), 1u);
    EXPECT_EQ(source->closes, 0);
}

TEST(BufferedInputStream, ReadsIntoEveryKindOfByte) {
    FakeSource<Bytes> source(Units<signed char>{-1, -2, -3});
    qx::io::BufferedInputStream in(&source);
    char plain = 0;
    unsigned char positive = 0;
    signed char negative = 0;
    EXPECT_EQ(in.read(&plain, 1) + in.read(&positive, 1) + in.read(&negative, 1), 3);
    EXPECT_EQ(static_cast<signed char>(plain), -1);
    EXPECT_EQ(positive, 0xFE);
    EXPECT_EQ(negative, -3);
}

} // namespace
