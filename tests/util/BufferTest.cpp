#include <numeric>
#include <thread>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"

using namespace qx;
using namespace qx::util;
using namespace qxtest;

namespace {

/// Every case runs over bytes and over UTF-16 units.
template <class Unit>
struct BufferTest : testing::Test {
    static std::vector<Unit> numbers(int32_t count) {
        std::vector<Unit> units(static_cast<size_t>(count));
        std::iota(units.begin(), units.end(), Unit{1});
        return units;
    }
    static std::vector<Unit> contentOf(const AbstractBuffer<Unit>& buffer) {
        return {buffer.getData(), buffer.getData() + buffer.getLength()};
    }
};

using Units = testing::Types<signed char, char16_t>;
TYPED_TEST_SUITE(BufferTest, Units);

TYPED_TEST(BufferTest, RoomIsAMultipleOfSixteenAndLengthFollowsTheWriter) {
    for (const auto& [asked, capacity] :
         {std::pair{0, 0}, {1, 16}, {15, 16}, {16, 16}, {17, 32}, {1000, 1008}}) {
        SCOPED_TRACE(asked);
        EXPECT_EQ(RWBuffer<TypeParam>(asked).getCapacity(), capacity);
        RWBuffer<TypeParam> grown;
        EXPECT_EQ(grown.getWriteLock(asked) != nullptr, asked > 0);
        EXPECT_EQ(grown.getCapacity(), capacity);
    }
    const auto units = this->numbers(20);
    RWBuffer<TypeParam> buffer(units.data(), 20, 500);
    EXPECT_EQ(buffer.getCapacity(), 512);
    buffer.getWriteLock(21)[20] = 7;
    EXPECT_EQ(buffer.ensureCapacity(600)[20], 7) << "kept by growth, though not yet reported";
    buffer.freeExtra();
    EXPECT_EQ(buffer.getCapacity(), 32);
    EXPECT_EQ(this->contentOf(buffer), units);
    for (const auto& [written, length] : {std::pair{5, 5}, {-1, 5}, {100, 32}, {0, 0}}) {
        buffer.releaseWriteLock(written);
        EXPECT_EQ(buffer.getLength(), length);
    }
    buffer.freeExtra();
    EXPECT_EQ(buffer.getData(), nullptr);
    EXPECT_EQ(buffer.getCapacity(), 0);
}

TYPED_TEST(BufferTest, CopiesOwnTheirUnitsAndMovesTakeThem) {
    const auto units = this->numbers(20);
    RWBuffer<TypeParam> first(units.data(), 20);
    RWBuffer<TypeParam> second(first);
    first.getWriteLock(20)[0] = 99;
    EXPECT_EQ(this->contentOf(second), units);
    first = second;
    EXPECT_EQ(this->contentOf(first), units);
    first = *&first;
    EXPECT_EQ(this->contentOf(first), units);
    const TypeParam* const storage = first.getData();
    EXPECT_EQ(RWBuffer<TypeParam>(std::move(first)).getData(), storage);
    MTBuffer<TypeParam> locked(units.data(), 20);
    MTBuffer<TypeParam> other(locked);
    other = locked;
    EXPECT_EQ(this->contentOf(other), units);
}

TYPED_TEST(BufferTest, ReadOnlyBufferRefusesWritersThroughTheInterface) {
    const auto units = this->numbers(3);
    ROBuffer<TypeParam> buffer(units.data(), 3, 0);
    ComponentBuffer<TypeParam>& component = buffer;
    EXPECT_EQ(component.GetLength(), 3);
    EXPECT_EQ(component.IsWritable(), 0);
    TypeParam probe{};
    for (const auto grow :
         {&ComponentBuffer<TypeParam>::GetWriteLock, &ComponentBuffer<TypeParam>::EnsureCapacity}) {
        TypeParam* out = &probe;
        EXPECT_EQ((component.*grow)(1, &out), result::NotImplemented);
        EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(component.ReleaseWriteLock(1), result::NotImplemented);
    const TypeParam* in = nullptr;
    expectEach(result::Ok,
               {component.FreeExtra(), component.GetReadLock(&in), component.ReleaseReadLock()});
    EXPECT_EQ(in, units.data());
    EXPECT_EQ(component.GetWriteLock(1, nullptr), result::NullPointer);
    const auto counted = makeReference<MTBuffer<TypeParam>>(7);
    const auto face = interfaceOf<ComponentBuffer<TypeParam>>(counted);
    EXPECT_EQ(face.get(), static_cast<ComponentBuffer<TypeParam>*>(counted.get()));
    EXPECT_NE(interfaceOf<IQXComparable>(face), nullptr);
}

TYPED_TEST(BufferTest, AnswersWantOfMemoryAndIsAsItWas) {
    const auto units = this->numbers(20);
    MTBuffer<TypeParam> buffer(units.data(), 20, 500);
    TypeParam* data = nullptr;
    {
        const FailingAllocator noMemory(0, FailingAllocator::Extent::FromThereOn);
        expectEach(result::OutOfMemory,
                   {buffer.EnsureCapacity(1000, &data), buffer.GetWriteLock(1000, &data),
                    buffer.GetWriteLock(INT32_MAX, &data), // more than a capacity can say
                    buffer.FreeExtra()});
    }
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(buffer.getCapacity(), 512);
    EXPECT_EQ(this->contentOf(buffer), units);
    EXPECT_NE(buffer.getWriteLock(1), nullptr); // hangs or throws if the lock were still held
    buffer.releaseWriteLock(0);
}

TEST(MTBuffer, IsLockedByOneWriterOrByReaders) {
    const signed char bytes[] = {1, 2, 3};
    MTByteBuffer buffer(bytes, 3);
    EXPECT_EQ(buffer.ReleaseWriteLock(1), result::NotOwner);
    buffer.getWriteLock(3);
    std::thread([&] { EXPECT_EQ(buffer.ReleaseWriteLock(2), result::NotOwner); }).join();
    EXPECT_EQ(buffer.getLength(), 3);
    buffer.releaseWriteLock(-1);
    const signed char* const first = buffer.getReadLock();
    std::thread([&] { // a second reader gets in beside the first
        EXPECT_EQ(buffer.getReadLock(), first);
        buffer.releaseReadLock();
    })
        .join();
    buffer.releaseReadLock();
}

/// Answers as it is told and counts what is held.
struct FragileBuffer : RWCharBuffer {
    using RWBuffer::RWBuffer;

    int32_t GetReadLock(const char16_t** data) const override {
        if (lockResult != 0)
            return lockResult;
        ++held;
        onRead();
        return RWBuffer::GetReadLock(data);
    }
    int32_t ReleaseReadLock() const override { return --held, releaseResult; }
    int32_t GetWriteLock(int32_t capacity, char16_t** data) override {
        ++held;
        return RWBuffer::GetWriteLock(capacity, data);
    }
    int32_t ReleaseWriteLock(int32_t length) override {
        --held;
        RWBuffer::ReleaseWriteLock(length);
        return releaseResult;
    }

    int32_t lockResult = 0, releaseResult = 0;
    std::function<void()> onRead = [] {}; // what another thread does just before the read lock
    mutable int held = 0;
};

TEST(CopyCharBuffer, ReplacesTheTextByWhatTheLockedSourceHoldsAndLeavesNoLockBehind) {
    FragileBuffer destination(u"something longer", 16), source(u"whole text", 10);
    source.releaseWriteLock(5);
    source.onRead = [&] { source.releaseWriteLock(destination.held == 0 ? 10 : 5); };
    destination.releaseResult = 7;
    EXPECT_EQ(QXCopyCharBuffer(&destination, &source), 7);
    EXPECT_EQ(String(&destination), u"whole text");
    const ROCharBuffer empty;
    EXPECT_EQ(QXCopyCharBuffer(&destination, &empty), 7);
    EXPECT_EQ(destination.getLength(), 0);
    ROCharBuffer fixed(u"fixed", 5);
    EXPECT_THROW(QXCopyCharBuffer(&fixed, &source), ResultException);
    for (int32_t* const result :
         {&source.lockResult, &source.releaseResult, &destination.releaseResult}) {
        source.lockResult = source.releaseResult = destination.releaseResult = 0;
        *result = result::AccessDenied;
        expectEach(result::AccessDenied, {[&] { QXCopyCharBuffer(&destination, &source); }});
        EXPECT_EQ(destination.held + source.held, 0);
    }
}

} // namespace
