#include "tests/torture/Script.h"

#include <random>

#include "tests/support/KeyedMapPlay.h"
#include "tests/support/ListPlay.h"
#include "tests/support/MapPlay.h"

namespace qxtorture {

namespace components = qx::collections::pcom;
using math::BigDecimal;
using math::BigInteger;
using namespace qx::io;
using namespace qxtest;

namespace {

template <class Buffer, class Unit>
void fillBuffer() {
    static const Unit units[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17};
    Buffer buffer(units, 17, 40);
    std::fill_n(buffer.getWriteLock(200), 200, Unit{7});
    buffer.releaseWriteLock(180);
    const Buffer copy(buffer);
    buffer.freeExtra();
}

constexpr int Count = 150; // elements: a failure for each allocation of each

Reference<String> text(int number) {
    return makeReference<String>(String(u"item number ").append(number));
}

template <class Collection>
void copyCollection() {
    Collection collection;
    for (int i = 0; i < Count; ++i)
        collection.add(text(i)->GetUnknown());
    const Collection copy(collection);
    copy.equals(collection);
    copy.toString();
}

/// Plays the same mixture of all operations each time. One that fails must have changed nothing.
void playOn(size_t length, auto&& collection) {
    std::minstd_rand random(2026);
    collection.play(randomBytes<std::vector<uint8_t>>(length, random));
}

const char Bytes[] = "The first line\nthe second\r\nand a third line that is somewhat longer\n";

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

void passThrough(IChannel& channel) {
    ByteBuffer buffer(40u, QX_ENDIAN_BIG);
    require(channel.read(buffer) == 5 && buffer.getPosition() == 5, "fewer bytes than there are");
    buffer.flip();
    require(channel.write(buffer) == 5, "fewer bytes than were given");
}

} // namespace

void addValueScripts(Scripts& scripts) {
    scripts.add("object.classes and exceptions", [] {
        for (const char16_t* name :
             {u"CQXString", u"CQXArrayList", u"CQXHashMap", u"CQXBigInteger", u"CQXMutex",
              u"CQXStringWriter", u"qx::IllegalStateException", u"qx::text::charset::CTBUTF8"})
            Reference<Object>(Class::forName(name)->createInstance())->toString();
        mustFail([] { Class::forName(u"CQXNothingOfTheKind"); });
        try {
            throwResult(result::NotFound, u"a description that is long enough to be kept");
        } catch (const Exception& failure) {
            const Exception copy(failure);
            copy.toString();
        }
        makeReference<Object>()->toString();
        resultOf([] { throw RangeErrorException(u"far beyond what there is in the list"); });
    });
    scripts.add("buffer.filled, compared and printed", [] {
        fillBuffer<util::RWByteBuffer, signed char>();
        fillBuffer<util::RWCharBuffer, char16_t>();
        fillBuffer<util::MTByteBuffer, signed char>();
        fillBuffer<util::MTCharBuffer, char16_t>();
        const util::ROCharBuffer left(u"left", 4, 0), right(u"left", 4, 0);
        left.equals(right);
        left.toString();
    });
    scripts.add("text.light string, its map and tokens", [] {
        Str1Copy(u"more than fits").getBytesAZ(u"UTF-8");
        Str1HashMap<int> map(3);
        for (int i = 0; i < 40; ++i)
            map.put(String::valueOf(i), i);
        int value = 0;
        for (int i = 0; i < 40; i += 3)
            map.remove(String::valueOf(i), &value);
        util::StringTokenizer tokens(u"one, two;three and a rather long last token", u",; ");
        while (tokens.hasMoreTokens())
            tokens.nextToken();
    });
    scripts.add("text.encodings", [] {
        const std::initializer_list<const char16_t*> encodings = {
            u"UTF-8", u"UTF-16BE", u"UTF-32LE", u"Cp1252", u"Cp437", u"AMP-7", nullptr};
        for (const char16_t* const encoding : encodings) {
            const String text(u"naïve text with a few units: äöü 12345");
            const signed char* const bytes = text.getBytes(encoding);
            util::RWByteBuffer buffer;
            text.getBytes(&buffer, encoding);
            String back(bytes, buffer.getLength(), encoding);
            back.append(u" and on").getBytes(encoding);
        }
        mustFail([] { String(u"x").getBytes(u"no such encoding"); });
        using text::charset::CharToByteConverter;
        const auto encoder =
            Reference<CharToByteConverter>(CharToByteConverter::getConverter(u"ISO8859_1"));
        encoder->setSubstitutionMode(false);
        signed char bytes[8];
        int32_t read = 0, written = 0;
        mustFail([&] { encoder->convert(u"a\u20AC", &read, 2, bytes, &written, 8); });
    });
    scripts.add("numbers", [] {
        const BigInteger number(((BigInteger(1) << 12000) - 12345).toString(), 10);
        number.toString(16);
        BigDecimal(u"19.90").divide(BigDecimal(7), 50).toString();
        const Integer64 boxed(String(u"-1234567890123"));
        boxed.toBigInteger().toString();
        boxed.toBigDecimal().toString();
        const Reference<Object> copy(boxed.clone());
        copy->toString();
        Double(0.1).toString();
        mustFail([&] { BigInteger wrong(u"1-2"); });
        const BigInteger a(u"123456789012345678901234567890"), b(-98765432109876543);
        (a + b) * (a - b) / BigInteger(7) % BigInteger(1000);
        BigDecimal(1.19).toDouble();
    });
    scripts.add("digest, cipher and identifier", [] {
        signed char block[16] = {};
        crypto::BlowFish(block, 3).encrypt(block, block, 16);
        crypto::MD5Digest digest;
        digest.update(block, 10);
        digest.getDigest(block, 16);
        digest.getName();
        util::Guid(String(u"{0861D18E-197F-4E3A-A03F-7CD02F9A5C75}")).toString();
        delete util::Guid::Generate();
    });
    scripts.add("list.array copied", copyCollection<components::ArrayList>);
    scripts.add("list.linked copied", copyCollection<components::LinkedList>);
    scripts.add("set.copied", copyCollection<components::HashSet>);
    scripts.add("list.array", [] { playOn(1000, ListPlay(new components::ArrayList())); });
    scripts.add("list.linked", [] { playOn(1000, ListPlay(new components::LinkedList())); });
    scripts.add("map and set", [] { playOn(400, MapPlay(3, 0.75f)); });
    scripts.add("map.texts to objects", [] { playOn(1500, StringMapPlay(2, 0.75f)); });
    scripts.add("map.integers to objects", [] { playOn(1500, IntegerMapPlay(2, 0.75f)); });
    scripts.add("facade", [] {
        collections::List<String> list(makeReference<components::ArrayList>());
        collections::Map<String, Integer32> map(makeReference<components::HashMap>());
        for (int i = 0; i < Count; ++i) {
            list.add(text(i));
            map.put(text(i), makeReference<Integer32>(i));
        }
        for (const auto& element : list)
            element->getLength();
        list.createSubList(2, 5)->clear();
        for (const auto& [key, value] : map)
            key->append(value->toString());
    });

    scripts.add("stream.memory and buffers", [] {
        const auto memory = makeReference<ByteArrayOutputStream>();
        BufferedOutputStream out(memory, 32);
        for (int i = 0; i < 50; ++i)
            out.write(Bytes, sizeof Bytes - 1);
        out.write(static_cast<signed char>('x'));
        out.flush();
        memory->toString();
        BufferedInputStream in(sourceOf(Bytes), 16);
        in.mark(40);
        signed char bytes[30];
        in.read(bytes, 30);
        in.reset();
        in.skip(35);
        in.read();
    });
    scripts.add("file.written in each mode and read", [] {
        using Out = FileOutputStream;
        for (const unsigned int mode :
             {Out::ATEND, Out::APPEND, Out::KEEPCLOSED | Out::TRUNC, Out::LOCK | Out::TRUNC}) {
            Out file(String(u"torture.txt"), mode);
            file.write(Bytes, 20);
            file.write(Bytes, 10);
            file.flush();
            file.close();
            file.open();
            file.getSize();
        }
        Out(String(u"read.txt"), false).write(Bytes, sizeof Bytes - 1);
        readLines(makeReference<FileInputStream>(String(u"read.txt")), u"UTF-8");
        mustFail([] { FileInputStream file(String(u"missing.txt")); });
    });
    scripts.add("writer and reader", [] {
        const auto memory = makeReference<ByteArrayOutputStream>();
        OutputStreamWriter writer(memory, u"UTF-16LE");
        writer.write(u"first\nsecond\n\U0001F600 third");
        writer.flush();
        readLines(sourceOf(*memory), u"UTF-16LE");
        const auto text = makeReference<StringWriter>();
        const auto buffered = makeReference<BufferedWriter>(text, 16);
        PrintWriter out(buffered, true);
        out.println(u"text");
        out.println(1.25);
        out.print(7);
        out.print("bytes");
        out.println(true);
        HeldFlushWriter held(text);
        held.write(u"held back");
        held.flush();
        held.release();
        text->toString();
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
    scripts.add("streams of values, bits, letters and digits", [] {
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
        mustFail([] { DataInputStream(sourceOf("abc")).readInt64(); });
        thereAndBack<BitOutputStream, BitInputStream>(
            [](auto& out) {
                for (int bits = 1; bits <= 32; ++bits)
                    out.write(1, bits);
                mustFail([&] { out.write(8, 3); });
            },
            [](auto& in) {
                for (int bits = 1; bits <= 32; ++bits)
                    require(in.read(bits) == 1, "other bits");
            });
        signed char bytes[30];
        thereAndBack<AlphaNumOutputStream, AlphaNumInputStream>(
            [](auto& out) { out.write("some bytes of thirty, as letters", 30); },
            [&](auto& in) { require(in.read(bytes, 30) == 30 && bytes[5] == 'b', "other bytes"); });
        mustFail([&] { AlphaNumInputStream(sourceOf("AB!")).read(bytes, 4); });
    });
    scripts.add("channel", [] {
        const auto channel = memoryChannel(), other = memoryChannel(), named = memoryChannel();
        passThrough(*channel);
        using io::pcom::IQXChannel;
        passThrough(*Channels::adaptPcomChannel(other.queryOrThrow<IQXChannel>()));
        const auto back = Channels::adaptPcomWithInheritance(named.queryOrThrow<IQXChannel>());
        passThrough(*back);
        require(back->getInheritableName().equals(named->getInheritableName()), "another name");
        LockingChannel own(channel, nullptr), shared(channel, "torture channel");
        const std::scoped_lock held(own, shared);
    });
}

} // namespace qxtorture
