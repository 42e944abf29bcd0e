#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <string>

#include <qx/core/AnyText.h>
#include <qx/core/Reference.h>
#include <qx/io/OutputStream.h>
#include <qx/io/Writer.h>
#include <qx/platform/export.h>
#include <qx/text/charset/CharToByteConverter.h>

namespace qx::text::charset {
class CTBUTF8;
}

namespace qx::io {

namespace detail {
class Utf8Turn;
struct Utf8Writers;
} // namespace detail

/// Writes text to a byte stream in some encoding. Bytes wait in a buffer until it is full or
/// flushed; close drops them. Once closed, every operation raises IoException "stream closed".
///
/// Failures of the stream and of the converter pass through. The text of the call that fails is
/// then dropped; texts of earlier calls stay pending. After a failure of the stream the same text
/// may be written again: the writer is as it was before the call, unless the text did not fit into
/// the buffer and a part of it has reached the stream. Pending bytes are given to the stream again
/// from their start, even when it had taken some of them before it failed. Half a surrogate pair at
/// the end of the text before is dropped together with a text that the converter refuses, so that
/// the next text begins afresh.
///
/// While it takes bytes, the stream may itself write here, as one does that logs what it writes.
/// Such text waits until the text is complete that was being written. A flush that the stream asks
/// for meanwhile is carried out by the flush that is under way, else by the next one.
class QX_API OutputStreamWriter : public Writer {
public:
    static constexpr int32_t DefaultSize = 8192;

    /// @param encoding  name of the encoding, nul-terminated; null for the default encoding
    /// @param size      of the buffer in bytes, raised to 6
    /// @throws UnknownEncodingException
    explicit OutputStreamWriter(OutputStream* out, const char16_t* encoding = nullptr,
                                int32_t size = DefaultSize);
    /// The same for a name that is no such pointer: a String, a view, UTF-8.
    template <SomeText Name>
    requires(!std::convertible_to<const Name&, const char16_t*>)
        OutputStreamWriter(OutputStream* out, const Name& encoding, int32_t size = DefaultSize)
        : OutputStreamWriter(out, AnyText(encoding).terminated(), size) {}

    using Writer::write;
    void write(const char16_t* from, int32_t length) override;
    /// Writes what is pending and flushes the stream.
    /// @throws InvalidCharacterException while half a surrogate pair waits for the other, which is
    ///     dropped; nothing is written then
    void flush() override;
    /// Gives up the converter and pending bytes and closes the stream.
    void close() override;

    /// Lets half a surrogate pair be written as U+FFFD instead of failing; see
    /// CharToByteConverter::setReplaceHalves.
    void setReplaceHalves(bool replace);

    /// Canonical name of the encoding.
    virtual const char16_t* getEncodingName();

private:
    friend class detail::Utf8Turn;
    friend struct detail::Utf8Writers;

    /// Where the text stands between two writes.
    struct Place {
        char16_t held = 0;  ///< a high surrogate that waits for its low one here; 0 for none
        char16_t open = 0;  ///< and one that was the last unit that the converter took
        uint32_t state = 0; ///< of a converter that has one
    };

    void requireOpen() const;
    bool setAside(const char16_t* from, int32_t length);
    void writeLate();
    void goBack(const Place& before, bool isRefused);
    void dropHalf();
    void encode(const char16_t* from, int32_t length);
    bool flushConverter();
    void onNoProgress(const char16_t* rest, int32_t& consumed, int32_t length);
    void drain();

    Reference<OutputStream> m_out;
    Reference<text::charset::CharToByteConverter> m_converter; // null once closed
    bool m_hasState;           ///< whether the converter has one, apart from half a pair
    bool m_isPassedOn = false; ///< whether the stream has taken bytes of the present text
    bool m_isPassing = false;  ///< whether a write of the stream is under way
    bool m_isFault = false;    ///< whether it is the stream that made the present text fail
    const text::charset::CTBUTF8* m_utf8; ///< the converter if it is exactly that, else null
    int32_t m_size;
    int32_t m_count = 0;
    std::unique_ptr<signed char[]> m_bytes;
    std::unique_ptr<std::u16string> m_late; ///< what was written while the stream was at work
    int32_t m_earlier = 0;                  ///< how many of the bytes belong to earlier texts
    Place m_place;
};

} // namespace qx::io

using CQXOutputStreamWriter = qx::io::OutputStreamWriter;
