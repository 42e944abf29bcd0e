// Text of a String to and from bytes.

#include "qx/core/String.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/core/detail/TextChange.h>
#include <qx/core/detail/UnitSearch.h>
#include <qx/text/charset/CharToByteConverter.h>
#include <qx/text/charset/PendingSurrogate.h>
#include <qx/text/charset/UTF8.h>
#include <qx/text/charset/detail/ConverterFor.h>
#include <qx/text/charset/detail/Decode.h>
#include <qx/text/charset/detail/EncoderStop.h>
#include <qx/text/charset/detail/Kernels.h>
#include <qx/text/charset/detail/ShownBytes.h>
#include <qx/util/buffer/RWBuffer.h>
#include <qx/util/buffer/detail/BufferHold.h>

namespace qx {

/// The text in one encoding, followed by a 0 byte.
class String::AnsiBytes : public util::RWByteBuffer {
public:
    /// @p encoding  name as the caller wrote it, null for the default encoding
    explicit AnsiBytes(const char16_t* encoding) {
        if (encoding)
            m_encoding = encoding;
    }
    /// True for the same name but for the case of ASCII letters, or for no name twice.
    bool isIn(const char16_t* encoding) const noexcept;

private:
    std::optional<std::u16string> m_encoding;
};

namespace {

using detail::checkedSize;
using text::charset::CharToByteConverter;
using text::charset::detail::EncoderFor;

constexpr char16_t asciiUpper(char16_t unit) {
    return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - u'a' + u'A') : unit;
}

/// Where decoded units go: the end of the text of a storage.
class DecodeTarget {
public:
    explicit DecodeTarget(TextStorage& storage) : m_storage(storage) {}
    int32_t length() const { return m_storage.length(); }
    char16_t* prepare(int32_t capacity) {
        return m_storage.prepare(checkedSize(int64_t{capacity} + 1), length());
    }
    void commit(int32_t length) { m_storage.commit(length); }

private:
    TextStorage& m_storage;
};

/// Decodes @p text up to what is malformed.
/// @param units  those of @p storage, prepared for the first @p present, one a byte and a 0 unit
auto decodeWellFormed(std::string_view text, const TextStorage& storage, char16_t* units,
                      int32_t present) {
    // Kernels are faster with room for scratch, which may go where the 0 unit will be.
    const size_t room =
        storage.isOwned() ? detail::sizeOf(storage.capacity() - present) : text.size();
    return text::charset::detail::kernels().utf8ToUtf16(
        reinterpret_cast<const uint8_t*>(text.data()), text.size(), units + present, room);
}

/// The same for @p storage without text.
/// @return bytes that were decoded
int32_t decodeWellFormed(std::string_view text, TextStorage& storage) {
    char16_t* const units = storage.prepare(checkedSize(std::ssize(text) + 1), 0);
    const auto done = decodeWellFormed(text, storage, units, 0);
    storage.commit(static_cast<int32_t>(done.written));
    return static_cast<int32_t>(done.read);
}

/// Encodes @p text in UTF-8, half a surrogate pair as U+FFFD, to room for three bytes a unit.
/// @return count of bytes
size_t encodeReplacing(std::u16string_view text, char* bytes, size_t room) {
    const auto& kernels = text::charset::detail::kernels();
    auto* const out = reinterpret_cast<uint8_t*>(bytes);
    size_t written = 0;
    for (;;) {
        const auto done =
            kernels.utf16ToUtf8(text.data(), text.size(), out + written, room - written);
        written += done.written;
        text.remove_prefix(done.read);
        if (text.empty())
            return written;
        // Half a surrogate pair.
        for (const char byte : std::string_view("\xEF\xBF\xBD"))
            bytes[written++] = byte;
        text.remove_prefix(1);
    }
}

/// Converts all of @p text and what the encoder holds at its end.
/// @return count of bytes; all of the text was converted unless the bytes are full
int32_t encode(CharToByteConverter& encoder, std::u16string_view text, signed char* bytes,
               int32_t capacity) {
    const int32_t length = detail::lengthOf(text);
    int32_t read = 0;
    int32_t written = 0;
    encoder.convert(text.data(), &read, length, bytes, &written, capacity);
    if (read < length) {
        if (text::charset::detail::waitsForInput(encoder, text.data(), read, length))
            text::charset::PendingSurrogate::throwUnpaired();
        throwResult(result::BufferTooSmall);
    }
    encoder.flush(bytes, &written, capacity);
    return written;
}

/// Writes the bytes of @p text and @p terminator 0 bytes into @p buffer.
void encodeInto(IQXByteBuffer& buffer, std::u16string_view text, const char16_t* encoding,
                int32_t terminator) {
    EncoderFor encoder(encoding);
    const int32_t capacity =
        detail::scaledSize(detail::lengthOf(text), encoder->getMaxBytesPerChar(), 1);
    util::detail::WriteHold hold(buffer, capacity);
    const int32_t written = encode(*encoder, text, hold.units(), capacity);
    if (terminator > 0)
        hold.units()[written] = 0;
    hold.finish(written + terminator);
}

} // namespace

