#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>

#include <qx/core/Implements.h>
#include <qx/core/String.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/Channels.h>
#include <qx/io/LockingChannel.h>
#include <qx/io/ReadWriteChannel.h>
#include <qx/util/buffer/CopyCharBuffer.h>
#include <qx/util/buffer/ROBuffer.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FakeStreams.h"

using namespace qxtest;
using qx::Reference;
using qx::String;
using qx::io::ByteBuffer;
using qx::io::Channels;
using qx::io::IChannel;
using qx::io::pcom::IQXChannel;

namespace result = qx::result;

namespace {

/// Streams on the heap that outlive the test's channels, which have to let go of them.
class ChannelTest : public testing::Test {
protected:
    void TearDown() override {
        EXPECT_EQ(in->GetRefCount(), 1u);
        EXPECT_EQ(out->GetRefCount(), 1u);
    }

    ByteBuffer buffer{10, QX_ENDIAN_LITTLE, false};
    const Reference<FakeSource<Bytes>> in{new FakeSource<Bytes>("abc")};
    const Reference<FakeSink<Bytes>> out{new FakeSink<Bytes>()};
};

Reference<IQXChannel> componentOf(qx::io::IChannel* channel) {
    Reference<IQXChannel> component;
    EXPECT_EQ(channel->QueryInterface(IQXChannel::Iid, component.putVoid()), result::Ok);
    return component;
}

TEST_F(ChannelTest, StreamsFillWhatRemainsAndSendWhatRemains) {
    const auto channel = Channels::adaptStreams(in, out);
    EXPECT_EQ(channel->read(buffer), 3);
    EXPECT_EQ(buffer.getPosition(), 3u);
    EXPECT_EQ(channel->read(buffer), -1);
    EXPECT_EQ(buffer.getPosition(), 3u);
    buffer.setLimit(2); // in front of the position: nothing is offered
    EXPECT_EQ(channel->read(buffer), -1);
    EXPECT_EQ(in->requests, (std::vector<int32_t>{10, 7, 0}));

    buffer.clear();
    buffer.put(reinterpret_cast<const signed char*>("0123456789"), 10);
    buffer.setPosition(2);
    buffer.setLimit(6);
    EXPECT_EQ(channel->write(buffer), 4);
    EXPECT_EQ(buffer.getPosition(), 6u);
    EXPECT_EQ(textOf(out->content), "2345");
    EXPECT_EQ(out->writes, (std::vector<int32_t>{4}));
}

TEST_F(ChannelTest, FailuresOfStreamsPassThroughAndLeaveThePosition) {
    const auto channel = Channels::adaptStreams(in, out);
    const auto component = componentOf(channel);
    out->failing = true;
    signed char bytes[4] = {};
    int32_t length = 4;
    in->failAt = 2;
    EXPECT_EQ(component->Read(bytes, &length), result::Ok);
    length = 4;
    EXPECT_EQ(component->Read(bytes, &length), result::Fail);
    EXPECT_EQ(length, 0) << "nothing was moved";
    length = 4;
    EXPECT_EQ(component->Write(bytes, &length), result::Fail);
    EXPECT_EQ(length, 0);

    const ByteBuffer readOnly(buffer.getConstBuffer(), 4, QX_ENDIAN_LITTLE);
    ByteBuffer view(readOnly);
    in->requests.clear();
    EXPECT_THROW(channel->read(view), qx::ReadOnlyException);
    EXPECT_TRUE(in->requests.empty()) << "nothing is lost";
}

TEST_F(ChannelTest, StreamsMoveBytesForComponents) {
    const auto component = componentOf(Channels::adaptStreams(in, out));
    signed char bytes[8] = {};
    int32_t length = 8;
    EXPECT_EQ(component->Read(bytes, &length), result::Ok);
    EXPECT_EQ(length, 3);
    EXPECT_EQ(std::memcmp(bytes, "abc", 4), 0);
    EXPECT_EQ(component->Write(bytes, &length), result::Ok);
    EXPECT_EQ(length, 3);
    EXPECT_EQ(textOf(out->content), "abc");
    length = 8;
    EXPECT_EQ(component->Read(bytes, &length), result::Ok);
    EXPECT_EQ(length, -1) << "the end";
    length = 0;
    EXPECT_EQ(component->Write(nullptr, &length), result::Ok);
    EXPECT_EQ(length, 0);
}

TEST_F(ChannelTest, RefusesLengthsAndPointersThatCannotBe) {
    const auto component = componentOf(Channels::adaptStreams(in, out));
    signed char bytes[4] = {};
    int32_t length = -4;
    EXPECT_EQ(component->Read(bytes, &length), result::InvalidArgument);
    EXPECT_EQ(length, 0);
    length = -1;
    EXPECT_EQ(component->Write(bytes, &length), result::InvalidArgument);
    length = 4;
    EXPECT_EQ(component->Read(nullptr, &length), result::NullPointer);
    EXPECT_EQ(component->Read(bytes, nullptr), result::NullPointer);
    EXPECT_EQ(component->Write(bytes, nullptr), result::NullPointer);
    EXPECT_EQ(component->GetInheritableName(nullptr), result::NullPointer);
    EXPECT_TRUE(in->requests.empty());

    expectThrowsResult(result::NullPointer, [&] { Channels::adaptStreams(nullptr, out); });
    expectThrowsResult(result::NullPointer, [&] { Channels::adaptStreams(in, nullptr); });
    expectThrowsResult(result::NullPointer, [] { Channels::adaptPcomChannel(nullptr); });
    expectThrowsResult(result::NullPointer, [] { Channels::adaptPcomWithInheritance(nullptr); });
    expectThrowsResult(result::NullPointer, [] { qx::io::LockingChannel(nullptr, nullptr); });
}

TEST_F(ChannelTest, TellsTheNameThatItHas) {
    const auto named = Channels::adaptStreams(in, out, String(u"pipe 7"));
    EXPECT_EQ(named->getInheritableName(), u"pipe 7");
    String name;
    EXPECT_EQ(componentOf(named)->GetInheritableName(&name), result::Ok);
    EXPECT_EQ(name, u"pipe 7");
    qx::util::ROCharBuffer refusing;
    EXPECT_EQ(componentOf(named)->GetInheritableName(&refusing), result::NotImplemented);

    const auto unnamed = Channels::adaptStreams(in, out, String());
    expectThrowsResult(result::NotAvailable, [&] { unnamed->getInheritableName(); });
    EXPECT_EQ(componentOf(unnamed)->GetInheritableName(&name), result::NotAvailable);
}

/// A component that moves given bytes, or claims to.
class FakeComponent : public qx::pcom::Implements<qx::Object, IQXChannel> {
public:
    int32_t Read(signed char* to, int32_t* length) override {
        if (result >= 0 && moved > 0)
            std::memset(to, 'r', static_cast<size_t>(std::min(moved, *length)));
        return answer(length);
    }
    int32_t Write(const signed char*, int32_t* length) override { return answer(length); }
    int32_t GetInheritableName(IQXCharBuffer* to) override {
        if (result >= 0)
            QXCopyCharBuffer(to, &name);
        return result;
    }

