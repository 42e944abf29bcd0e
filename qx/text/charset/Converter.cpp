#include "qx/text/charset/ByteToCharConverter.h"
#include "qx/text/charset/CharToByteConverter.h"

#include <memory>
#include <string_view>
#include <utility>

#include <qx/core/CastTo.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/platform/detail/CodecCheck.h>
#include <qx/platform/text.h>
#include <qx/text/charset/CodecManager.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/SingleByte.h>
#include <qx/text/charset/Surrogates.h>
#include <qx/text/charset/UTF8.h>
#include <qx/text/charset/detail/ConverterFor.h>

namespace qx::text::charset {

namespace {

using namespace std::string_view_literals;

/// The converter that @p lookUp finds for the name, as the base of its direction.
template <class Base>
Base* require(Object* (CodecManager::*lookUp)(const char16_t*) const, const char16_t* name) {
    Object* const found = (CodecManager::getInstance()->*lookUp)(name);
    if (auto* const converter = castTo<Base>(found))
        return converter; // the caller takes the first reference
    const Reference<Object> ofAnotherClass(found);
    throw UnknownEncodingException(String(name));
}

template <class Base, class Ascii>
Base* makeDefault() {
    char16_t name[40] = {};
    throwIfFailed(QXGetDefaultCharEncoding(name, static_cast<int32_t>(std::size(name))));
    return name[0] != 0 ? Base::getConverter(name) : new Ascii();
}

} // namespace

bool detail::isUtf8(const char16_t* encoding) {
    if (!encoding)
        return platform::isDefaultUtf8();
    const std::u16string_view name(encoding);
    return name == u"UTF-8"sv || name == u"utf-8"sv;
}

ByteToCharConverter::ByteToCharConverter(const EncodingTraits& traits)
    : Converter(traits, ReplacementCharacter) {}

int32_t ByteToCharConverter::getSubstitutionChars(char16_t* units, int32_t capacity) const {
    return copySubstitution(units, capacity);
}

void ByteToCharConverter::setSubstitutionChars(const char16_t* units, int32_t count) {
    assignSubstitution(units, count);
}

ByteToCharConverter* ByteToCharConverter::getConverter(const char16_t* encodingName) {
    if (detail::isUtf8(encodingName)) // needs no look-up
        return new BTCUTF8();
    if (!encodingName)
        return getDefaultConverter();
    return require<ByteToCharConverter>(&CodecManager::getDecoder, encodingName);
}

ByteToCharConverter* ByteToCharConverter::getDefaultConverter() {
    return makeDefault<ByteToCharConverter, BTCASCII>();
}

CharToByteConverter::CharToByteConverter(const EncodingTraits& traits) : Converter(traits, '?') {}

int32_t CharToByteConverter::flush(signed char* out, int32_t* outPosition, int32_t outCapacity) {
    const int32_t written = flushPending(out, outPosition, outCapacity);
    m_pending.requireNone();
    return written;
}

int32_t CharToByteConverter::flushPending(signed char* out, int32_t* outPosition,
                                          int32_t outCapacity) {
    if (!m_replacesHalves || !m_pending)
        return 0;
    // Anything that is no low surrogate shows that none follows. It goes the way of every text.
    const PendingSurrogate pending = std::exchange(m_pending, {});
    int32_t position = 0;
    const int32_t written =
        convert(&ReplacementCharacter, &position, 1, out, outPosition, outCapacity);
    if (position == 0) {
        m_pending = pending;
        throwResult(result::BufferTooSmall);
    }
    return written;
}

void CharToByteConverter::reset() { m_pending.clear(); }

int32_t CharToByteConverter::getSubstitutionBytes(signed char* bytes, int32_t capacity) const {
    return copySubstitution(bytes, capacity);
}

void CharToByteConverter::setSubstitutionBytes(const signed char* bytes, int32_t count) {
    assignSubstitution(bytes, count);
}

CharToByteConverter* CharToByteConverter::getConverter(const char16_t* encodingName) {
    if (detail::isUtf8(encodingName)) // needs no look-up
        return new CTBUTF8();
    if (!encodingName)
        return getDefaultConverter();
    return require<CharToByteConverter>(&CodecManager::getEncoder, encodingName);
}

CharToByteConverter* CharToByteConverter::getDefaultConverter() {
    return makeDefault<CharToByteConverter, CTBASCII>();
}

} // namespace qx::text::charset
