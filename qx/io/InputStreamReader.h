#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <memory>

#include <qx/core/AnyText.h>
#include <qx/core/Reference.h>
#include <qx/io/InputStream.h>
#include <qx/io/LateFailure.h>
#include <qx/io/Reader.h>
#include <qx/platform/export.h>
#include <qx/text/charset/ByteToCharConverter.h>

namespace qx::io {

/// Reads text from a byte stream in some encoding. Once closed, every operation raises IoException
/// "stream closed". Failures of the stream and the converter pass through. A read that already has
/// text delivers it, and the next read raises the failure. Bytes that the converter refuses stay
/// where they are, so every later read fails in the same way.
///
/// An incomplete sequence at the end of input becomes one U+FFFD per byte that is left over.
class QX_API InputStreamReader : public Reader {
public:
    static constexpr int32_t DefaultSize = 8192;

    /// @param encoding  name of the encoding, nul-terminated; null for the default encoding
    /// @param size      bytes per read of @p in, raised to 6
    /// @throws UnknownEncodingException
    explicit InputStreamReader(InputStream* in, const char16_t* encoding = nullptr,
                               int32_t size = DefaultSize);
    /// The same for a name that is no such pointer: a String, a view, UTF-8.
    template <SomeText Name>
    requires(!std::convertible_to<const Name&, const char16_t*>)
        InputStreamReader(InputStream* in, const Name& encoding, int32_t size = DefaultSize)
        : InputStreamReader(in, AnyText(encoding).terminated(), size) {}

    using Reader::read;
    int32_t read(char16_t* to, int32_t length) override;
    /// A lower estimate: the available bytes divided by the length of the longest character.
    int32_t available() override;
    int32_t skip(int32_t count) override;
    bool markSupported() override;
    void mark(int32_t readLimit) override;
    void reset() override;
    /// Gives up the converter and closes the stream.
    void close() override;

    /// Lets a byte-order mark at the start of the text say its encoding; the mark is no character
    /// of the text then. The encoding of the constructor is that of text without one. To be called
    /// before the first read.
    void setDetectMark(bool detect);

    /// Canonical name of the encoding.
    virtual const char16_t* getEncodingName();

private:
    void requireOpen() const;
    int32_t takeHeld(char16_t* to, int32_t length) noexcept;
    void convertToFault(char16_t* to, int32_t& produced, int32_t length);
    void convertInto(char16_t* to, int32_t& produced, int32_t length);
    bool convertBeyond(char16_t* to, int32_t& produced, int32_t length);
    void detectMark();
    bool makeRoom();
    int32_t availableBytes();
    void readBytes();

    Reference<InputStream> m_in;
    Reference<text::charset::ByteToCharConverter> m_converter; // null once closed
    int32_t m_size;
    std::unique_ptr<signed char[]> m_bytes;
    int32_t m_position = 0;
    int32_t m_count = 0;
    bool m_endOfInput = false;
    bool m_detectsMark = false;

    /// Units of a character for which the caller had too little room.
    std::array<char16_t, 4> m_held{};
    int32_t m_heldPosition = 0;
    int32_t m_heldCount = 0;

    LateFailure m_failure;
};

} // namespace qx::io

using CQXInputStreamReader = qx::io::InputStreamReader;