    int32_t result = 0;
    int32_t moved = 0;
    int32_t offered = 0;
    String name{u"component"};

private:
    int32_t answer(int32_t* length) {
        offered = *length;
        *length = moved;
        return result;
    }
};

TEST(PcomChannel, AdvancesByWhatTheComponentMovesAndThrowsWhatItReturns) {
    constexpr int32_t Refused = 0; // IoException: no result of the component
    const struct {
        const char* what;
        int32_t result, moved;
        int32_t readThrows, writeThrows; // Ok: the call comes through
    } cases[] = {
        {"all that remains", result::Ok, 6, 1, 1},
        {"a part", result::Ok, 2, 1, 1},
        {"nothing", result::Ok, 0, 1, 1},
        {"success with a code of its own", 5, 3, 1, 1},
        {"end of the input", result::Ok, -1, 1, Refused},
        {"more than was offered", result::Ok, 7, Refused, Refused},
        {"far more", result::Ok, std::numeric_limits<int32_t>::max(), Refused, Refused},
        {"less than nothing", result::Ok, -2, Refused, Refused},
        {"failure, whatever was moved", result::BrokenPipe, 3, result::BrokenPipe,
         result::BrokenPipe},
    };
    const auto component = qx::makeReference<FakeComponent>();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        component->result = c.result;
        component->moved = c.moved;
        const auto channel = Channels::adaptPcomChannel(component);
        for (const bool reading : {true, false}) {
            SCOPED_TRACE(reading ? "read" : "write");
            ByteBuffer buffer(10, QX_ENDIAN_LITTLE, false);
            buffer.setLimit(8);
            buffer.setPosition(2);
            const auto move = [&] {
                return reading ? channel->read(buffer) : channel->write(buffer);
            };
            const int32_t expected = reading ? c.readThrows : c.writeThrows;
            if (expected == 1) {
                EXPECT_EQ(move(), c.moved);
                EXPECT_EQ(buffer.getPosition(), 2u + static_cast<unsigned>(std::max(c.moved, 0)));
            } else if (expected == Refused) {
                EXPECT_THROW(move(), qx::io::IoException);
                EXPECT_EQ(buffer.getPosition(), 2u);
            } else {
                expectThrowsResult(expected, move);
                EXPECT_EQ(buffer.getPosition(), 2u);
            }
            EXPECT_EQ(component->offered, 6);
        }
    }
    EXPECT_EQ(component->GetRefCount(), 1u);
}

TEST(PcomChannel, AsksTheComponentForItsName) {
    const auto component = qx::makeReference<FakeComponent>();
    const auto channel = Channels::adaptPcomWithInheritance(component);
    EXPECT_EQ(channel->getInheritableName(), u"component");
    component->result = result::NotAvailable;
    expectThrowsResult(result::NotAvailable, [&] { channel->getInheritableName(); });
    expectThrowsResult(result::NotAvailable,
                       [&] { Channels::adaptPcomWithInheritance(component); });
    EXPECT_EQ(component->GetRefCount(), 2u) << "the refused channel let go";
}

