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

/// The buffer by its rules, without any short way.
template <class Twin>
class PlainBuffer {
public:
    PlainBuffer(FakeSource<Twin>& source, int32_t size)
        : m_source(source), m_size(std::max(size, 16)) {}

    /// Up to @p length units as text; "end" for -1.
    std::string read(int32_t length) {
        std::string delivered;
        while (static_cast<int32_t>(delivered.size()) < length) {
            const auto wanted = length - static_cast<int32_t>(delivered.size());
            if (isExhausted() && !delivered.empty() && m_source.available() == 0)
                break;
            if (isExhausted() && wanted >= m_size && m_mark < 0) {
                delivered += fetch(wanted);
                break;
            }
            if (isExhausted() && !fill())
                break;
            const std::string taken = m_buffer.substr(m_position, static_cast<size_t>(wanted));
            m_position += taken.size();
            delivered += taken;
        }
        return delivered.empty() ? "end" : delivered;
    }
    int32_t skip(int32_t count) {
        int32_t skipped = 0;
        for (; skipped < count && (!isExhausted() || fill()); ++skipped)
            ++m_position;
        return skipped;
    }
    int32_t available() {
        return m_source.available() + static_cast<int32_t>(m_buffer.size() - m_position);
    }
    void mark(int32_t limit) {
        m_limit = limit;
        m_mark = static_cast<int32_t>(m_position);
    }
    std::string reset() {
        if (m_mark < 0)
            return m_mark == -1 ? "stream not marked" : "mark invalid";
        m_position = static_cast<size_t>(m_mark);
        return "nothing thrown";
    }

private:
    bool isExhausted() const { return m_position == m_buffer.size(); }
    std::string fetch(int32_t length) {
        Units<typename Twin::Unit> units(static_cast<size_t>(length));
        units.resize(static_cast<size_t>(std::max(m_source.read(units.data(), length), 0)));
        return textOf(units);
    }
    bool fill() {
        std::string kept;
        const int32_t marked = static_cast<int32_t>(m_position) - m_mark;
        if (m_mark >= 0 && marked < m_limit) {
            kept = m_buffer.substr(static_cast<size_t>(m_mark));
            m_size = std::max(m_size, m_limit);
            m_mark = 0;
            m_buffer = kept;
            m_position = kept.size();
        } else if (m_mark >= 0) {
            m_mark = -2;
        }
        const std::string fetched = fetch(m_size - static_cast<int32_t>(kept.size()));
        if (fetched.empty())
            return false;
        m_buffer = kept + fetched;
        m_position = kept.size();
        return true;
    }

    FakeSource<Twin>& m_source;
    int32_t m_size, m_limit = 0, m_mark = -1;
    std::string m_buffer;
    size_t m_position = 0;
};

TYPED_TEST(BufferedSource, FollowsAPlainBufferDownToTheReadsOfItsSource) {
    std::mt19937 random(20240501);
    const auto upTo = [&random](int32_t limit) {
        return std::uniform_int_distribution<int32_t>(0, limit)(random);
    };
    for (int round = 0; round < 2000; ++round) {
        SCOPED_TRACE(round);
        const std::string content = this->alphabet(upTo(400));
        const int32_t portion = upTo(3) == 0 ? 1000 : 1 + upTo(40), size = upTo(60);
        FakeSource<TypeParam> source(content, portion), plainSource(content, portion);
        source.availableNow = plainSource.availableNow = upTo(1);
        typename TypeParam::BufferedSource buffered(&source, size);
        PlainBuffer<TypeParam> plain(plainSource, size);
        for (int step = 0; step < 40; ++step) {
            const int32_t length = upTo(3) == 0 ? size + upTo(2) : 1 + upTo(70);
            switch (upTo(5)) {
            case 0: {
                const std::string unit = plain.read(1);
                ASSERT_EQ(buffered.read(), unit == "end" ? -1 : unit[0]);
                break;
            }
            case 1:
                ASSERT_EQ(this->read(buffered, std::max(length, 1)),
                          plain.read(std::max(length, 1)));
                break;
            case 2:
                ASSERT_EQ(buffered.skip(length), plain.skip(length));
                break;
            case 3:
                buffered.mark(length - 2);
                plain.mark(length - 2);
                break;
            case 4:
                ASSERT_EQ(descriptionOf([&] { buffered.reset(); }), plain.reset());
                break;
            default:
                ASSERT_EQ(buffered.available(), plain.available());
            }
            ASSERT_EQ(source.requests, plainSource.requests);
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

TYPED_TEST(BufferedSource, RefusesEverythingOnceClosed) {
    using Unit = typename TypeParam::Unit;
    FakeSource<TypeParam> source(this->alphabet(40));
    typename TypeParam::BufferedSource buffered(&source, 16);
    buffered.read();
    EXPECT_TRUE(buffered.markSupported());
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
