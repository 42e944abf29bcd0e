#include <qx/platform/text.h>

#include <cerrno>
#include <clocale>
#include <cstring>
#include <iconv.h>
#include <langinfo.h>
#include <string_view>

#include <qx/platform/detail/Utf8.h>
#include <qx/platform/result.h>

#include "qx/platform/posix/clibrary.h"
#include "qx/platform/posix/error.h"

using namespace qx;

namespace {

const char* codeSet() { return nl_langinfo(CODESET); }

/// Bytes into a buffer that keeps room for the terminating 0.
class ByteSink {
public:
    ByteSink(char* buffer, int32_t capacity)
        : m_at(buffer), m_left(static_cast<size_t>(capacity) - 1) {}
    ~ByteSink() { *m_at = 0; }
    ByteSink(const ByteSink&) = delete;
    ByteSink& operator=(const ByteSink&) = delete;

    /// All of @p bytes, or none: false when they do not fit.
    bool put(std::string_view bytes) {
        if (bytes.size() > m_left)
            return false;
        std::memcpy(m_at, bytes.data(), bytes.size());
        m_at += bytes.size();
        m_left -= bytes.size();
        return true;
    }

    char*& position() { return m_at; }
    size_t& left() { return m_left; }

private:
    char* m_at;
    size_t m_left;
};

bool isSurrogate(char16_t unit) { return (unit & 0xF800) == 0xD800; }

bool isPair(std::u16string_view text) {
    return text.size() > 1 && (text[0] & 0xFC00) == 0xD800 && (text[1] & 0xFC00) == 0xDC00;
}

int32_t toUtf8(std::u16string_view text, ByteSink& sink) {
    while (!text.empty()) {
        char32_t point = text[0];
        size_t units = 1;
        if (isPair(text)) {
            point = 0x10000 + ((point & 0x3FF) << 10) + (text[1] & 0x3FFu);
            units = 2;
        } else if (isSurrogate(text[0])) {
            return result::UnmappableCharacter;
        }
        uint8_t bytes[4];
        const auto* const end = platform::writeUtf8(point, bytes);
        if (!sink.put({reinterpret_cast<const char*>(bytes), static_cast<size_t>(end - bytes)}))
            return result::BufferTooSmall;
        text.remove_prefix(units);
    }
    return result::Ok;
}

/// For code sets whose bytes are the first code points: ASCII and ISO 8859-1.
int32_t toSingleBytes(std::u16string_view text, char16_t limit, ByteSink& sink) {
    for (const char16_t unit : text) {
        if (unit > limit)
            return result::UnmappableCharacter;
        const char byte = static_cast<char>(unit);
        if (!sink.put({&byte, 1}))
            return result::BufferTooSmall;
    }
    return result::Ok;
}

/// For every other code set of a locale: through the system's converter.
int32_t toCodeSet(std::u16string_view text, const char* name, ByteSink& sink) {
    const iconv_t converter =
        platform::callCLibrary([&] { return ::iconv_open(name, "UTF-16LE"); });
    if (converter == reinterpret_cast<iconv_t>(-1))
        return errno == EINVAL ? result::UnknownEncoding : platform::lastResult();
    char* input = reinterpret_cast<char*>(const_cast<char16_t*>(text.data()));
    size_t inputLeft = text.size() * sizeof(char16_t);
    // A call without input returns a stateful encoding to its initial state.
    const bool failed = ::iconv(converter, &input, &inputLeft, &sink.position(), &sink.left()) ==
                            static_cast<size_t>(-1) ||
                        ::iconv(converter, nullptr, nullptr, &sink.position(), &sink.left()) ==
                            static_cast<size_t>(-1);
    const int error = errno;
    platform::callCLibrary([&] { return ::iconv_close(converter); });
    if (!failed)
        return result::Ok;
    return error == E2BIG ? result::BufferTooSmall : result::UnmappableCharacter;
}

/// Widens an ASCII name into a buffer of @p capacity units, terminated.
int32_t copyName(std::string_view name, char16_t* buffer, int32_t capacity) {
    if (buffer == nullptr)
        return result::NullPointer;
    if (capacity < 1)
        return result::BufferTooSmall;
    buffer[0] = 0;
    if (name.size() >= static_cast<size_t>(capacity))
        return result::BufferTooSmall;
    for (const char c : name)
        *buffer++ = static_cast<unsigned char>(c);
    *buffer = 0;
    return result::Ok;
}

} // namespace

int32_t QXUnicodeToAnsi(const char16_t* text, int32_t length, char* buffer, int32_t capacity) {
    if (text == nullptr || buffer == nullptr)
        return result::NullPointer;
    if (length < -1)
        return result::InvalidArgument;
    if (capacity < 1)
        return result::BufferTooSmall;
    const std::u16string_view units = length < 0
                                          ? std::u16string_view(text)
                                          : std::u16string_view(text, static_cast<size_t>(length));
    const char* const name = codeSet();
    ByteSink sink(buffer, capacity);
    if (std::strcmp(name, "UTF-8") == 0)
        return toUtf8(units, sink);
    if (std::strcmp(name, "ANSI_X3.4-1968") == 0 || std::strcmp(name, "US-ASCII") == 0)
        return toSingleBytes(units, 0x7F, sink);
    if (std::strcmp(name, "ISO-8859-1") == 0)
        return toSingleBytes(units, 0xFF, sink);
    return toCodeSet(units, name, sink);
}

int32_t QXGetDefaultCharEncoding(char16_t* buffer, int32_t capacity) {
    return copyName(codeSet(), buffer, capacity);
}

int32_t QXGetDefaultLocale(char16_t* buffer, int32_t capacity) {
    const char* const current = std::setlocale(LC_MESSAGES, nullptr);
    std::string_view name = current != nullptr ? current : "C";
    // language_COUNTRY.codeset@modifier
    name = name.substr(0, name.find_first_of(".@"));
    if (name == "C" || name == "POSIX")
        name = "en_US";
    return copyName(name, buffer, capacity);
}