TEST_F(ChannelTest, ComesThroughBothBridgesUnchanged) {
    // Streams offered as a component that is adapted again: the far end of a module boundary.
    const auto channel = Channels::adaptPcomWithInheritance(
        componentOf(Channels::adaptStreams(in, out, String(u"there and back"))));
    EXPECT_EQ(channel->read(buffer), 3);
    EXPECT_EQ(channel->read(buffer), -1);
    buffer.flip();
    EXPECT_EQ(channel->write(buffer), 3);
    EXPECT_EQ(textOf(out->content), "abc");
    EXPECT_EQ(channel->getInheritableName(), u"there and back");
    in->failAt = 3;
    buffer.clear();
    expectThrowsResult(result::Fail, [&] { channel->read(buffer); });
    EXPECT_EQ(buffer.getPosition(), 0u);
}

/// A class-level channel that does what it is told.
class FakeChannel : public qx::pcom::Implements<qx::Object, IChannel> {
public:
    int read(ByteBuffer&) override { return act(); }
    int write(ByteBuffer&) override { return act(); }

    std::function<int()> act;
};

class Joined : public qx::io::ReadWriteChannel {
public:
    using ReadWriteChannel::ReadWriteChannel;
    int32_t GetInheritableName(IQXCharBuffer*) override { return result::NotAvailable; }
};

TEST(ReadWriteChannel, ConvertsEveryFailureOfItsPartsAtTheComponentFace) {
    const struct {
        const char* what;
        std::function<int()> act;
        int32_t readResult, writeResult, length;
    } cases[] = {
        {"moved", [] { return 2; }, result::Ok, result::Ok, 2},
        {"end", [] { return -1; }, result::Ok, result::Fail, -1},
        {"code", []() -> int { throw qx::ResultException(result::BrokenPipe); }, result::BrokenPipe,
         result::BrokenPipe, 0},
        {"memory", []() -> int { throw std::bad_alloc(); }, result::OutOfMemory,
         result::OutOfMemory, 0},
        {"foreign", []() -> int { throw std::runtime_error("x"); }, result::Fail, result::Fail, 0},
        {"more than offered", [] { return 5; }, result::Fail, result::Fail, 0},
    };
    const auto reader = qx::makeReference<FakeChannel>(), writer = qx::makeReference<FakeChannel>();
    {
        const auto joined = qx::makeReference<Joined>(reader, writer);
        Reference<IQXChannel> component;
        ASSERT_EQ(joined->QueryInterface(IQXChannel::Iid, component.putVoid()), result::Ok);
        for (const auto& c : cases) {
            SCOPED_TRACE(c.what);
            signed char bytes[4] = {};
            int32_t length = 4;
            reader->act = c.act;
            writer->act = []() -> int { throw qx::ResultException(result::Deadlock); };
            EXPECT_EQ(component->Read(bytes, &length), c.readResult);
            EXPECT_EQ(length, c.length);
            std::swap(reader->act, writer->act);
            length = 4;
            EXPECT_EQ(component->Write(bytes, &length), c.writeResult);
            EXPECT_EQ(length, c.writeResult == result::Ok ? c.length : 0);
        }
    }
    EXPECT_EQ(reader->GetRefCount(), 1u);
    EXPECT_EQ(writer->GetRefCount(), 1u);
}

TEST_F(ChannelTest, LocksOnlyWhenToldTo) {
    qx::io::LockingChannel locking(Channels::adaptStreams(in, out), "qx.test.ChannelsTest");
    qx::io::LockingChannel sameName(Channels::adaptStreams(in, out), "qx.test.ChannelsTest");
    qx::io::LockingChannel unnamed(Channels::adaptStreams(in, out), nullptr);
    qx::io::LockingChannel empty(Channels::adaptStreams(in, out), "");
    const auto elsewhere = [](auto call) { std::thread(call).join(); };
    locking.wait();
    EXPECT_TRUE(locking.tryWait()) << "the holder may lock again";
    locking.signal();
    elsewhere([&] {
        EXPECT_FALSE(locking.tryWait());
        EXPECT_FALSE(sameName.tryWait()) << "one lock for one name";
        EXPECT_TRUE(unnamed.tryWait());
        EXPECT_TRUE(empty.tryWait());
        EXPECT_EQ(locking.read(buffer), 3) << "the lock is the caller's affair";
        buffer.flip();
        EXPECT_EQ(locking.write(buffer), 3);
        expectThrowsResult(result::NotOwner, [&] { locking.signal(); });
        unnamed.signal();
        empty.signal();
    });
    locking.signal();
    elsewhere([&] {
        const std::lock_guard lock(sameName);
        EXPECT_TRUE(sameName.tryWait());
        sameName.signal();
    });
}

} // namespace
