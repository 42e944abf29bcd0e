#include "tests/support/FailingAllocator.h"
#include "tests/support/FakeStreams.h"

using namespace qxtest;
using namespace qx::io;
using qx::Reference;

namespace {

template <class T>
class ByteBuffers : public testing::Test {
public:
    using Unit = std::remove_cvref_t<decltype(*std::declval<T>().getBuffer())>;

    /// What lies in the whole capacity.
    static std::vector<Unit> bytesOf(const T& buffer) {
        return {buffer.getConstBuffer(), buffer.getConstBuffer() + buffer.getCapacity()};
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
    for (const auto& [at, width] : {std::pair{0u, 2u}, {2u, 4u}, {6u, 8u}, {14u, 4u}, {18u, 8u}}) {
        for (unsigned int i = 0; i < width; ++i)
            EXPECT_EQ(big.get(at + i), little.get(at + width - 1 - i)) << "reversed";
    }
}

TYPED_TEST(ByteBuffers, BlocksAreClippedToTheLimit) {
    typename TestFixture::Unit bytes[20] = {};
    const auto buffer = this->counting(10);
    buffer->setLimit(8);
    buffer->setPosition(4);
    EXPECT_EQ(buffer->get(bytes, 20), 4u);
    EXPECT_EQ(bytes[3], 7);
    EXPECT_EQ(buffer->getPosition(), 8u);
    EXPECT_EQ(buffer->get(6, bytes, 20), 2u);
    EXPECT_EQ(bytes[0], 6);
    EXPECT_EQ(buffer->get(9, bytes, 20), 0u) << "an index beyond the limit";
    EXPECT_EQ(buffer->put(6, bytes + 2, 20), 2u);
    EXPECT_EQ(buffer->getPosition(), 8u);
    buffer->rewind();
    EXPECT_EQ(buffer->put(bytes, 3), 3u);
    EXPECT_EQ(buffer->getPosition(), 3u);
    EXPECT_EQ(buffer->get(8), 8) << "what lies beyond the limit stays";
    buffer->setPosition(5);
    buffer->setLimit(2);
    EXPECT_EQ(buffer->getPosition(), 5u);
    EXPECT_EQ(buffer->remaining() + buffer->get(bytes, 8) + buffer->put(bytes, 8), 0u);
    EXPECT_EQ(buffer->slice()->getCapacity(), 0u);
    EXPECT_THROW(buffer->setPosition(3), qx::RangeErrorException);
    EXPECT_THROW(buffer->setLimit(11), qx::RangeErrorException);
    buffer->clear();
    EXPECT_EQ(buffer->remaining(), 10u);
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
    const auto refused = [](auto use) { EXPECT_EQ(failureOf(use), qx::result::NullPointer); };
    refused([&] { source->put(static_cast<TypeParam*>(nullptr)); });
    refused([&] { target->readFrom(nullptr); });
    refused([&] { target->writeTo(nullptr); });
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
    refused([&] { buffer.putValues(values, 2); });
    refused([&] { buffer.readFrom(&in); });
    EXPECT_EQ(source->getPosition(), 0u);
    EXPECT_EQ(buffer.getInt16(), 0x0102);
    EXPECT_TRUE(buffer.slice()->isReadOnly());
    EXPECT_FALSE(buffer.duplicate(false, 0)->isReadOnly());
}

/// Puts and gets a value with the functions of its type.
void putOne(auto& buffer, int16_t value) { buffer.putInt16(value); }
void putOne(auto& buffer, int32_t value) { buffer.putInt32(value); }
void putOne(auto& buffer, int64_t value) { buffer.putInt64(value); }
void putOne(auto& buffer, float value) { buffer.putFloat(value); }
void putOne(auto& buffer, double value) { buffer.putDouble(value); }
void getOne(auto& buffer, int16_t& value) { value = buffer.getInt16(); }
void getOne(auto& buffer, int32_t& value) { value = buffer.getInt32(); }
void getOne(auto& buffer, int64_t& value) { value = buffer.getInt64(); }
void getOne(auto& buffer, float& value) { value = buffer.getFloat(); }
void getOne(auto& buffer, double& value) { value = buffer.getDouble(); }

TYPED_TEST(ByteBuffers, BulkValuesMatchSingleOnes) {
    const auto check = [](auto one, ENUM_QX_ENDIAN order, unsigned int count) {
        using Value = decltype(one);
        const unsigned int size = 1 + count * static_cast<unsigned int>(sizeof(Value));
        std::vector<Value> values, read(count);
        TypeParam single(size, order, false), bulk(size, order, false);
        single.put(1); // values lie at odd places
        bulk.put(1);
        for (unsigned int i = 0; i < count; ++i) {
            values.push_back(static_cast<Value>(one * static_cast<Value>(i * i + 1)));
            putOne(single, values.back());
        }
        EXPECT_EQ(bulk.putValues(values.data(), count + 5), count) << "clipped";
        EXPECT_EQ(bulk.getPosition(), size);
        EXPECT_TRUE(bulk.equals(single));
        EXPECT_EQ(bulk.getValues(1, read.data(), count), count);
        EXPECT_EQ(read, values);
        bulk.setPosition(1);
        for (Value& value : read)
            getOne(bulk, value);
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
    using Byte = typename TestFixture::Unit;
    Byte bytes[3] = {7, 8, 9};
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
        buffer.setBuffer(static_cast<const Byte*>(bytes), 2, QX_ENDIAN_BIG);
        EXPECT_TRUE(buffer.isReadOnly());
        EXPECT_EQ(
            failureOf([&] { buffer.setBuffer(static_cast<Byte*>(nullptr), 1, QX_ENDIAN_BIG); }),
            qx::result::NullPointer);
        EXPECT_EQ(buffer.getCapacity(), 2u) << "refused, nothing changed";
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
    const auto refused = [&](auto use) { EXPECT_THROW(use(), qx::UnsupportedOperationException); };
    refused([] { ByteBuffer(4, QX_ENDIAN_UNKNOWN, false); });
    refused([&] { ByteBuffer(bytes, 4, QX_ENDIAN_UNKNOWN, false); });
    refused([&] { ByteBuffer(constant, 4, static_cast<ENUM_QX_ENDIAN>(7)); });
    refused([&] { buffer.setOrder(QX_ENDIAN_UNKNOWN); });
    refused([&] { buffer.setBuffer(bytes, 4, QX_ENDIAN_UNKNOWN, false); });
    EXPECT_EQ(buffer.getOrder(), QX_ENDIAN_BIG);
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
    EXPECT_EQ(buffer.getPosition(), 0u);
    out.failing = false;
    EXPECT_EQ(buffer.writeTo(&out), 2u);
    EXPECT_EQ(buffer.getPosition(), 2u);
    EXPECT_EQ(textOf(out.content), "ij");
    EXPECT_EQ(buffer.writeTo(&out), 0u);
    EXPECT_EQ(out.writes, (std::vector<int32_t>{2, 0}));
}

class Growing : public ByteArrayOutputStream {
public:
    using ByteArrayOutputStream::ByteArrayOutputStream;
    using ByteArrayOutputStream::ensureCapacity;
    using ByteArrayOutputStream::reallocBuffer;
};

std::string contentOf(const ByteArrayOutputStream& out) {
    return {reinterpret_cast<const char*>(out.getBytes()), static_cast<size_t>(out.getSize())};
}

TEST(ByteArrayInputStream, OwnsItsBytesAndTestsTheEndFirst) {
    EXPECT_EQ(failureOf([] { ByteArrayInputStream(nullptr, 1); }), qx::result::NullPointer);
    signed char bytes[8] = {1, -1, 3};
    ByteArrayInputStream empty(nullptr, 0), in(bytes, 3);
    EXPECT_EQ(empty.read(bytes, 0), -1);
    bytes[0] = 0;
    EXPECT_EQ(in.read(bytes, 0), 0);
    EXPECT_EQ(in.read(bytes, -1), 0);
    EXPECT_EQ(in.read(), 1);
    EXPECT_EQ(in.read(bytes, 8), 2);
    EXPECT_EQ(bytes[0], -1);
    EXPECT_EQ(in.read(bytes, 0), -1);
}

TEST(ByteArrayOutputStream, GrowsByAQuarterOfWhatItNeeds) {
    const struct {
        int32_t capacity, written, grown;
    } cases[] = {{256, 256, 256}, {256, 257, 321}, {0, 1, 1},
                 {0, 4, 5},       {-3, 0, 0},      {10, 1000, 1250}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.written);
        ByteArrayOutputStream out(c.capacity);
        const std::string bytes(static_cast<size_t>(c.written), 'x');
        out.write(bytes.data(), c.written);
        EXPECT_EQ(out.getCapacity(), c.grown);
        EXPECT_EQ(contentOf(out), bytes);
        out.reset();
        EXPECT_EQ(out.getSize(), 0);
        EXPECT_EQ(out.getCapacity(), c.grown);
    }
    EXPECT_EQ(ByteArrayOutputStream().getCapacity(), 256);

    Growing out(10);
    out.write("abc", 3);
    out.ensureCapacity(10);
    EXPECT_EQ(out.getCapacity(), 10);
    out.ensureCapacity(11);
    EXPECT_EQ(out.getCapacity(), 13);
    out.reallocBuffer(1); // never below what is written
    EXPECT_EQ(out.getCapacity(), 3);
    EXPECT_EQ(contentOf(out), "abc");
}

TEST(ByteArrayOutputStream, GivesItsBytesToMemoryAndStreamsAndAsText) {
    ByteArrayOutputStream out(3);
    out.write("abc", 3);
    EXPECT_EQ(out.toString(), u"abc");
    out.writeTo(&out);
    EXPECT_EQ(contentOf(out), "abcabc");
    EXPECT_EQ(failureOf([&out] { out.writeTo(nullptr); }), qx::result::NullPointer);
    signed char bytes[8] = {};
    EXPECT_EQ(out.getBytes(bytes, 2), 2);
    EXPECT_EQ(bytes[1], 'b');
    EXPECT_EQ(bytes[2], 0);
    EXPECT_EQ(out.getBytes(bytes, 8), 6);
    EXPECT_EQ(out.getBytes(bytes, -1), 0);
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

TEST(StringWriter, CollectsTextAndGivesCopies) {
    StringWriter writer(10);
    writer.write(u"ab");
    const qx::String early = writer.toString();
    const StringWriter copied(writer);
    writer.write(u'c');
    writer.close();
    EXPECT_EQ(early, u"ab");
    EXPECT_EQ(copied.toString(), u"ab");
    EXPECT_EQ(writer.toString(), u"abc");
}

} // namespace
