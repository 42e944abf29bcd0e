#include "qx/platform/text.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <clocale>
#include <cstring>
#include <iconv.h>
#include <langinfo.h>
#include <string_view>

#include <qx/platform/detail/ByteOrder.h>
#include <qx/platform/detail/CodecCheck.h>
#include <qx/platform/detail/Utf8.h>
#include <qx/platform/result.h>

#include <qx/platform/posix/CLibraryCall.h>
#include <qx/platform/posix/StoreText.h>
#include <qx/platform/posix/error.h>

using namespace qx;

namespace {

constexpr char Utf8[] = "UTF-8";
constexpr int32_t NameUnits = 40; // longer than the name of any code set

using platform::storeText;

/// Whether there is a codec for the code set of the locale. The answer for a code set stays the
/// same as long as no other is asked about, so that names mean the same while a program runs.
///
/// One word, so that it is read and replaced as a whole: a hash of the name, and the answer in the
/// lowest bit.
class CodecAnswer {
public:
    void setCheck(platform::CodecCheck check) noexcept { m_check = check; }

    bool find(const char* codeSet) noexcept {
        const uint64_t asked = hash(codeSet) << 1;
        const uint64_t known = m_known.load(std::memory_order_relaxed);
        if ((known & ~uint64_t{1}) == asked)
            return (known & 1) != 0;
        const int32_t result = ask(codeSet);
        // Without descriptors there may be one, but nothing that could use it, and what tells of
        // that has texts in the default encoding.
        const bool has = result != result::UnknownEncoding && result != result::Busy &&
                         result != result::TooManyFiles;
        if (result == result::Ok || result == result::UnknownEncoding)
            m_known.store(asked | (has ? 1 : 0), std::memory_order_relaxed);
        return has;
    }

private:
    static uint64_t hash(std::string_view name) noexcept {
        uint64_t value = 0xCBF29CE484222325u;
        for (const char c : name)
            value = (value ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
        return value;
    }

    int32_t ask(const char* codeSet) noexcept {
        // Looking for the codec may load a module, whose path is a name, too, and whose own texts
        // may be in the default encoding: that is UTF-8 as long as it is not known.
        static constinit thread_local bool t_isAsking = false;
        const platform::CodecCheck check = m_check;
        if (check == nullptr)
            return result::NotAvailable;
        if (t_isAsking)
            return result::Busy;
        char16_t name[NameUnits];
        if (storeText(codeSet, name, NameUnits) < 0)
            return result::UnknownEncoding;
        t_isAsking = true;
        const int32_t result = check(name);
        t_isAsking = false;
        return result;
    }

    std::atomic<platform::CodecCheck> m_check{nullptr};
    std::atomic<uint64_t> m_known{0};
};

constinit CodecAnswer s_codecs;

/// Most names differ in their first letter, which takes no call to compare.
bool isName(const char* name, const char* known) noexcept {
    return *name == *known && std::strcmp(name, known) == 0;
}

/// True for the code set of the C and POSIX locales. They are those of programs whose user has
/// chosen none, and all that they can express is the same in UTF-8.
bool isAscii(const char* codeSet) noexcept {
    return isName(codeSet, "ANSI_X3.4-1968") || isName(codeSet, "US-ASCII");
}

/// True for a code set in whose place UTF-8 is used for want of a codec.
bool isMissing(const char* codeSet) noexcept {
    return !isName(codeSet, Utf8) && !isAscii(codeSet) && !s_codecs.find(codeSet);
}

/// Name of the default encoding. UTF-8 is always the same pointer.
const char* defaultEncoding() noexcept {
    const char* const codeSet = ::nl_langinfo(CODESET);
    const bool isUtf8 = isName(codeSet, Utf8) || isAscii(codeSet) || isMissing(codeSet);
    return isUtf8 ? Utf8 : codeSet;
}

/// Bytes into a buffer that keeps room for the terminating 0.
class ByteSink {
public:
    ByteSink(char* buffer, int32_t capacity)
        : m_at(buffer), m_left(static_cast<size_t>(capacity) - 1) {}
    ~ByteSink() { *m_at = 0; }
    ByteSink(const ByteSink&) = delete;
    ByteSink& operator=(const ByteSink&) = delete;

    /// False when it does not fit.
    bool put(char byte) {
        if (m_left == 0)
            return false;
        *m_at = byte;
        advance(1);
        return true;
    }

