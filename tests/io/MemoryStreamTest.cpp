#include <array>
#include <bit>

#include "tests/support/FailingAllocator.h"
#include "tests/support/FakeStreams.h"

using namespace qxtest;
using namespace qx::io;
using qx::Reference;

namespace {

template <class T>
struct ByteBuffers : testing::Test {
    using Unit = std::remove_cvref_t<decltype(*std::declval<T>().getBuffer())>;

    /// An owning buffer with the bytes 0, 1, 2 and so on.
    static Reference<T> counting(unsigned int capacity, ENUM_QX_ENDIAN order = QX_ENDIAN_LITTLE) {
        auto buffer = qx::makeReference<T>(capacity, order, false);
        for (unsigned int i = 0; i < capacity; ++i)
            buffer->put(i, static_cast<Unit>(i));
        return buffer;
    }
};
using Classes = testing::Types<ByteBuffer, CQXByteBuffer>;
TYPED_TEST_SUITE(ByteBuffers, Classes);

/// Position, limit and what lies in the whole capacity; what is not the usual.
std::string stateOf(const auto& buffer) {
    std::string state =
        std::to_string(buffer.getPosition()) + "-" + std::to_string(buffer.getLimit());
    for (unsigned int i = 0; i < buffer.getCapacity(); ++i)
        state += " " + std::to_string(buffer.get(i));
    return state + (buffer.getOrder() == QX_ENDIAN_BIG ? " big" : "") +
           (buffer.isReadOnly() ? " read-only" : "");
}

/// Puts and gets a value with the functions of its type, at the position or at an index.
void putOne(auto& buffer, int16_t value, auto... at) { buffer.putInt16(at..., value); }
void putOne(auto& buffer, int32_t value, auto... at) { buffer.putInt32(at..., value); }
void putOne(auto& buffer, int64_t value, auto... at) { buffer.putInt64(at..., value); }
void putOne(auto& buffer, float value, auto... at) { buffer.putFloat(at..., value); }
void putOne(auto& buffer, double value, auto... at) { buffer.putDouble(at..., value); }
void getOne(auto& buffer, int16_t& value, auto... at) { value = buffer.getInt16(at...); }
void getOne(auto& buffer, int32_t& value, auto... at) { value = buffer.getInt32(at...); }
void getOne(auto& buffer, int64_t& value, auto... at) { value = buffer.getInt64(at...); }
void getOne(auto& buffer, float& value, auto... at) { value = buffer.getFloat(at...); }
void getOne(auto& buffer, double& value, auto... at) { value = buffer.getDouble(at...); }

TYPED_TEST(ByteBuffers, ValuesLieInTheChosenOrderSinglyAndInBulk) {
    const auto check = [](auto one, ENUM_QX_ENDIAN order, unsigned int count) {
        using Value = decltype(one);
        const auto isNative =
            (order == QX_ENDIAN_LITTLE) == (std::endian::native == std::endian::little);
        const unsigned int size = 1 + count * static_cast<unsigned int>(sizeof(Value));
        std::vector<Value> values, read(count);
        const auto expected = TestFixture::counting(size, order),
                   bulk = TestFixture::counting(size, order),
                   single = TestFixture::counting(size, order),
                   indexed = TestFixture::counting(size, order);
        for (const auto& buffer : {bulk, single})
            buffer->get(); // values lie at odd places
        for (unsigned int i = 0; i < count; ++i) {
            const auto at = 1 + i * static_cast<unsigned int>(sizeof(Value));
            values.push_back(static_cast<Value>(one * static_cast<Value>(i * i + 1)));
            putOne(*single, values.back());
            putOne(*indexed, values.back(), at);
            auto bytes =
                std::bit_cast<std::array<typename TestFixture::Unit, sizeof(Value)>>(values.back());
            if (!isNative)
                std::reverse(bytes.begin(), bytes.end());
            expected->put(at, bytes.data(), sizeof(Value));
            getOne(*indexed, read[i], at);
        }
        EXPECT_EQ(read, values);
        EXPECT_EQ(stateOf(*indexed), stateOf(*expected)) << "an index leaves the position";
        expected->setPosition(size);
        EXPECT_EQ(bulk->putValues(values.data(), count + 5), count) << "clipped";
        EXPECT_EQ(stateOf(*bulk), stateOf(*expected));
        EXPECT_EQ(stateOf(*single), stateOf(*expected));
        EXPECT_EQ(bulk->getValues(1, read.data(), count), count);
        EXPECT_EQ(read, values);
        bulk->setPosition(1);
        for (Value& value : read)
            getOne(*bulk, value);
        EXPECT_EQ(read, values);
    };
    for (const ENUM_QX_ENDIAN order : {QX_ENDIAN_LITTLE, QX_ENDIAN_BIG}) {
        for (unsigned int count = 0; count < 70; ++count) {
            SCOPED_TRACE(testing::Message() << "order " << order << ", " << count << " values");
            check(int16_t{-257}, order, count);
            check(int32_t{-65'537}, order, count);
            check(int64_t{-0x123456789AB}, order, count);
            check(-0.7f, order, count);
            check(-0.7, order, count);
        }
    }
}

TYPED_TEST(ByteBuffers, BlocksAreClippedToTheLimitAlsoFromBufferToBuffer) {
    typename TestFixture::Unit bytes[20] = {};
    const auto buffer = this->counting(10), target = this->counting(6);
    buffer->setLimit(8);
    buffer->setPosition(4);
    EXPECT_EQ(buffer->get(bytes, 20), 4u);
    EXPECT_EQ(bytes[3], 7);
    EXPECT_EQ(buffer->getPosition(), 8u);
    EXPECT_EQ(buffer->get(5, bytes, 20), 3u);
    EXPECT_EQ(bytes[0], 5);
    EXPECT_EQ(buffer->get(9, bytes, 20), 0u) << "an index beyond the limit";
    EXPECT_EQ(buffer->put(6, bytes, 20), 2u);
    EXPECT_EQ(stateOf(*buffer), "8-8 0 1 2 3 4 5 5 6 8 9");
    buffer->rewind();
    EXPECT_EQ(buffer->put(bytes + 2, 3), 3u);
    buffer->setLimit(2);
    EXPECT_EQ(stateOf(*buffer), "3-2 7 7 0 3 4 5 5 6 8 9");
    EXPECT_EQ(buffer->remaining() + buffer->get(bytes, 8) + buffer->put(bytes, 8), 0u);
    EXPECT_EQ(stateOf(*buffer->slice()), "0-0");
    expectEach<qx::RangeErrorException>(
        {[&] { buffer->setPosition(3); }, [&] { buffer->setLimit(11); }});
    buffer->clear();
    EXPECT_EQ(buffer->remaining(), 10u);

    const auto whole = buffer->slice();
    buffer->setPosition(7);
    target->setPosition(2);
    target->put(buffer.get());
    EXPECT_EQ(buffer->getPosition(), 10u);
    EXPECT_EQ(stateOf(*target), "5-6 0 1 6 8 9 5");
    buffer->setPosition(2);
    buffer->put(whole.get());
    EXPECT_EQ(stateOf(*buffer), "10-10 7 7 7 7 0 3 4 5 5 6");
    buffer->rewind();
    buffer->put(buffer.get());
    EXPECT_EQ(buffer->getPosition(), 10u) << "onto itself, the position moves once";
    expectEach(qx::result::NullPointer,
               {[&] { buffer->put(static_cast<TypeParam*>(nullptr)); },
                [&] { target->readFrom(nullptr); }, [&] { target->writeTo(nullptr); }});
}

TYPED_TEST(ByteBuffers, ReadOnlyBuffersRefuseEveryWriteUnchanged) {
    using Byte = typename TestFixture::Unit;
    const Byte bytes[4] = {1, 2, 3};
    int32_t values[2] = {};
    TypeParam buffer(bytes, 4, QX_ENDIAN_BIG);
    const auto source = this->counting(4);
    FakeSource<Bytes> in("abc");
    expectEach<qx::ReadOnlyException>(
        {[&] { buffer.put(Byte{1}); }, [&] { buffer.put(0, Byte{1}); },
         [&] { buffer.put(bytes, 0); }, [&] { buffer.put(0, bytes, 2); },
         [&] { buffer.put(source.get()); }, [&] { buffer.putInt16(1); },
         [&] { buffer.putInt16(0, 1); }, [&] { buffer.putValues(values, 2); },
         [&] { buffer.readFrom(&in); }});
    EXPECT_EQ(stateOf(buffer), "0-4 1 2 3 0 big read-only");
    EXPECT_EQ(source->getPosition(), 0u);
    EXPECT_TRUE(buffer.slice()->isReadOnly());
    EXPECT_FALSE(buffer.duplicate(false, 0)->isReadOnly());
}

TYPED_TEST(ByteBuffers, CopiesAndSlicesSeeTheSameBytesAndDuplicatesTheirOwn) {
    using Byte = typename TestFixture::Unit;
    Byte bytes[3] = {7, 8, 9};
    const int64_t before = liveBlocks();
    {
        const auto buffer = this->counting(4, QX_ENDIAN_BIG);
        buffer->setLimit(3);
        buffer->setPosition(1);
        const TypeParam copy(*buffer);
        const auto slice = buffer->slice(), apart = buffer->duplicate(false, 0),
                   larger = buffer->duplicate(true, 6);
        larger->getBuffer()[4] = larger->getBuffer()[5] = 6;
        EXPECT_TRUE(apart->equals(*buffer));
        EXPECT_THROW(buffer->duplicate(false, 3), qx::RangeErrorException);
        slice->put(9);
        apart->put(8);
        EXPECT_EQ(stateOf(*buffer), "1-3 0 9 2 3 big");
        // The storage lives on with those that see it; the new one is only wrapped.
        buffer->setBuffer(bytes, 3, QX_ENDIAN_BIG, false);
        EXPECT_EQ(buffer->getBuffer(), bytes);
        EXPECT_EQ(stateOf(*buffer), "0-3 7 8 9 big");
        EXPECT_EQ(stateOf(copy), "1-3 0 9 2 3 big");
        EXPECT_EQ(stateOf(*slice), "1-2 9 2 big");
        EXPECT_EQ(stateOf(*apart), "1-4 8 1 2 3 big");
        EXPECT_EQ(stateOf(*larger), "0-4 0 1 2 3 6 6 big read-only");
        buffer->setBuffer(static_cast<const Byte*>(bytes), 2, QX_ENDIAN_BIG);
        expectEach(qx::result::NullPointer,
                   {[&] { buffer->setBuffer(static_cast<Byte*>(nullptr), 1, QX_ENDIAN_BIG); }});
        EXPECT_EQ(stateOf(*buffer), "0-2 7 8 big read-only") << "refused, nothing changed";
    }
    EXPECT_EQ(liveBlocks(), before);
}

TYPED_TEST(ByteBuffers, OrderByCapacityThenByBytesAndHashThoseAtEqualDistances) {
    using Byte = typename TestFixture::Unit;
    const auto buffer = this->counting(3), same = this->counting(3), longer = this->counting(4);
    const auto high = this->counting(3);
    high->put(0, static_cast<Byte>(0x80)); // the largest first byte either way
    same->setPosition(2);
    EXPECT_EQ(buffer->compareTo(*same), 0);
    EXPECT_TRUE(buffer->equals(*same));
    EXPECT_EQ(buffer->compareTo(*longer), -1);
    EXPECT_EQ(longer->compareTo(*high), 1);
    EXPECT_EQ(buffer->compareTo(*high), -1);
    EXPECT_EQ(high->compareTo(*buffer), 1);
    EXPECT_FALSE(buffer->equals(*high));
    const ByteBuffer namespaced(0, QX_ENDIAN_LITTLE, false);
    const CQXByteBuffer legacy(0, QX_ENDIAN_LITTLE, false);
    EXPECT_THROW(namespaced.compareTo(legacy), qx::CastFailedException);
    EXPECT_FALSE(legacy.equals(namespaced));
    for (const unsigned int capacity : {0u, 1u, 31u, 32u, 63u, 64u, 65u, 96u, 1000u}) {
        const unsigned int step = capacity < 32 ? 1 : (capacity - 32) / 32 + 1;
        uint32_t expected = 0;
        for (unsigned int i = 0; i < capacity; i += step)
            expected = expected * 37 + static_cast<uint32_t>(int{static_cast<Byte>(i)});
        EXPECT_EQ(this->counting(capacity)->hashCode(), expected) << capacity;
    }
}

TEST(ByteBuffer, RefusesAnUnknownOrderEverywhere) {
    signed char bytes[4] = {};
    const signed char* const constant = bytes;
    ByteBuffer buffer(4, QX_ENDIAN_BIG, false);
    expectEach<qx::UnsupportedOperationException>(
        {[] { ByteBuffer(4, QX_ENDIAN_UNKNOWN, false); },
         [&] { ByteBuffer(constant, 4, static_cast<ENUM_QX_ENDIAN>(7)); },
         [&] { buffer.setOrder(QX_ENDIAN_UNKNOWN); },
         [&] { buffer.setBuffer(bytes, 4, QX_ENDIAN_UNKNOWN, false); }});
    EXPECT_NE(buffer.getBuffer(), bytes);
    CQXByteBuffer legacy(4, QX_ENDIAN_BIG, false);
    legacy.setOrder(QX_ENDIAN_UNKNOWN);
    EXPECT_EQ(legacy.getOrder(), QX_ENDIAN_LITTLE);
}

TYPED_TEST(ByteBuffers, ReadsFromStreamsAndWritesToThem) {
    TypeParam buffer(8, QX_ENDIAN_LITTLE, false);
    FakeSource<Bytes> in("abcdefghij", 3);
    EXPECT_EQ(buffer.readFrom(&in), 3u);
    EXPECT_EQ(buffer.readFully(&in), 5u);
    EXPECT_EQ(in.requests, (std::vector<int32_t>{8, 5, 2}));
    EXPECT_EQ(buffer.readFrom(&in), 0u) << "full";
    buffer.clear();
    EXPECT_EQ(buffer.readFully(&in), 2u) << "the end";
    EXPECT_EQ(buffer.readFrom(&in), 0u);
    buffer.flip();
    FakeSink<Bytes> out;
    out.failing = true;
    EXPECT_THROW(buffer.writeTo(&out), qx::io::IoException);
    out.failing = false;
    EXPECT_EQ(buffer.writeTo(&out), 2u);
    EXPECT_EQ(buffer.writeTo(&out), 0u);
    EXPECT_EQ(textOf(out.content), "ij");
    EXPECT_EQ(out.writes, (std::vector<int32_t>{2, 0}));
}

TEST(ByteArrayInputStream, OwnsItsBytesAndTestsTheEndFirst) {
    expectEach(qx::result::NullPointer, {[] { ByteArrayInputStream(nullptr, 1); }});
    ByteArrayInputStream empty(nullptr, 0);
    EXPECT_EQ(played(empty, "r0 . a"), "-1 -1 0");
    std::string bytes = "a\xFF"
                        "c";
    ByteArrayInputStream in(reinterpret_cast<const signed char*>(bytes.data()), 3);
    bytes = "xyz";
    EXPECT_EQ(played(in, "r0 r-1 . . r8 r0"), "0 0 97 255 1:c -1");
}

TEST(ByteArrayOutputStream, GrowsByAQuarterOfWhatItNeeds) {
    for (const auto& [capacity, written, grown] :
         {std::tuple{256, 256, 256}, {256, 257, 321}, {0, 1, 1}, {0, 4, 5}, {-3, 0, 0}}) {
        SCOPED_TRACE(written);
        ByteArrayOutputStream out(capacity);
        const std::string bytes(static_cast<size_t>(written), 'x');
        out.write(bytes.data(), written);
        EXPECT_EQ(out.getCapacity(), grown);
        EXPECT_EQ(out.toString().toUtf8(), bytes);
        out.reset();
        EXPECT_EQ(out.getSize(), 0);
        EXPECT_EQ(out.getCapacity(), grown);
    }
    EXPECT_EQ(ByteArrayOutputStream().getCapacity(), 256);

    struct Growing : ByteArrayOutputStream {
        using ByteArrayOutputStream::ByteArrayOutputStream;
        using ByteArrayOutputStream::ensureCapacity;
        using ByteArrayOutputStream::reallocBuffer;
    } out(10);
    out.write("abc", 3);
    out.reallocBuffer(1); // never below what is written
    EXPECT_EQ(out.getCapacity(), 3);
    out.ensureCapacity(4);
    EXPECT_EQ(out.getCapacity(), 5);
    EXPECT_EQ(out.toString(), u"abc");
}

TEST(MemoryStreams, GiveWhatTheyHaveToMemoryAndStreamsAndAsText) {
    ByteArrayOutputStream out(3);
    out.write("abc", 3);
    out.writeTo(&out);
    EXPECT_EQ(out.toString(), u"abcabc");
    expectEach(qx::result::NullPointer, {[&out] { out.writeTo(nullptr); }});
    StringWriter writer(3);
    writer.write(u"ab");
    const qx::String early = writer.toString();
    const StringWriter copied(writer);
    writer.write(u'c');
    writer.close();
    EXPECT_EQ(early, u"ab");
    EXPECT_EQ(copied.toString(), u"ab");
    EXPECT_EQ(writer.toString(), u"abc");
    char bytes[] = "#########";
    EXPECT_EQ(out.getBytes(reinterpret_cast<signed char*>(bytes), 2), 2);
    EXPECT_EQ(std::string(bytes), "ab#######");
    EXPECT_EQ(out.getBytes(reinterpret_cast<signed char*>(bytes), 8), 6);
    EXPECT_EQ(out.getBytes(reinterpret_cast<signed char*>(bytes), -1), 0);
    EXPECT_EQ(std::string(bytes), "abcabc###");
    out.write("\xC3\xA9", 2);
    EXPECT_EQ(out.toString(u"UTF-8"), u"abcabc\u00E9");
    EXPECT_EQ(out.toString(u"ISO8859_1"), u"abcabc\u00C3\u00A9");
}

TEST(ByteBufferStreams, ReadAndWriteAtThePosition) {
    const auto buffer = qx::makeReference<ByteBuffer>(6u, QX_ENDIAN_LITTLE, false);
    const uint32_t references = buffer->GetRefCount();
    {
        buffer->setPosition(2);
        ByteBufferOutputStream out(buffer);
        out.write("ab", 2);
        out.write("cd", 0);
        EXPECT_EQ(out.Overflowed(), 0);
        out.write("cdefghijkl", 10);
        EXPECT_EQ(out.Overflowed(), 1);
        EXPECT_EQ(buffer->remaining(), 0u);
        out.write('x');
        buffer->rewind();
        buffer->writeTo(&out); // to itself
        EXPECT_EQ(buffer->getPosition(), 6u);
        EXPECT_EQ(out.Overflowed(), 1) << "for good";
        buffer->setPosition(2);
        ByteBufferInputStream in(buffer);
        EXPECT_EQ(played(in, "r0 . r10 r0 . a"), "0 97 3:bcd -1 -1 0");
    }
    EXPECT_EQ(buffer->GetRefCount(), references);
}

} // namespace
