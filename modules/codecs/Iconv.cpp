#include "Iconv.h"

#include <cerrno>

#include <iconv.h>

#include <qx/core/Result.h>
#include <qx/core/String.h>

namespace qx::codecs {

namespace {

/// What the failed call before says.
Iconv::Outcome failure() {
    return errno == EINVAL ? Iconv::Outcome::Incomplete : Iconv::Outcome::Invalid;
}

} // namespace

Iconv::Iconv(const char* to, const char* from) : m_descriptor(iconv_open(to, from)) {
    static_assert(sizeof(wchar_t) == sizeof(char32_t));
    if (m_descriptor == reinterpret_cast<iconv_t>(-1))
        throwIfFailedOf(errno == ENOMEM ? result::OutOfMemory : result::NotAvailable, [&] {
            return String::fromUtf8(std::string(from).append(" to ").append(to));
        });
}

Iconv::~Iconv() { iconv_close(m_descriptor); }

Iconv::Outcome Iconv::decode(std::string_view bytes, char32_t* codePoint) {
    std::size_t written = 0;
    const Outcome outcome =
        convert(bytes.data(), bytes.size(), codePoint, sizeof *codePoint, &written);
    return outcome == Outcome::Converted && written != sizeof *codePoint ? Outcome::Invalid
                                                                         : outcome;
}

Iconv::Outcome Iconv::encode(char32_t codePoint, char* bytes, std::size_t room,
                             std::size_t* length) {
    const Outcome outcome = convert(&codePoint, sizeof codePoint, bytes, room, length);
    // The system swallows language tags.
    return outcome == Outcome::Converted && *length == 0 ? Outcome::Invalid : outcome;
}

/// Converts the whole input from the initial state, and back to it.
Iconv::Outcome Iconv::convert(const void* in, std::size_t size, void* out, std::size_t room,
                              std::size_t* written) {
    constexpr auto Failed = static_cast<std::size_t>(-1);
    auto* from = static_cast<char*>(const_cast<void*>(in)); // it is only read
    auto* to = static_cast<char*>(out);
    std::size_t left = room;
    iconv(m_descriptor, nullptr, nullptr, nullptr, nullptr);
    if (iconv(m_descriptor, &from, &size, &to, &left) == Failed)
        return failure();
    // A character that might combine with the next is still held back.
    if (iconv(m_descriptor, nullptr, nullptr, &to, &left) == Failed)
        return failure();
    *written = room - left;
    return Outcome::Converted;
}

} // namespace qx::codecs
