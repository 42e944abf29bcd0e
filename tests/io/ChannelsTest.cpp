#include <mutex>
#include <thread>

#include "tests/support/FakeStreams.h"

using namespace qx;
using namespace qx::io;
using namespace qxtest;
using qx::io::pcom::IQXChannel;

namespace {

/// Streams on the heap that outlive the test's channels, which have to let go of them.
struct ChannelTest : testing::Test {
    void TearDown() override { EXPECT_EQ(in->GetRefCount() + out->GetRefCount(), 2u); }

    ByteBuffer buffer{10, QX_ENDIAN_LITTLE, false};
    Reference<FakeSource<Bytes>> in{new FakeSource<Bytes>("abc")};
    Reference<FakeSink<Bytes>> out{new FakeSink<Bytes>()};
};

TEST_F(ChannelTest, StreamsFillWhatRemainsAndSendWhatRemains) {
    // As they are, and offered as a component that is adapted again: the far end of a module
    // boundary.
    for (const bool isFar : {false, true}) {
        SCOPED_TRACE(isFar);
        in = new FakeSource<Bytes>("abc");
        out = new FakeSink<Bytes>();
        Reference<IInheritableChannel> channel = Channels::adaptStreams(in, out, String(u"name"));
        if (isFar)
            channel = Channels::adaptPcomWithInheritance(interfaceOf<IQXChannel>(channel));
        EXPECT_EQ(channel->getInheritableName(), u"name");
        buffer.clear();
        EXPECT_EQ(channel->read(buffer), 3);
        EXPECT_EQ(channel->read(buffer), -1);
        EXPECT_EQ(buffer.getPosition(), 3u);
        buffer.setLimit(2); // in front of the position: nothing is offered
        EXPECT_EQ(channel->read(buffer), -1);
        ByteBuffer readOnly(buffer.getConstBuffer(), 4, QX_ENDIAN_LITTLE);
        EXPECT_THROW(channel->read(readOnly), qx::ReadOnlyException);
        EXPECT_EQ(in->requests, (std::vector<int32_t>{10, 7, 0}));

        buffer.clear();
        buffer.put(reinterpret_cast<const signed char*>("0123456789"), 10);
        buffer.setPosition(2);
        buffer.setLimit(6);
        EXPECT_EQ(channel->write(buffer), 4);
        EXPECT_EQ(buffer.getPosition(), 6u);
        EXPECT_EQ(textOf(out->content), "2345");
        EXPECT_EQ(out->writes, (std::vector<int32_t>{4}));
        in->failAt = 4;
        out->failing = true;
        buffer.clear();
        expectEach(result::Fail, {[&] { channel->read(buffer); }, [&] { channel->write(buffer); }});
        EXPECT_EQ(buffer.getPosition(), 0u);
    }
}

TEST_F(ChannelTest, RefusesLengthsAndPointersThatCannotBe) {
    const auto component = interfaceOf<IQXChannel>(Channels::adaptStreams(in, out));
    signed char bytes[4] = {};
    int32_t length = -4;
    EXPECT_EQ(component->Read(bytes, &length), result::InvalidArgument);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(component->Write(nullptr, &length), result::Ok);
    length = -1;
    EXPECT_EQ(component->Write(bytes, &length), result::InvalidArgument);
    length = 4;
    expectEach(result::NullPointer,
               {component->Read(nullptr, &length), component->Read(bytes, nullptr),
                component->Write(bytes, nullptr), component->GetInheritableName(nullptr)});
    EXPECT_TRUE(in->requests.empty());
    expectEach(result::NullPointer, {[&] { Channels::adaptStreams(nullptr, out); },
                                     [&] { Channels::adaptStreams(in, nullptr); },
                                     [] { Channels::adaptPcomChannel(nullptr); },
                                     [] { Channels::adaptPcomWithInheritance(nullptr); },
                                     [] { LockingChannel(nullptr, nullptr); }});
}

/// A component that claims to move bytes.
struct FakeComponent : qx::pcom::Implements<qx::Object, IQXChannel> {
    int32_t answer(int32_t* length) {
        offered = std::exchange(*length, moved);
        return result;
    }
    int32_t Read(signed char*, int32_t* length) override { return answer(length); }
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
};

TEST_F(ChannelTest, TellsTheNameThatItHas) {
    const auto named = Channels::adaptStreams(in, out, String(u"pipe 7"));
    util::ROCharBuffer refusing;
    EXPECT_EQ(interfaceOf<IQXChannel>(named)->GetInheritableName(&refusing),
              result::NotImplemented);
    const auto unnamed = Channels::adaptStreams(in, out, String());
    String name;
    EXPECT_EQ(interfaceOf<IQXChannel>(unnamed)->GetInheritableName(&name), result::NotAvailable);

    const auto component = makeReference<FakeComponent>();
    const auto channel = Channels::adaptPcomWithInheritance(component);
    EXPECT_EQ(channel->getInheritableName(), u"component");
    component->result = result::NotAvailable;
    expectEach(result::NotAvailable,
               {[&] { unnamed->getInheritableName(); }, [&] { channel->getInheritableName(); },
                [&] { Channels::adaptPcomWithInheritance(component); }});
    EXPECT_EQ(component->GetRefCount(), 2u) << "the refused channel let go";
}

struct Joined : ReadWriteChannel {
    using ReadWriteChannel::ReadWriteChannel;
    int32_t GetInheritableName(IQXCharBuffer*) override { return result::NotAvailable; }
};

TEST(ReadWriteChannel, AdvancesByWhatItsComponentsMoveAndPassesOnWhatTheyReturn) {
    const std::tuple<int32_t, int32_t, int32_t> cases[] = {
        // result of the component and what it says to have moved; result of the channel
        {result::Ok, 6, result::Ok},
        {result::Ok, 0, result::Ok},
        {5, 3, result::Ok},             // success with a code of its own
        {result::Ok, -1, result::Fail}, // save at the end of the input
        {result::Ok, 7, result::Fail},  // more than was offered
        {result::Ok, INT32_MAX, result::Fail},
        {result::Ok, -2, result::Fail},
        {result::BrokenPipe, 3, result::BrokenPipe},
    };
    const auto in = makeReference<FakeComponent>(), out = makeReference<FakeComponent>();
    {
        const auto channel =
            makeReference<Joined>(Channels::adaptPcomChannel(in), Channels::adaptPcomChannel(out));
        const auto component = interfaceOf<IQXChannel>(channel);
        for (const auto& [answer, claimed, result] : cases) {
            for (const bool reading : {true, false}) {
                SCOPED_TRACE(testing::Message() << claimed << (reading ? " read" : " written"));
                const int32_t expected = reading && claimed == -1 ? result::Ok : result;
                FakeComponent &acting = reading ? *in : *out, &idle = reading ? *out : *in;
                acting.result = answer;
                acting.moved = claimed;
                idle.result = result::Deadlock;
                ByteBuffer buffer(10, QX_ENDIAN_LITTLE, false);
                buffer.setLimit(8);
                buffer.setPosition(2);
                int32_t moved = 0, length = 6;
                expectEach(expected, {[&] {
                               moved = reading ? channel->read(buffer) : channel->write(buffer);
                           }});
                EXPECT_EQ(moved, expected == result::Ok ? claimed : 0);
                EXPECT_EQ(buffer.getPosition(), 2u + static_cast<unsigned>(std::max(moved, 0)));
                EXPECT_EQ(acting.offered, 6);
                signed char bytes[6] = {};
                EXPECT_EQ(reading ? component->Read(bytes, &length)
                                  : component->Write(bytes, &length),
                          expected);
                EXPECT_EQ(length, moved);
            }
        }
    }
    EXPECT_EQ(in->GetRefCount() + out->GetRefCount(), 2u);
}

TEST_F(ChannelTest, LocksOnlyWhenToldTo) {
    const auto streams = Channels::adaptStreams(in, out);
    LockingChannel locking(streams, "qx.test.ChannelsTest"), unnamed(streams, nullptr),
        sameName(streams, "qx.test.ChannelsTest"), empty(streams, "");
    locking.wait();
    EXPECT_TRUE(locking.tryWait() && !locking.acquiredFromDead()) << "the holder may lock again";
    locking.signal();
    std::thread([&] {
        EXPECT_FALSE(sameName.tryWait()) << "one lock for one name";
        EXPECT_TRUE(unnamed.tryWait() && empty.tryWait());
        unnamed.signal();
        empty.signal();
        EXPECT_EQ(locking.read(buffer), 3) << "the lock is the caller's affair";
        buffer.flip();
        EXPECT_EQ(locking.write(buffer), 3);
        EXPECT_EQ(failureOf([&] { locking.signal(); }), result::NotOwner);
    }).join();
    locking.signal();
    std::thread([&] {
        std::unique_lock lock(sameName);
        EXPECT_TRUE(locking.tryWait());
        locking.signal();
        lock.unlock();
        EXPECT_EQ(failureOf([&] { locking.signal(); }), result::NotOwner);
    }).join();
}

} // namespace
