#include "tests/torture/Script.h"

namespace qxtorture {

using namespace qx::io;

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
void thereAndBack(auto write, auto read) {
    const auto memory = makeReference<ByteArrayOutputStream>();
    Writer writer(memory);
    for (int i = 0; i < 12; ++i)
        write(writer);
    writer.flush();
    Reader reader(sourceOf(*memory));
    for (int i = 0; i < 12; ++i)
        read(reader);
}

Reference<IInheritableChannel> memoryChannel() {
    return Channels::adaptStreams(sourceOf("bytes"), makeReference<ByteArrayOutputStream>(),
                                  u"a channel with a name");
}

auto componentOf(IChannel& channel) {
    Reference<io::pcom::IQXChannel> component;
    throwIfFailed(channel.QueryInterface(io::pcom::IQXChannel::Iid, component.putVoid()));
    return component;
}

void passThrough(IChannel& channel) {
    ByteBuffer buffer(40u, QX_ENDIAN_BIG);
    require(channel.read(buffer) == 5 && buffer.getPosition() == 5, "fewer bytes than there are");
    buffer.flip();
    require(channel.write(buffer) == 5, "fewer bytes than were given");
}

} // namespace

void addStreamScripts(Scripts& scripts) {
    scripts.add("stream.memory", [] {
        ByteArrayOutputStream out;
        for (int i = 0; i < 50; ++i)
            out.write(Bytes, sizeof Bytes - 1);
        out.toString();
    });
    scripts.add("stream.buffered", [] {
        const auto memory = makeReference<ByteArrayOutputStream>();
        BufferedOutputStream out(memory, 32);
        out.write(Bytes, sizeof Bytes - 1);
        out.write(static_cast<signed char>('x'));
        out.flush();
        BufferedInputStream in(sourceOf(Bytes), 16);
        in.mark(40);
        signed char bytes[30];
        in.read(bytes, 30);
        in.reset();
        in.skip(35);
        in.read();
    });
    scripts.add("file.written in each mode", [] {
        for (const unsigned int mode :
             {FileOutputStream::TRUNC, FileOutputStream::ATEND, FileOutputStream::APPEND,
              FileOutputStream::KEEPCLOSED | FileOutputStream::TRUNC,
              FileOutputStream::LOCK | FileOutputStream::TRUNC})
            writeInMode(mode);
    });
    scripts.add("file.read", [] {
        FileOutputStream(String(u"read.txt"), false).write(Bytes, sizeof Bytes - 1);
        readLines(makeReference<FileInputStream>(String(u"read.txt")), u"UTF-8");
    });
    scripts.addFailing("file.missing", [] { FileInputStream file(String(u"missing.txt")); });
    scripts.add("reader.lines in UTF-16", [] {
        const auto memory = makeReference<ByteArrayOutputStream>();
        OutputStreamWriter writer(memory, u"UTF-16LE");
        writer.write(u"first\nsecond\n\U0001F600 third");
        writer.flush();
        readLines(sourceOf(*memory), u"UTF-16LE");
    });
    scripts.add("writer.printed", [] {
        const auto text = makeReference<StringWriter>();
        const auto buffered = makeReference<BufferedWriter>(text, 16);
        PrintWriter out(buffered, true);
        out.println(u"text");
        out.println(1.25);
        out.print(7);
        out.print("bytes");
        out.println(true);
        text->toString();
    });
    scripts.add("writer.held back", [] {
        const auto text = makeReference<StringWriter>();
        HeldFlushWriter writer(text);
        writer.write(u"held back");
        writer.flush();
        writer.release();
    });
    scripts.add("path.taken apart", [] {
        const util::FilePath path(String(u"/usr/share/../lib/./libqx.so.1"));
        path.getName();
        path.getBaseName();
        path.getExtension();
        path.getParentPath();
        path.getChildPath(u"child");
        path.getAbsolutePath();
        path.getCanonicalPath();
        util::FilePath::getCurrentDir();
        util::FilePath::getTempDir();
    });
    scripts.add("byte buffer.signed", useBuffer<ByteBuffer>);
    scripts.add("byte buffer.unsigned", useBuffer<CQXByteBuffer>);
    scripts.add("byte buffer.other bytes", exchangeBytes);
    scripts.add("byte buffer.streams over it", [] {
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
    });
    scripts.add("data stream.values", [] {
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
    });
    scripts.addFailing("data stream.end amid a value",
                       [] { DataInputStream(sourceOf("abc")).readInt64(); });
    scripts.add("bit stream", [] {
        thereAndBack<BitOutputStream, BitInputStream>(
            [](auto& out) {
                for (int bits = 1; bits <= 32; ++bits)
                    out.write(1, bits);
            },
            [](auto& in) {
                for (int bits = 1; bits <= 32; ++bits)
                    require(in.read(bits) == 1, "other bits");
            });
    });
    scripts.add("bit stream.too wide a value", [] {
        BitOutputStream out(makeReference<ByteArrayOutputStream>());
        mustFail([&] { out.write(8, 3); });
    });
    scripts.add("letters and digits", [] {
        thereAndBack<AlphaNumOutputStream, AlphaNumInputStream>(
            [](auto& out) { out.write("some bytes of thirty, as letters", 30); },
            [](auto& in) {
                signed char bytes[30];
                require(in.read(bytes, 30) == 30 && bytes[5] == 'b', "other bytes");
            });
    });
    scripts.add("letters and digits.a sign that is none", [] {
        AlphaNumInputStream in(sourceOf("AB!"));
        signed char bytes[4];
        mustFail([&] { in.read(bytes, 4); });
    });
    scripts.add("channel.of streams", [] {
        const auto channel = memoryChannel();
        passThrough(*channel);
        channel->getInheritableName();
    });
    scripts.add("channel.of a component, also with a name", [] {
        passThrough(*Channels::adaptPcomChannel(componentOf(*memoryChannel())));
        const auto channel = memoryChannel();
        const auto back = Channels::adaptPcomWithInheritance(componentOf(*channel));
        passThrough(*back);
        require(back->getInheritableName().equals(channel->getInheritableName()), "another name");
    });
    scripts.add("channel.with a lock", [] {
        const auto channel = memoryChannel();
        LockingChannel own(channel, nullptr), shared(channel, "torture channel");
        own.wait();
        own.signal();
        shared.wait();
        shared.signal();
    });
}

} // namespace qxtorture