    /// Those of the ASCII units at the start of @p text that fit: how many.
    size_t putAscii(std::u16string_view text) {
        using Units [[gnu::vector_size(16)]] = uint16_t;
        using Bytes [[gnu::vector_size(8)]] = uint8_t;
        constexpr size_t Step = sizeof(Bytes);
        char* const to = m_at;
        const size_t most = std::min(text.size(), m_left);
        size_t count = 0;
        for (; count + Step <= most; count += Step) {
            Units units;
            uint64_t halves[2];
            std::memcpy(&units, text.data() + count, sizeof(units));
            std::memcpy(halves, &units, sizeof(units));
            if (((halves[0] | halves[1]) & 0xFF80'FF80'FF80'FF80u) != 0)
                break;
            const auto bytes = __builtin_convertvector(units, Bytes);
            std::memcpy(to + count, &bytes, Step);
        }
        for (; count < most && text[count] <= 0x7F; ++count)
            to[count] = static_cast<char>(text[count]);
        advance(count);
        return count;
    }

    /// Counts bytes that were written to the position.
    void advance(size_t count) {
        m_at += count;
        m_left -= count;
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
    for (text.remove_prefix(sink.putAscii(text)); !text.empty();) {
        char32_t point = text[0];
        size_t units = 1;
        if (isPair(text)) {
            point = 0x10000 + ((point & 0x3FF) << 10) + (text[1] & 0x3FFu);
            units = 2;
        } else if (isSurrogate(text[0])) {
            return result::UnmappableCharacter;
        }
        const size_t length = platform::utf8Length(point);
        if (length > sink.left())
            return result::BufferTooSmall;
        platform::writeUtf8(point, reinterpret_cast<uint8_t*>(sink.position()));
        sink.advance(length);
        text.remove_prefix(units);
        text.remove_prefix(sink.putAscii(text));
    }
    return result::Ok;
}

int32_t toLatin1(std::u16string_view text, ByteSink& sink) {
    for (const char16_t unit : text) {
        if (unit > 0xFF)
            return result::UnmappableCharacter;
        if (!sink.put(static_cast<char>(unit)))
            return result::BufferTooSmall;
    }
    return result::Ok;
}

/// For every other code set of a locale: through the system's converter.
int32_t toCodeSet(std::u16string_view text, const char* name, ByteSink& sink) {
    constexpr const char* Units = platform::IsLittleEndian ? "UTF-16LE" : "UTF-16BE";
    const iconv_t converter = platform::callCLibrary([&] { return ::iconv_open(name, Units); });
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

} // namespace

void platform::setCodecCheck(CodecCheck check) noexcept { s_codecs.setCheck(check); }

bool platform::isDefaultUtf8() noexcept { return defaultEncoding() == Utf8; }

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
    const char* const name = defaultEncoding();
    ByteSink sink(buffer, capacity);
    if (name == Utf8)
        return toUtf8(units, sink);
    if (isName(name, "ISO-8859-1"))
        return toLatin1(units, sink);
    return toCodeSet(units, name, sink);
}

int32_t QXGetDefaultCharEncoding(char16_t* buffer, int32_t capacity) {
    return storeText(defaultEncoding(), buffer, capacity);
}

int32_t QXGetMissingCharEncoding(char16_t* buffer, int32_t capacity) {
    const char* const codeSet = ::nl_langinfo(CODESET);
    return storeText(isMissing(codeSet) ? codeSet : "", buffer, capacity);
}

int32_t QXGetDefaultLocale(char16_t* buffer, int32_t capacity) {
    const char* const current = std::setlocale(LC_MESSAGES, nullptr);
    std::string_view name = current != nullptr ? current : "C";
    // language_COUNTRY.codeset@modifier, which is a variant unless it is about money.
    const std::string_view modifier = name.substr(std::min(name.find('@'), name.size()));
    name = name.substr(0, name.find_first_of(".@"));
    if (name == "C" || name == "POSIX")
        name = "en_US";
    int32_t result = storeText(name, buffer, capacity);
    if (result >= 0 && modifier != "@euro") {
        const auto length = static_cast<int32_t>(name.size());
        result = storeText(modifier, buffer + length, capacity - length);
        if (result < 0)
            buffer[0] = 0;
    }
    return result;
}
