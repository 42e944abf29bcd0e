#include "tests/torture/Script.h"

#include <random>

#include "tests/support/KeyedMapPlay.h"
#include "tests/support/ListPlay.h"
#include "tests/support/MapPlay.h"

namespace qxtorture {

namespace components = qx::collections::pcom;
using math::BigDecimal;
using math::BigInteger;
using namespace qxtest;

namespace {

const char16_t Sentence[] =
    u"Der schnelle braune Fuchs springt über den faulen Hund und die Straße.";

void throughEncoding(const char16_t* encoding) {
    const String text(u"naïve text with a few units: äöü 12345");
    const signed char* const bytes = text.getBytes(encoding);
    util::RWByteBuffer buffer;
    text.getBytes(&buffer, encoding);
    String back(bytes, buffer.getLength(), encoding);
    back.append(u" and on").getBytes(encoding);
}

/// Long enough for the algorithms that need room of their own.
BigInteger longNumber(int bits) { return std::move((BigInteger(1) << bits).subtract(12345)); }

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
    std::vector<uint8_t> bytes(length);
    for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(random() >> 8);
    collection.play(bytes);
}

} // namespace

void addValueScripts(Scripts& scripts) {
    scripts.add("string.copied, shared and written", [] {
        const String first(Sentence);
        String second(first), third;
        third = first;
        second.append(u'!').append(u" More of it.").append(12345678901LL).append(2.5);
        third.insert(4, second).remove(10, 5).replace(0, 3, first);
        third.prepend(u"> ").setCharAt(0, u'<');
        second.swap(third);
        String moved(std::move(second));
        moved.freeExtra();
    });
    scripts.add("string.appended to itself", [] {
        String text(u"abc");
        for (int i = 0; i < 8; ++i)
            text.append(text).prepend(text.substring(0, 1));
        text.replace(1, 2, text).insert(3, text);
    });
    scripts.add("string.letter case", [] {
        String text(Sentence);
        String(text).toUpper();
        String(text).toLower();
        const String upper(text, String::AM_COPY_UPPER);
        upper.equals(text, true);
        text.hashCode(true);
    });
    scripts.add("string.trimmed and translated", [] {
        String text(u"  xx a b c xx  ");
        text.trim().trim(u"x").translate(u"abc", u"xyz").translate(u'x', u'-');
        text.resize(100, u'.').clear();
    });
    scripts.add("string.searched", [] {
        const String text(Sentence);
        text.indexOf(u"FUCHS", 0, true);
        text.lastIndexOf(u"den");
        text.findFirstNotOf(u"Der ");
        text.substring(4, 30).substring(2);
    });
    scripts.add("string.formatted", [] {
        String::format(u"{0} and {1} and {0} of {2}", u"one", String::valueOf(2.25),
                       String::valueOf(uint64_t{18446744073709551615u}));
    });
    scripts.add("string.UTF-8 of the standard library",
                [] { String::fromUtf8("déjà vu, \xF0\x9F\x98\x80, \xFF").append(u'x').toUtf8(); });
    scripts.add("string.storage of others", [] {
        const auto buffer = makeReference<util::RWCharBuffer>(Sentence, 71, 0);
        String shared(buffer.get(), String::AM_SHARE);
        String wrapped(Sentence, String::AM_WRAP);
        String literal = u"a literal"_qs;
        literal.append(shared).append(wrapped);
        shared.append(u"copied by this");
    });
    scripts.add("string.cloned and compared", [] {
        const String text(Sentence);
        const Reference<String> copy(text.clone());
        text.compareTo(*copy);
        text.toString().equals(*copy);
    });
    scripts.add("string.write lock", [] {
        String text;
        std::fill_n(text.getWriteLock(300), 300, u'x');
        text.releaseWriteLock(250);
        text.ensureCapacity(1000);
        text.freeExtra();
    });
    scripts.add("light string.copied and written", [] {
        Str1Copy first(Sentence);
        Str1 second(first);
        second.append(u" and more").append(u'!', 20);
        first.setTo(second.substring(3, 20));
        first.toUpper();
        first.toQXString();
        first.getBytesAZ(u"UTF-8");
    });
    scripts.add("light string.local room", [] {
        char16_t room[64];
        Str1Local local(room, 0, 64);
        for (int i = 0; i < 200; ++i)
            local.append(u'x');
        local.appendA("more", 4, u"ISO8859_1");
    });
    scripts.add("light string.hash map", [] {
        Str1HashMap<int> map(3);
        for (int i = 0; i < 40; ++i)
            map.put(String::valueOf(i), i);
        int value = 0;
        for (int i = 0; i < 40; i += 3)
            map.remove(String::valueOf(i), &value);
    });
    scripts.add("tokenizer", [] {
        util::StringTokenizer tokens(u"one, two;three and a rather long last token", u",; ");
        while (tokens.hasMoreTokens())
            tokens.nextToken();
    });
    scripts.add("encoding.UTF-8", [] { throughEncoding(u"UTF-8"); });
    scripts.add("encoding.UTF-16", [] { throughEncoding(u"UTF-16BE"); });
    scripts.add("encoding.UTF-32", [] { throughEncoding(u"UTF-32LE"); });
    scripts.add("encoding.code page 1252", [] { throughEncoding(u"Cp1252"); });
    scripts.add("encoding.code page 437", [] { throughEncoding(u"Cp437"); });
    scripts.add("encoding.AMP-7", [] { throughEncoding(u"AMP-7"); });
    scripts.add("encoding.default", [] { throughEncoding(nullptr); });
    scripts.addFailing("encoding.unknown", [] { String(u"x").getBytes(u"no such encoding"); });
    scripts.add("encoding.unmappable", [] {
        using text::charset::CharToByteConverter;
        const auto encoder =
            Reference<CharToByteConverter>(CharToByteConverter::getConverter(u"ISO8859_1"));
        encoder->setSubstitutionMode(false);
        signed char bytes[8];
        int32_t read = 0, written = 0;
        mustFail([&] { encoder->convert(u"a\u20AC", &read, 2, bytes, &written, 8); });
    });
    scripts.add("boxed.parsed, converted and printed", [] {
        const Integer64 number(String(u"-1234567890123"));
        number.toBigInteger().toString();
        number.toBigDecimal().toString();
        const Reference<Object> copy(number.clone());
        copy->toString();
        Double(0.1).toString();
    });
    scripts.add("big integer.arithmetic", [] {
        BigInteger a(u"123456789012345678901234567890"), b(u"-98765432109876543210"), rest;
        a.multiply(b).add(17).subtract(b);
        a.divide(b, rest);
        a.gcd(BigInteger(12));
        (a + b) * (a - b) / BigInteger(7) % BigInteger(1000);
        a.setBit(500).clearBit(3);
    });
    scripts.add("big integer.aliases", [] {
        BigInteger a = longNumber(300);
        a.multiply(a).add(a);
        BigInteger rest;
        a.divide(a, rest);
    });
    scripts.add("big integer.powers", [] {
        BigInteger(3).pow(200).toString();
        BigInteger(3).modPow(longNumber(200), longNumber(256));
        BigInteger(3).modInverse(BigInteger(1000003));
    });
    scripts.add("big integer.long products", [] { longNumber(20000).multiply(longNumber(18000)); });
    scripts.add("big integer.long quotients", [] {
        BigInteger rest, number = longNumber(20000);
        number.divide(longNumber(9000), rest);
    });
    scripts.add("big integer.long texts", [] {
        const String text = longNumber(12000).toString();
        BigInteger back(text, 10);
        back.toString(16);
    });
    scripts.add("big integer.without a result", [] {
        mustFail([&] { BigInteger(7).mod(0); });
        mustFail([&] { BigInteger wrong(u"1-2"); });
    });
    scripts.add("big decimal.arithmetic", [] {
        BigDecimal price(u"19.90"), factor(1.19);
        price.multiply(factor).add(BigDecimal(u"0.005")).setScale(2);
        price.divide(BigDecimal(7), 50).toString();
        price.compareTo(factor);
        price.toDouble();
    });
    scripts.add("digest", [] {
        crypto::MD5Digest digest;
        digest.update(reinterpret_cast<const signed char*>("some bytes"), 10);
        signed char out[16];
        digest.getDigest(out, 16);
        digest.getName();
    });
    scripts.add("cipher", [] {
        const crypto::BlowFish cipher(reinterpret_cast<const signed char*>("key"), 3);
        signed char block[16] = {};
        cipher.encrypt(block, block, 16);
    });
    scripts.add("identifier", [] {
        const util::Guid guid(String(u"{0861D18E-197F-4E3A-A03F-7CD02F9A5C75}"));
        guid.toString();
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
    scripts.add("facade.list", [] {
        collections::List<String> list(makeReference<components::ArrayList>());
        for (int i = 0; i < Count; ++i)
            list.add(text(i));
        for (const auto& element : list)
            element->getLength();
        list.createSubList(2, 5)->clear();
    });
    scripts.add("facade.map", [] {
        collections::Map<String, Integer32> map(makeReference<components::HashMap>());
        for (int i = 0; i < Count; ++i)
            map.put(text(i), makeReference<Integer32>(i));
        for (const auto& [key, value] : map)
            key->append(value->toString());
    });
}

} // namespace qxtorture
