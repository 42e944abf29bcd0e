#include "tests/torture/Script.h"

#include <qx/collections/IntegerHashMap.h>
#include <qx/collections/List.h>
#include <qx/collections/Map.h>
#include <qx/collections/StringHashMap.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/HashSet.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/core/Float.h>
#include <qx/core/Integer.h>
#include <qx/core/Literal.h>
#include <qx/core/Reference.h>
#include <qx/core/Str1.h>
#include <qx/core/Str1HashMap.h>
#include <qx/crypto/BlowFish.h>
#include <qx/crypto/MD5Digest.h>
#include <qx/math/BigDecimal.h>
#include <qx/math/BigInteger.h>
#include <qx/text/charset/CharToByteConverter.h>
#include <qx/util/Guid.h>
#include <qx/util/StringTokenizer.h>
#include <qx/util/buffer/RWBuffer.h>

namespace qxtorture {

namespace components = qx::collections::pcom;
using namespace qx::literals;
using qx::makeReference;
using qx::Reference;
using qx::String;
using qx::math::BigDecimal;
using qx::math::BigInteger;

namespace {

const char16_t Sentence[] =
    u"Der schnelle braune Fuchs springt über den faulen Hund und die Straße.";

void throughEncoding(const char16_t* encoding) {
    const String text(u"naïve text with a few units: äöü 12345");
    const signed char* const bytes = text.getBytes(encoding);
    qx::util::RWByteBuffer buffer;
    text.getBytes(&buffer, encoding);
    String back(bytes, buffer.getLength(), encoding);
    back.append(u" and on").getBytes(encoding);
}

/// Long enough for the algorithms that need room of their own.
BigInteger longNumber(int bits) { return std::move((BigInteger(1) << bits).subtract(12345)); }

constexpr int Count = 150; // elements: a failure for each allocation of each

Reference<String> item(int number) {
    return makeReference<String>(String(u"item number ").append(number));
}

void fill(components::Collection& collection) {
    for (int i = 0; i < Count; ++i)
        collection.add(item(i)->GetUnknown());
}

template <class List>
void changeList() {
    List list;
    fill(list);
    list.add(3, item(100)->GetUnknown());
    list.addAll(5, list);
    list.set(0, item(101)->GetUnknown());
    list.remove(7);
    list.remove(item(4)->GetUnknown());
    const List copy(list);
    copy.equals(list);
    copy.hashCode();
    copy.toString();
}

template <class List>
void walkList() {
    List list;
    fill(list);
    const auto walk = list.createListIterator(5);
    walk->next();
    walk->add(item(7)->GetUnknown());
    walk->previous();
    walk->set(item(8)->GetUnknown());
    walk->remove();
    const auto part = list.createSubList(2, 10);
    part->add(item(9)->GetUnknown());
    part->createSubList(1, 3)->clear();
    for (const auto iterator = part->createConstIterator(); iterator->hasNext();)
        iterator->next();
}

template <class Collection>
void combine() {
    Collection left, right;
    fill(left);
    right.add(item(3)->GetUnknown());
    right.add(item(99)->GetUnknown());
    left.containsAll(right);
    left.addAll(right);
    left.removeAll(right);
    left.retainAll(right);
}

const Script scripts[] = {
    {"string.copied, shared and written",
     [] {
         const String first(Sentence);
         String second(first), third;
         third = first;
         second.append(u'!').append(u" More of it.").append(12345678901LL).append(2.5);
         third.insert(4, second).remove(10, 5).replace(0, 3, first);
         third.prepend(u"> ").setCharAt(0, u'<');
         second.swap(third);
         String moved(std::move(second));
         moved.freeExtra();
     }},
    {"string.appended to itself",
     [] {
         String text(u"abc");
         for (int i = 0; i < 8; ++i)
             text.append(text).prepend(text.substring(0, 1));
         text.replace(1, 2, text).insert(3, text);
     }},
    {"string.letter case",
     [] {
         String text(Sentence);
         String(text).toUpper();
         String(text).toLower();
         const String upper(text, String::AM_COPY_UPPER);
         upper.equals(text, true);
         text.hashCode(true);
     }},
    {"string.trimmed and translated",
     [] {
         String text(u"  xx a b c xx  ");
         text.trim().trim(u"x").translate(u"abc", u"xyz").translate(u'x', u'-');
         text.resize(100, u'.').clear();
     }},
    {"string.searched",
     [] {
         const String text(Sentence);
         text.indexOf(u"FUCHS", 0, true);
         text.lastIndexOf(u"den");
         text.findFirstNotOf(u"Der ");
         text.substring(4, 30).substring(2);
     }},
    {"string.formatted",
     [] {
         String::format(u"{0} and {1} and {0} of {2}", u"one", String::valueOf(2.25),
                        String::valueOf(uint64_t{18446744073709551615u}));
     }},
    {"string.UTF-8 of the standard library",
     [] { String::fromUtf8("déjà vu, \xF0\x9F\x98\x80, \xFF").append(u'x').toUtf8(); }},
    {"string.storage of others",
     [] {
         const auto buffer = qx::makeReference<qx::util::RWCharBuffer>(Sentence, 71, 0);
         String shared(buffer.get(), String::AM_SHARE);
         String wrapped(Sentence, String::AM_WRAP);
         String literal = u"a literal"_qs;
         literal.append(shared).append(wrapped);
         shared.append(u"copied by this");
     }},
    {"string.cloned and compared",
     [] {
         const String text(Sentence);
         const qx::Reference<String> copy(text.clone());
         text.compareTo(*copy);
         text.toString().equals(*copy);
     }},
    {"string.write lock",
     [] {
         String text;
         std::fill_n(text.getWriteLock(300), 300, u'x');
         text.releaseWriteLock(250);
         text.ensureCapacity(1000);
         text.freeExtra();
     }},
    {"light string.copied and written",
     [] {
         qx::Str1Copy first(Sentence);
         qx::Str1 second(first);
         second.append(u" and more").append(u'!', 20);
         first.setTo(second.substring(3, 20));
         first.toUpper();
         first.toQXString();
         first.getBytesAZ(u"UTF-8");
     }},
    {"light string.local room",
     [] {
         char16_t room[64];
         qx::Str1Local local(room, 0, 64);
         for (int i = 0; i < 200; ++i)
             local.append(u'x');
         local.appendA("more", 4, u"ISO8859_1");
     }},
    {"light string.hash map",
     [] {
         qx::Str1HashMap<int> map(3);
         for (int i = 0; i < 40; ++i)
             map.put(String::valueOf(i), i);
         int value = 0;
         for (int i = 0; i < 40; i += 3)
             map.remove(String::valueOf(i), &value);
     }},
    {"tokenizer",
     [] {
         qx::util::StringTokenizer tokens(u"one, two;three and a rather long last token", u",; ");
         while (tokens.hasMoreTokens())
             tokens.nextToken();
     }},
    {"encoding.UTF-8", [] { throughEncoding(u"UTF-8"); }},
    {"encoding.UTF-16", [] { throughEncoding(u"UTF-16BE"); }},
    {"encoding.UTF-32", [] { throughEncoding(u"UTF-32LE"); }},
    {"encoding.code page 1252", [] { throughEncoding(u"Cp1252"); }},
    {"encoding.code page 437", [] { throughEncoding(u"Cp437"); }},
    {"encoding.AMP-7", [] { throughEncoding(u"AMP-7"); }},
    {"encoding.default", [] { throughEncoding(nullptr); }},
    {"encoding.unknown", [] { mustFail([&] { String(u"x").getBytes(u"no such encoding"); }); }},
    {"encoding.unmappable",
     [] {
         using qx::text::charset::CharToByteConverter;
         const auto encoder =
             qx::Reference<CharToByteConverter>(CharToByteConverter::getConverter(u"ISO8859_1"));
         encoder->setSubstitutionMode(false);
         signed char bytes[8];
         int32_t read = 0, written = 0;
         mustFail([&] { encoder->convert(u"a\u20AC", &read, 2, bytes, &written, 8); });
     }},
    {"boxed.parsed, converted and printed",
     [] {
         const qx::Integer64 number(String(u"-1234567890123"));
         number.toBigInteger().toString();
         number.toBigDecimal().toString();
         const qx::Reference<qx::Object> copy(number.clone());
         copy->toString();
         qx::Double(0.1).toString();
     }},
    {"big integer.arithmetic",
     [] {
         BigInteger a(u"123456789012345678901234567890"), b(u"-98765432109876543210"), rest;
         a.multiply(b).add(17).subtract(b);
         a.divide(b, rest);
         a.gcd(BigInteger(12));
         (a + b) * (a - b) / BigInteger(7) % BigInteger(1000);
         a.setBit(500).clearBit(3);
     }},
    {"big integer.aliases",
     [] {
         BigInteger a = longNumber(300);
         a.multiply(a).add(a);
         BigInteger rest;
         a.divide(a, rest);
     }},
    {"big integer.powers",
     [] {
         BigInteger(3).pow(200).toString();
         BigInteger(3).modPow(longNumber(200), longNumber(256));
         BigInteger(3).modInverse(BigInteger(1000003));
     }},
    {"big integer.long products", [] { longNumber(20000).multiply(longNumber(18000)); }},
    {"big integer.long quotients",
     [] {
         BigInteger rest, number = longNumber(20000);
         number.divide(longNumber(9000), rest);
     }},
    {"big integer.long texts",
     [] {
         const String text = longNumber(12000).toString();
         BigInteger back(text, 10);
         back.toString(16);
     }},
    {"big integer.without a result",
     [] {
         mustFail([&] { BigInteger(7).mod(0); });
         mustFail([&] { BigInteger wrong(u"1-2"); });
     }},
    {"big decimal.arithmetic",
     [] {
         BigDecimal price(u"19.90"), factor(1.19);
         price.multiply(factor).add(BigDecimal(u"0.005")).setScale(2);
         price.divide(BigDecimal(7), 50).toString();
         price.compareTo(factor);
         price.toDouble();
     }},
    {"digest",
     [] {
         qx::crypto::MD5Digest digest;
         digest.update(reinterpret_cast<const signed char*>("some bytes"), 10);
         signed char out[16];
         digest.getDigest(out, 16);
         digest.getName();
     }},
    {"cipher",
     [] {
         const qx::crypto::BlowFish cipher(reinterpret_cast<const signed char*>("key"), 3);
         signed char block[16] = {};
         cipher.encrypt(block, block, 16);
     }},
    {"identifier",
     [] {
         const qx::util::Guid guid(String(u"{0861D18E-197F-4E3A-A03F-7CD02F9A5C75}"));
         guid.toString();
         delete qx::util::Guid::Generate();
     }},
    {"list.array changed", changeList<components::ArrayList>},
    {"list.linked changed", changeList<components::LinkedList>},
    {"list.array walked", walkList<components::ArrayList>},
    {"list.linked walked", walkList<components::LinkedList>},
    {"list.array combined", combine<components::ArrayList>},
    {"list.linked combined", combine<components::LinkedList>},
    {"set.combined", combine<components::HashSet>},
    {"set.copied",
     [] {
         components::HashSet set;
         fill(set);
         const components::HashSet copy(set);
         set.equals(copy);
         for (const auto iterator = set.createIterator(); iterator->hasNext();) {
             iterator->next();
             iterator->remove();
         }
     }},
    {"map.put and removed",
     [] {
         components::HashMap map(3, 0.75f);
         for (int i = 0; i < Count; ++i)
             map.put(item(i)->GetUnknown(), item(i + 1)->GetUnknown());
         map.put(item(2)->GetUnknown(), nullptr);
         map.remove(item(3)->GetUnknown());
         map.containsValue(item(4)->GetUnknown());
         components::HashMap other;
         other.putAll(map);
         other.equals(map);
     }},
    {"map.views",
     [] {
         components::HashMap map;
         for (int i = 0; i < Count; ++i)
             map.put(item(i)->GetUnknown(), item(i)->GetUnknown());
         map.createKeySet()->remove(item(1)->GetUnknown());
         for (const auto entries = map.createEntrySet()->createIterator(); entries->hasNext();) {
             entries->next();
             entries->remove();
         }
         map.createValueCollection()->clear();
     }},
    {"map.texts to objects",
     [] {
         qx::collections::StringHashMap map(2);
         for (int i = 0; i < Count; ++i)
             map.put(String::valueOf(i), item(i));
         map.put(u"3", nullptr);
         map.remove(u"4");
         map.createKeySet();
     }},
    {"map.integers to objects",
     [] {
         qx::collections::IntegerHashMap map(2);
         for (int i = 0; i < Count; ++i)
             map.put(i * 7, item(i));
         map.remove(14);
         map.createKeySet();
     }},
    {"facade.list",
     [] {
         qx::collections::List<String> list(makeReference<components::ArrayList>());
         for (int i = 0; i < Count; ++i)
             list.add(item(i));
         for (const auto& element : list)
             element->getLength();
         list.createSubList(2, 5)->clear();
     }},
    {"facade.map",
     [] {
         qx::collections::Map<String, qx::Integer32> map(makeReference<components::HashMap>());
         for (int i = 0; i < Count; ++i)
             map.put(item(i), makeReference<qx::Integer32>(i));
         for (const auto& [key, value] : map)
             key->append(value->toString());
     }},
};

} // namespace

std::span<const Script> valueScripts() { return scripts; }

} // namespace qxtorture
