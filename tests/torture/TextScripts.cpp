#include "tests/torture/Script.h"

#include <string>

#include <qx/core/Literal.h>
#include <qx/core/Reference.h>
#include <qx/core/Str1.h>
#include <qx/core/Str1HashMap.h>
#include <qx/core/String.h>
#include <qx/text/charset/ByteToCharConverter.h>
#include <qx/text/charset/CharToByteConverter.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/util/StringTokenizer.h>
#include <qx/util/buffer/RWBuffer.h>

namespace qxtorture {

using namespace qx::literals;
using qx::String;

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
    {"encoding.unknown",
     [] {
         try {
             String(u"x").getBytes(u"no such encoding");
         } catch (const qx::text::charset::UnknownEncodingException& failure) {
             failure.getDescription();
         }
     }},
    {"encoding.unmappable",
     [] {
         using qx::text::charset::CharToByteConverter;
         const auto encoder =
             qx::Reference<CharToByteConverter>(CharToByteConverter::getConverter(u"ISO8859_1"));
         encoder->setSubstitutionMode(false);
         signed char bytes[8];
         int32_t read = 0, written = 0;
         try {
             encoder->convert(u"a\u20AC", &read, 2, bytes, &written, 8);
         } catch (const qx::text::charset::UnmappableCharacterException& failure) {
             failure.getDescription();
         }
     }},
};

} // namespace

std::span<const Script> textScripts() { return scripts; }

} // namespace qxtorture
