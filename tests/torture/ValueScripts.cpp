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

void throughEncoding(const char16_t* encoding) {
    const String text(u"naïve text with a few units: äöü 12345");
    const signed char* const bytes = text.getBytes(encoding);
    util::RWByteBuffer buffer;
    text.getBytes(&buffer, encoding);
    String back(bytes, buffer.getLength(), encoding);
    back.append(u" and on").getBytes(encoding);
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
    std::vector<uint8_t> bytes(length);
    for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(random() >> 8);
    collection.play(bytes);
}

} // namespace

void addValueScripts(Scripts& scripts) {
    scripts.add("light string.bytes and map", [] {
        Str1Copy(u"more than fits").getBytesAZ(u"UTF-8");
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
    scripts.add("encoding.of each kind", [] {
        for (const char16_t* const encoding :
             {u"UTF-8", u"UTF-16BE", u"UTF-32LE", u"Cp1252", u"Cp437", u"AMP-7"})
            throughEncoding(encoding);
        throughEncoding(nullptr); // the default
    });
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
    scripts.add("numbers.texts", [] {
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
    });
    scripts.add("numbers.operators", [] {
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
