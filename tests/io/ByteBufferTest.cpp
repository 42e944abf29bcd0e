#include <gtest/gtest.h>

#include <vector>

#include <qx/core/Exception.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/ByteBufferInputStream.h>
#include <qx/io/ByteBufferOutputStream.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"
#include "tests/support/FakeStreams.h"

using namespace qxtest;
using qx::Reference;
using qx::io::ByteBuffer;
using qx::io::ByteBufferInputStream;
using qx::io::ByteBufferOutputStream;

namespace {

template <class Buffer>
struct ByteOf;
template <>
struct ByteOf<ByteBuffer> {
    using type = signed char;
};
template <>
struct ByteOf<CQXByteBuffer> {
    using type = unsigned char;
};

template <class T>
class ByteBuffers : public testing::Test {
public:
    using Unit = typename ByteOf<T>::type;

    /// What lies in the whole capacity.
    static std::vector<Unit> bytesOf(const T& buffer) {
        return std::vector<Unit>(buffer.getConstBuffer(),
                                 buffer.getConstBuffer() + buffer.getCapacity());
    }
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

TYPED_TEST(ByteBuffers, TypedValuesLieInTheChosenOrder) {
    using Byte = typename TestFixture::Unit;
    TypeParam big(26, QX_ENDIAN_BIG, false), little(26, QX_ENDIAN_LITTLE, false);
    for (TypeParam* buffer : {&big, &little}) {
        buffer->setPosition(3);
        buffer->putInt16(0, 0x0102);
        buffer->putInt32(2, 0x03040506);
        buffer->putInt64(6, 0x0708090A0B0C0D0E);
        buffer->putFloat(14, 1.0f);
        buffer->putDouble(18, -1.0);
        EXPECT_EQ(buffer->getInt16(0), 0x0102);
        EXPECT_EQ(buffer->getInt32(2), 0x03040506);
        EXPECT_EQ(buffer->getInt64(6), 0x0708090A0B0C0D0E);
        EXPECT_EQ(buffer->getFloat(14), 1.0f);
        EXPECT_EQ(buffer->getDouble(18), -1.0);
        EXPECT_EQ(buffer->getPosition(), 3u) << "access at an index leaves the position";
    }
    const int expected[] = {1,  2,    3,    4, 5, 6,    7,    8, 9, 10, 11, 12, 13,
                            14, 0x3F, 0x80, 0, 0, 0xBF, 0xF0, 0, 0, 0,  0,  0,  0};
    for (unsigned int i = 0; i < 26; ++i)
        EXPECT_EQ(big.get(i), static_cast<Byte>(expected[i])) << "byte " << i;
    // The orders differ by reversal alone.
    const struct { unsigned int at, width; } fields[] = {{0, 2}, {2, 4}, {6, 8}, {14, 4}, {18, 8}};
    for (const auto& field : fields) {
        for (unsigned int i = 0; i < field.width; ++i)
            EXPECT_EQ(big.get(field.at + i), little.get(field.at + field.width - 1 - i));
    }
}

TYPED_TEST(ByteBuffers, BlocksAreClippedToTheLimit) {
    using Byte = typename TestFixture::Unit;
    const auto buffer = this->counting(10);
    Byte bytes[20] = {};
    buffer->setLimit(8);
    buffer->setPosition(4);
    EXPECT_EQ(buffer->get(bytes, 20), 4u);
    EXPECT_EQ(bytes[3], 7);
    EXPECT_EQ(buffer->getPosition(), 8u);
    EXPECT_EQ(buffer->get(bytes, 1), 0u);
    EXPECT_EQ(buffer->get(6, bytes, 20), 2u);
    EXPECT_EQ(bytes[0], 6);
    EXPECT_EQ(buffer->get(9, bytes, 20), 0u) << "an index beyond the limit";
    EXPECT_EQ(buffer->put(6, bytes + 2, 20), 2u);
    EXPECT_EQ(buffer->getPosition(), 8u);
    buffer->rewind();
    EXPECT_EQ(buffer->put(bytes, 3), 3u);
    EXPECT_EQ(buffer->getPosition(), 3u);
    EXPECT_EQ(buffer->get(8), 8) << "what lies beyond the limit stays";
}

TYPED_TEST(ByteBuffers, NothingRemainsForAPositionBeyondTheLimit) {
    typename TestFixture::Unit bytes[8] = {};
    const auto buffer = this->counting(10);
    buffer->setPosition(5);
    buffer->setLimit(2);
    EXPECT_EQ(buffer->getPosition(), 5u);
    EXPECT_EQ(buffer->remaining(), 0u);
    EXPECT_EQ(buffer->get(bytes, 8), 0u);
    EXPECT_EQ(buffer->put(bytes, 8), 0u);
    EXPECT_EQ(buffer->slice()->getCapacity(), 0u);
    EXPECT_THROW(buffer->setPosition(3), qx::RangeErrorException);
    EXPECT_THROW(buffer->setLimit(11), qx::RangeErrorException);
    buffer->clear();
    EXPECT_EQ(buffer->remaining(), 10u);
    EXPECT_EQ(buffer->get(5), 5);
}

TYPED_TEST(ByteBuffers, MovesFromBufferToBuffer) {
    const auto source = this->counting(10), target = this->counting(6);
    source->setPosition(7);
    target->setPosition(2);
    target->put(source.get());
    EXPECT_EQ(source->getPosition(), 10u);
    EXPECT_EQ(target->getPosition(), 5u);
    EXPECT_EQ(this->bytesOf(*target), (std::vector<typename TestFixture::Unit>{0, 1, 7, 8, 9, 5}));

    source->rewind();
    const auto whole = source->slice();
    source->setPosition(2);
    source->put(whole.get());
    EXPECT_EQ(this->bytesOf(*source),
              (std::vector<typename TestFixture::Unit>{0, 1, 0, 1, 2, 3, 4, 5, 6, 7}));
    source->rewind();
    source->put(source.get());
    EXPECT_EQ(source->getPosition(), 10u) << "onto itself, the position moves once";
    expectThrowsResult(qx::result::NullPointer,
                       [&] { source->put(static_cast<TypeParam*>(nullptr)); });
    expectThrowsResult(qx::result::NullPointer, [&] { target->readFrom(nullptr); });
    expectThrowsResult(qx::result::NullPointer, [&] { target->writeTo(nullptr); });
}

TYPED_TEST(ByteBuffers, ReadOnlyBuffersRefuseEveryWriteUnchanged) {
    using Byte = typename TestFixture::Unit;
    const Byte bytes[16] = {1, 2, 3};
    int32_t values[2] = {};
    TypeParam buffer(bytes, 16, QX_ENDIAN_BIG);
    const auto source = this->counting(4);
    FakeSource<Bytes> in("abc");
    EXPECT_TRUE(buffer.isReadOnly());
    const auto refused = [&](auto write) {
        EXPECT_THROW(write(), qx::ReadOnlyException);
        EXPECT_EQ(buffer.getPosition(), 0u);
    };
    refused([&] { buffer.put(Byte{1}); });
    refused([&] { buffer.put(0, Byte{1}); });
    refused([&] { buffer.put(bytes, 0); });
    refused([&] { buffer.put(0, bytes, 2); });
    refused([&] { buffer.put(source.get()); });
    refused([&] { buffer.putInt16(1); });
    refused([&] { buffer.putInt16(0, 1); });
    refused([&] { buffer.putInt32(1); });
    refused([&] { buffer.putInt32(0, 1); });
    refused([&] { buffer.putInt64(1); });
    refused([&] { buffer.putInt64(0, 1); });
    refused([&] { buffer.putFloat(1); });
    refused([&] { buffer.putFloat(0, 1); });
    refused([&] { buffer.putDouble(1); });
    refused([&] { buffer.putDouble(0, 1); });
    refused([&] { buffer.putValues(values, 2); });
    refused([&] { buffer.readFrom(&in); });
    EXPECT_EQ(source->getPosition(), 0u);
    EXPECT_EQ(buffer.getInt16(), 0x0102);
    EXPECT_TRUE(buffer.slice()->isReadOnly());
    EXPECT_FALSE(buffer.duplicate(false, 0)->isReadOnly());
}

TYPED_TEST(ByteBuffers, BulkValuesMatchSingleOnes) {
    for (const ENUM_QX_ENDIAN order : {QX_ENDIAN_LITTLE, QX_ENDIAN_BIG}) {
        for (unsigned int count = 0; count < 70; ++count) {
            SCOPED_TRACE(testing::Message() << "order " << order << ", " << count << " values");
            const auto check = [&](auto one, auto putOne, auto getOne) {
                using Value = decltype(one);
                const unsigned int size = 1 + count * static_cast<unsigned int>(sizeof(Value));
                std::vector<Value> values, read(count);
                TypeParam single(size, order, false), bulk(size, order, false);
                const typename TestFixture::Unit odd = 1; // values lie at odd places
                single.put(odd);
                bulk.put(odd);
                for (unsigned int i = 0; i < count; ++i) {
                    values.push_back(static_cast<Value>(one * static_cast<Value>(i * i + 1)));
                    (single.*putOne)(values.back());
                }
                EXPECT_EQ(bulk.putValues(values.data(), count + 5), count) << "clipped";
                EXPECT_EQ(bulk.getPosition(), size);
                EXPECT_TRUE(bulk.equals(single));
                EXPECT_EQ(bulk.getValues(1, read.data(), count), count);
                EXPECT_EQ(read, values);
                bulk.setPosition(1);
                for (unsigned int i = 0; i < count; ++i)
                    EXPECT_EQ((bulk.*getOne)(), values[i]);
            };
            using T = TypeParam;
            check(int16_t{-257}, static_cast<void (T::*)(int16_t)>(&T::putInt16),
                  static_cast<int16_t (T::*)()>(&T::getInt16));
            check(int32_t{-65'537}, static_cast<void (T::*)(int32_t)>(&T::putInt32),
                  static_cast<int32_t (T::*)()>(&T::getInt32));
            check(int64_t{-0x123456789AB}, static_cast<void (T::*)(int64_t)>(&T::putInt64),
                  static_cast<int64_t (T::*)()>(&T::getInt64));
            check(-0.7f, static_cast<void (T::*)(float)>(&T::putFloat),
                  static_cast<float (T::*)()>(&T::getFloat));
            check(-0.7, static_cast<void (T::*)(double)>(&T::putDouble),
                  static_cast<double (T::*)()>(&T::getDouble));
        }
    }
}

TEST(ByteOrder, SwapsInPlaceAsFromPlaceToPlace) {
    for (size_t count = 0; count < 40; ++count) {
        std::vector<uint16_t> values(count), swapped(count);
        for (size_t i = 0; i < count; ++i)
            values[i] = static_cast<uint16_t>(i * 1021);
        qx::io::copySwapped(swapped.data(), values.data(), count, 2);
        qx::io::copySwapped(values.data(), values.data(), count, 2);
        EXPECT_EQ(values, swapped);
        if (count > 1) {
            EXPECT_EQ(values[1], 0xFD03);
        }
    }
}

TYPED_TEST(ByteBuffers, CopiesAndSlicesSeeTheSameBytesAndKeepThem) {
    auto buffer = this->counting(8, QX_ENDIAN_BIG);
    buffer->setLimit(6);
    buffer->setPosition(2);
    const TypeParam copy(*buffer);
    const auto slice = buffer->slice();
    EXPECT_EQ(copy.getPosition(), 2u);
    EXPECT_EQ(copy.getLimit(), 6u);
    EXPECT_EQ(slice->getCapacity(), 4u);
    EXPECT_EQ(slice->getPosition(), 0u);
    EXPECT_EQ(slice->getOrder(), QX_ENDIAN_BIG);
    slice->put(99);
    EXPECT_EQ(buffer->get(2), 99);
    EXPECT_EQ(buffer->getPosition(), 2u);
    buffer.reset(); // the storage lives on with those that see it
    EXPECT_EQ(copy.get(2), 99);
    EXPECT_EQ(slice->get(3), 5);
}

TYPED_TEST(ByteBuffers, DuplicatesAreApart) {
    const auto buffer = this->counting(4, QX_ENDIAN_BIG);
    buffer->setPosition(1);
    buffer->setLimit(2);
    const auto copy = buffer->duplicate(false, 0);
    EXPECT_EQ(copy->getPosition(), 0u);
    EXPECT_EQ(copy->getLimit(), 4u);
    EXPECT_EQ(copy->getOrder(), QX_ENDIAN_BIG);
    EXPECT_TRUE(copy->equals(*buffer));
    copy->put(9);
    EXPECT_EQ(buffer->get(0), 0);
    const auto larger = buffer->duplicate(true, 6);
    EXPECT_EQ(larger->getCapacity(), 6u);
    EXPECT_EQ(larger->getLimit(), 4u);
    EXPECT_EQ(larger->get(3), 3);
    EXPECT_TRUE(larger->isReadOnly());
    EXPECT_THROW(buffer->duplicate(false, 3), qx::RangeErrorException);
}

TYPED_TEST(ByteBuffers, ReplacedStorageIsFreedAndTheNewOneIsOnlyWrapped) {
    typename TestFixture::Unit bytes[3] = {7, 8, 9};
    const int64_t before = liveBlocks();
    {
        TypeParam buffer(100, QX_ENDIAN_LITTLE, false);
        const auto keeper = buffer.slice();
        buffer.setPosition(50);
        buffer.setBuffer(bytes, 3, QX_ENDIAN_BIG, false);
        EXPECT_EQ(buffer.getBuffer(), bytes);
        EXPECT_EQ(buffer.getPosition(), 0u);
        EXPECT_EQ(buffer.getLimit(), 3u);
        EXPECT_EQ(keeper->getCapacity(), 100u);
        buffer.setBuffer(static_cast<const typename TestFixture::Unit*>(bytes), 2, QX_ENDIAN_BIG);
        EXPECT_TRUE(buffer.isReadOnly());
        expectThrowsResult(qx::result::NullPointer, [&] {
            buffer.setBuffer(static_cast<typename TestFixture::Unit*>(nullptr), 1, QX_ENDIAN_BIG);
        });
        EXPECT_EQ(buffer.getCapacity(), 2u) << "refused, nothing changed";
    }
    EXPECT_EQ(liveBlocks(), before);
}

TYPED_TEST(ByteBuffers, OrdersByCapacityThenByBytes) {
    using Byte = typename TestFixture::Unit;
    const auto buffer = this->counting(3), same = this->counting(3), longer = this->counting(4);
    const auto high = this->counting(3);
    high->put(0, static_cast<Byte>(0x80)); // the largest first byte either way
    same->setPosition(2);
    EXPECT_EQ(buffer->compareTo(*same), 0);
    EXPECT_TRUE(buffer->equals(*same));
    EXPECT_EQ(buffer->hashCode(), same->hashCode());
    EXPECT_EQ(buffer->compareTo(*longer), -1);
    EXPECT_EQ(longer->compareTo(*high), 1);
    EXPECT_EQ(buffer->compareTo(*high), -1);
    EXPECT_EQ(high->compareTo(*buffer), 1);
    EXPECT_FALSE(buffer->equals(*high));
    const ByteBuffer namespaced(0, QX_ENDIAN_LITTLE, false);
    const CQXByteBuffer legacy(0, QX_ENDIAN_LITTLE, false);
    EXPECT_THROW(namespaced.compareTo(legacy), qx::CastFailedException);
    EXPECT_THROW(legacy.compareTo(namespaced), qx::CastFailedException);
    EXPECT_FALSE(legacy.equals(namespaced));
}

TYPED_TEST(ByteBuffers, HashesBytesAtEqualDistances) {
    using Byte = typename TestFixture::Unit;
    for (const unsigned int capacity : {0u, 1u, 31u, 32u, 63u, 64u, 65u, 96u, 1000u}) {
        SCOPED_TRACE(capacity);
        const auto buffer = this->counting(capacity);
        const unsigned int step = capacity < 32 ? 1 : (capacity - 32) / 32 + 1;
        uint32_t expected = 0;
        for (unsigned int i = 0; i < capacity; i += step)
            expected = expected * 37 + static_cast<uint32_t>(int{static_cast<Byte>(i)});
        EXPECT_EQ(buffer->hashCode(), expected);
    }
    TypeParam high(1, QX_ENDIAN_LITTLE, false);
    high.put(0, static_cast<Byte>(0x80));
    EXPECT_EQ(static_cast<int32_t>(high.hashCode()), std::is_signed_v<Byte> ? -128 : 128);
}

TEST(ByteBuffer, RefusesAnUnknownOrderEverywhere) {
    signed char bytes[4] = {};
    ByteBuffer buffer(4, QX_ENDIAN_BIG, false);
    const auto refused = [&](auto use) { EXPECT_THROW(use(), qx::UnsupportedOperationException); };
    refused([] { ByteBuffer(4, QX_ENDIAN_UNKNOWN, false); });
    refused([&] { ByteBuffer(bytes, 4, QX_ENDIAN_UNKNOWN, false); });
    refused([&] {
        ByteBuffer(static_cast<const signed char*>(bytes), 4, static_cast<ENUM_QX_ENDIAN>(7));
    });
    refused([&] { buffer.setOrder(QX_ENDIAN_UNKNOWN); });
    refused([&] { buffer.setBuffer(bytes, 4, QX_ENDIAN_UNKNOWN, false); });
    EXPECT_EQ(buffer.getOrder(), QX_ENDIAN_BIG);
    EXPECT_NE(buffer.getBuffer(), bytes);

    CQXByteBuffer legacy(4, QX_ENDIAN_UNKNOWN, false);
    EXPECT_EQ(legacy.getOrder(), QX_ENDIAN_LITTLE);
    legacy.setOrder(QX_ENDIAN_BIG);
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
    EXPECT_EQ(buffer.getPosition(), 0u);
    out.failing = false;
    EXPECT_EQ(buffer.writeTo(&out), 2u);
    EXPECT_EQ(buffer.getPosition(), 2u);
    EXPECT_EQ(textOf(out.content), "ij");
    EXPECT_EQ(buffer.writeTo(&out), 0u);
    EXPECT_EQ(out.writes, (std::vector<int32_t>{2, 0}));
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
        out.write('y');
        EXPECT_EQ(out.Overflowed(), 1) << "for good";

        buffer->setPosition(2);
        ByteBufferInputStream in(buffer);
        signed char bytes[10];
        EXPECT_EQ(in.read(bytes, 0), 0);
        EXPECT_EQ(in.read(), 'a');
        EXPECT_EQ(in.read(bytes, 10), 3);
        EXPECT_EQ(bytes[2], 'd');
        EXPECT_EQ(in.read(bytes, 0), -1);
        EXPECT_EQ(in.read(), -1);
        EXPECT_EQ(in.available(), 0);
    }
    EXPECT_EQ(buffer->GetRefCount(), references);
    ByteBuffer readOnly(buffer->getConstBuffer(), 6, QX_ENDIAN_LITTLE);
    ByteBufferOutputStream refused(&readOnly);
    EXPECT_THROW(refused.write('x'), qx::ReadOnlyException);
}

} // namespace