bool String::AnsiBytes::isIn(const char16_t* encoding) const noexcept {
    if (!encoding || !m_encoding)
        return !encoding && !m_encoding;
    return std::ranges::equal(*m_encoding, std::u16string_view(encoding), {}, asciiUpper,
                              asciiUpper);
}

void String::releaseBytes() const noexcept { std::exchange(m_bytes, nullptr)->Release(); }

String::String(const signed char* bytes, int32_t byteLength, const char16_t* encoding,
               int32_t capacity) {
    setTo(bytes, byteLength, encoding, capacity);
}

String& String::setTo(const signed char* bytes, int32_t byteLength, const char16_t* encoding,
                      int32_t capacity) {
    byteLength = detail::byteLength(bytes, byteLength);
    TextStorage text;
    if (capacity > 0) {
        text.prepare(capacity, 0);
        text.commit(0);
    }
    int32_t read = 0;
    if (byteLength > 0 && text::charset::detail::isUtf8(encoding))
        read = decodeWellFormed({reinterpret_cast<const char*>(bytes), detail::sizeOf(byteLength)},
                                text);
    if (read < byteLength || capacity > 0) { // with a capacity, the encoding has to exist
        text::charset::detail::DecoderFor decoder(encoding);
        detail::decode(*decoder, bytes + read, byteLength - read, DecodeTarget(text));
    }
    m_storage.swap(text);
    dropBytes();
    return *this;
}

String String::fromUtf8(std::string_view text) {
    const int32_t length = checkedSize(std::ssize(text));
    if (length == 0)
        return {};
    TextStorage decoded;
    int32_t read = decodeWellFormed(text, decoded);
    if (read < length) {
        text::charset::BTCUTF8 decoder;
        decoder.setStrict(true);
        read += detail::decode(decoder, reinterpret_cast<const signed char*>(text.data()) + read,
                               length - read, DecodeTarget(decoded));
    }
    String result(std::move(decoded));
    if (read < length)
        result.append(text::charset::ReplacementCharacter);
    return result;
}

String::String(std::string_view utf8) { appendUtf8(utf8); }

String& String::appendUtf8(std::string_view text) {
    const int32_t length = checkedSize(std::ssize(text));
    if (length == 0)
        return *this;
    if (m_storage.isForeign()) [[unlikely]] // which has to do only with what is well-formed
        return append(String(text));
    TextStorage::Change change(m_storage);
    const int32_t present = change.length();
    char16_t* const units = change.prepare(checkedSize(int64_t{present} + length + 1), present);
    const auto done = decodeWellFormed(text, m_storage, units, present);
    if (done.read < text.size()) {
        change.commit(present);
        text::charset::detail::throwMalformedUtf8(text, done.read);
    }
    return finish(change, present + static_cast<int32_t>(done.written));
}

std::string String::toUtf8() const {
    constexpr size_t ShortText = 128;
    const std::u16string_view text = view();
    if (text.size() <= ShortText) {
        char bytes[3 * ShortText + 16]; // some more: kernels are then fast up to the end
        return std::string(bytes, encodeReplacing(text, bytes, sizeof bytes));
    }
    std::string bytes(3 * text.size(), '\0');
    bytes.resize(encodeReplacing(text, bytes.data(), bytes.size()));
    return bytes;
}

const signed char* String::getBytes(const char16_t* encoding) const {
    if (!m_bytes || !m_bytes->isIn(encoding)) {
        auto bytes = makeReference<AnsiBytes>(encoding);
        encodeInto(*bytes, view(), encoding, 1);
        dropBytes();
        m_bytes = bytes.detach();
    }
    return m_bytes->getData();
}

int32_t String::getBytes(signed char* bytes, int32_t size, const char16_t* encoding) const {
    EncoderFor encoder(encoding);
    return encode(*encoder, view(), bytes, size);
}

void String::getBytes(IQXByteBuffer* buffer, const char16_t* encoding) const {
    if (!buffer)
        throwResult(result::NullPointer, u"buffer");
    encodeInto(*buffer, view(), encoding, 0);
}

std::ostream& operator<<(std::ostream& out, const String& text) { return out << text.toUtf8(); }

std::ostream& operator<<(std::ostream& out, TextView text) {
    return out << String(std::u16string_view(text));
}

} // namespace qx
