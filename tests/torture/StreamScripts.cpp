#include "tests/torture/Script.h"

#include <functional>

#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/io/AlphaNumInputStream.h>
#include <qx/io/AlphaNumOutputStream.h>
#include <qx/io/BitInputStream.h>
#include <qx/io/BitOutputStream.h>
#include <qx/io/BufferedInputStream.h>
#include <qx/io/BufferedOutputStream.h>
#include <qx/io/BufferedReader.h>
#include <qx/io/BufferedWriter.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/ByteBufferInputStream.h>
#include <qx/io/ByteBufferOutputStream.h>
#include <qx/io/Channels.h>
#include <qx/io/DataInputStream.h>
#include <qx/io/DataOutputStream.h>
#include <qx/io/FileInputStream.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/HeldFlushWriter.h>
#include <qx/io/InputStreamReader.h>
#include <qx/io/LockingChannel.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/io/PrintWriter.h>
#include <qx/io/StringWriter.h>
#include <qx/io/pcom/IQXChannel.h>
#include <qx/util/FilePath.h>

namespace qxtorture {

using namespace qx::io;
using qx::makeReference;
using qx::Reference;
using qx::String;

namespace {

const char Bytes[] = "The first line\nthe second\r\nand a third line that is somewhat longer\n";

void writeInMode(unsigned int mode) {
    FileOutputStream file(String(u"torture.txt"), mode);
    file.write(Bytes, 20);
    file.write(Bytes, 10);
    file.flush();
    file.close();
    file.open();
    file.getSize();
}

void readLines(InputStream* source, const char16_t* encoding) {
    const auto reader = makeReference<InputStreamReader>(source, encoding);
    BufferedReader lines(reader, 16);
    String line;
    while (lines.readLine(line) >= 0) {
    }
}

template <class Buffer>
void useBuffer() {
    Buffer buffer(64u, QX_ENDIAN_BIG);
    buffer.putInt32(7);
    buffer.putDouble(2.5);
    const int16_t values[] = {1, 2, 3, 4};
    buffer.putValues(values, 4);
    const Buffer view(buffer);
    buffer.flip();
    const Reference<Buffer> part = buffer.slice();
    require(part->getInt32() == 7, "another value in the slice");
    const Reference<Buffer> longer = buffer.duplicate(true, 200);
    mustFail([&] { longer->putInt32(1); });
    require(buffer.getPosition() == 0 && buffer.getLimit() == 20, "a moved position");
    buffer.toString();
}

/// A buffer that is given other bytes keeps those it has when that fails.
void exchangeBytes() {
    unsigned char bytes[8] = {};
    CQXByteBuffer buffer(16u, QX_ENDIAN_LITTLE);
    buffer.putInt32(0, 4711);
    for (int i = 0; i < 3; ++i) {
        try {
            buffer.setBuffer(bytes, 8, QX_ENDIAN_BIG);
            require(buffer.getCapacity() == 8, "bytes taken by half");
        } catch (const std::bad_alloc&) {
            require(buffer.getCapacity() == 16 && buffer.getInt32(0) == 4711, "bytes lost");
            throw;
        }
    }
}

template <class Writer, class Reader>
void thereAndBack(const std::function<void(Writer&)>& write,
                  const std::function<void(Reader&)>& read) {
    const auto memory = makeReference<ByteArrayOutputStream>();
    Writer writer(memory.get());
    for (int i = 0; i < 12; ++i)
        write(writer);
    writer.flush();
    Reader reader(makeReference<ByteArrayInputStream>(memory->getBytes(), memory->getSize()).get());
    for (int i = 0; i < 12; ++i)
        read(reader);
}

/// A channel that reads @p text and writes to memory.
Reference<IInheritableChannel> memoryChannel(const char* text, int32_t length) {
    return Channels::adaptStreams(
        makeReference<ByteArrayInputStream>(reinterpret_cast<const signed char*>(text), length)
            .get(),
        makeReference<ByteArrayOutputStream>().get(), String(u"a channel with a name"));
}

Reference<pcom::IQXChannel> componentOf(IChannel& channel) {
    Reference<pcom::IQXChannel> component;
    qx::throwIfFailed(channel.QueryInterface(pcom::IQXChannel::Iid, component.putVoid()));
    return component;
}

void passThrough(IChannel& channel) {
    ByteBuffer buffer(40u, QX_ENDIAN_BIG);
    require(channel.read(buffer) == 5 && buffer.getPosition() == 5, "fewer bytes than there are");
    buffer.flip();
    require(channel.write(buffer) == 5, "fewer bytes than were given");
}

const Script scripts[] = {
    {"stream.memory",
     [] {
         ByteArrayOutputStream out;
         for (int i = 0; i < 50; ++i)
             out.write(Bytes, sizeof Bytes - 1);
         out.toString();
     }},
    {"stream.buffered",
     [] {
         const auto memory = makeReference<ByteArrayOutputStream>();
         BufferedOutputStream out(memory, 32);
         out.write(Bytes, sizeof Bytes - 1);
         out.write(static_cast<signed char>('x'));
         out.flush();
         const auto source = makeReference<ByteArrayInputStream>(
             reinterpret_cast<const signed char*>(Bytes), static_cast<int32_t>(sizeof Bytes - 1));
         BufferedInputStream in(source, 16);
         in.mark(40);
         signed char bytes[30];
         in.read(bytes, 30);
         in.reset();
         in.skip(35);
         in.read();
     }},
    {"file.emptied and written", [] { writeInMode(FileOutputStream::TRUNC); }},
    {"file.continued", [] { writeInMode(FileOutputStream::ATEND); }},
    {"file.appended to in turns", [] { writeInMode(FileOutputStream::APPEND); }},
    {"file.kept closed",
     [] { writeInMode(FileOutputStream::KEEPCLOSED | FileOutputStream::TRUNC); }},
    {"file.locked", [] { writeInMode(FileOutputStream::LOCK | FileOutputStream::TRUNC); }},
    {"file.read",
     [] {
         { FileOutputStream(String(u"read.txt"), false).write(Bytes, sizeof Bytes - 1); }
         const auto file = makeReference<FileInputStream>(String(u"read.txt"));
         readLines(file, u"UTF-8");
     }},
    {"file.missing", [] { mustFail([&] { FileInputStream file(String(u"missing.txt")); }); }},
    {"reader.lines in UTF-16",
     [] {
         const auto memory = makeReference<ByteArrayOutputStream>();
         OutputStreamWriter writer(memory, u"UTF-16LE");
         writer.write(u"first\nsecond\n\U0001F600 third");
         writer.flush();
         readLines(makeReference<ByteArrayInputStream>(memory->getBytes(), memory->getSize()),
                   u"UTF-16LE");
     }},
    {"writer.printed",
     [] {
         const auto text = makeReference<StringWriter>();
         const auto buffered = makeReference<BufferedWriter>(text, 16);
         PrintWriter out(buffered, true);
         out.println(u"text");
         out.println(1.25);
         out.print(7);
         out.print("bytes");
         out.println(true);
         text->toString();
     }},
    {"writer.held back",
     [] {
         const auto text = makeReference<StringWriter>();
         HeldFlushWriter writer(text);
         writer.write(u"held back");
         writer.flush();
         writer.release();
     }},
    {"path.taken apart",
     [] {
         const qx::util::FilePath path(String(u"/usr/share/../lib/./libqx.so.1"));
         path.getName();
         path.getBaseName();
         path.getExtension();
         path.getParentPath();
         path.getChildPath(u"child");
         path.getAbsolutePath();
         path.getCanonicalPath();
         qx::util::FilePath::getCurrentDir();
         qx::util::FilePath::getTempDir();
     }},
    {"byte buffer.signed", useBuffer<ByteBuffer>},
    {"byte buffer.unsigned", useBuffer<CQXByteBuffer>},
    {"byte buffer.other bytes", exchangeBytes},
    {"byte buffer.streams over it",
     [] {
         const auto buffer = makeReference<ByteBuffer>(8u, QX_ENDIAN_BIG);
         ByteBufferOutputStream out(buffer);
         out.write("0123456789", 10);
         require(out.Overflowed() == 1, "an overflow that is not noted");
         buffer->flip();
         ByteBufferInputStream in(buffer);
         signed char bytes[8];
         in.read(bytes, 4);
         in.tryTake(4);
         ByteBuffer filled(32u, QX_ENDIAN_LITTLE);
         filled.readFully(makeReference<ByteArrayInputStream>(bytes, 8));
         filled.flip();
         filled.writeTo(makeReference<ByteArrayOutputStream>());
     }},
    {"data stream.values",
     [] {
         thereAndBack<DataOutputStream, DataInputStream>(
             [](auto& out) {
                 const int32_t values[] = {1, 2, 3, 4, 5, 6, 7};
                 out.writeInt64(1234567890123);
                 out.writeDouble(0.5);
                 out.writeValues(values, 7);
             },
             [](auto& in) {
                 int32_t values[7];
                 require(in.readInt64() == 1234567890123, "another number");
                 require(in.readDouble() == 0.5, "another fraction");
                 in.readValues(values, 7);
             });
     }},
    {"data stream.end amid a value",
     [] {
         const signed char bytes[] = {1, 2, 3};
         mustFail([&] {
             DataInputStream(makeReference<ByteArrayInputStream>(bytes, 3).get()).readInt64();
         });
     }},
    {"bit stream",
     [] {
         thereAndBack<BitOutputStream, BitInputStream>(
             [](auto& out) {
                 for (int bits = 1; bits <= 32; ++bits)
                     out.write(1, bits);
             },
             [](auto& in) {
                 for (int bits = 1; bits <= 32; ++bits)
                     require(in.read(bits) == 1, "other bits");
             });
     }},
    {"bit stream.too wide a value",
     [] {
         BitOutputStream out(makeReference<ByteArrayOutputStream>().get());
         mustFail([&] { out.write(8, 3); });
     }},
    {"letters and digits",
     [] {
         thereAndBack<AlphaNumOutputStream, AlphaNumInputStream>(
             [](auto& out) { out.write("some bytes of thirty, as letters", 30); },
             [](auto& in) {
                 signed char bytes[30];
                 require(in.read(bytes, 30) == 30 && bytes[5] == 'b', "other bytes");
             });
     }},
    {"letters and digits.a sign that is none",
     [] {
         AlphaNumInputStream in(
             makeReference<ByteArrayInputStream>(reinterpret_cast<const signed char*>("AB!"), 3)
                 .get());
         mustFail([&] {
             signed char bytes[4];
             in.read(bytes, 4);
         });
     }},
    {"channel.of streams",
     [] {
         const auto channel = memoryChannel("bytes", 5);
         passThrough(*channel);
         channel->getInheritableName();
     }},
    {"channel.of a component",
     [] {
         const auto channel = memoryChannel("bytes", 5);
         const auto component = componentOf(*channel);
         passThrough(*Channels::adaptPcomChannel(component));
     }},
    {"channel.of a component with a name",
     [] {
         const auto channel = memoryChannel("bytes", 5);
         const auto component = componentOf(*channel);
         const auto back = Channels::adaptPcomWithInheritance(component);
         passThrough(*back);
         require(back->getInheritableName().equals(channel->getInheritableName()), "another name");
     }},
    {"channel.with a lock",
     [] {
         const auto channel = memoryChannel("bytes", 5);
         LockingChannel own(channel, nullptr), shared(channel, "torture channel");
         own.wait();
         own.signal();
         shared.wait();
         shared.signal();
     }},
};

} // namespace

std::span<const Script> streamScripts() { return scripts; }

} // namespace qxtorture
