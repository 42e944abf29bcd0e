#pragma once

#include <qx/core/Reference.h>
#include <qx/platform/export.h>
#include <qx/text/charset/MultiByte.h>
#include <qx/util/buffer/RWBuffer.h>

/// Component interface of an encoding that lives outside the library. A codec is registered under
/// "Orbelle.CharCodec." and the name of its encoding.
class QX_INTERFACE IQXCharCodec : public IQXUnknown {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0xE9DE4D9A, 0xBF89, 0x4A97, {0xB9, 0x74, 0x1F, 0x50, 0xBC, 0x5A, 0x8C, 0x61}};

    virtual int32_t GetEncodingName(IQXCharBuffer* name) = 0;
    virtual int32_t GetMaxBytesPerChar(int32_t* bytes) = 0;
    virtual int32_t GetMaxCharsPerByte(int32_t* chars) = 0;
    /// Reads the character at the start of @p bytes.
    /// @param count      the bytes there are on entry, those consumed on return; 0: more are needed
    /// @param codePoint  U+FFFD for an invalid sequence
    virtual int32_t Decode(const signed char* bytes, int32_t* count, char32_t* codePoint) = 0;
    /// Leaves @p bytes empty for a code point without mapping.
    virtual int32_t Encode(char32_t codePoint, IQXByteBuffer* bytes) = 0;

protected:
    ~IQXCharCodec() = default;
};

/// What a codec may offer beside IQXCharCodec: the conversion of many characters with one call. The
/// converters ask for it once. The character at which a run ends goes through IQXCharCodec, which
/// tells what is wrong with it.
class QX_INTERFACE IQXCharRunCodec : public IQXUnknown {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0xB0E4F74B, 0x665B, 0x403B, {0xAB, 0x3E, 0xF3, 0x8F, 0xBA, 0xD2, 0x8A, 0xF7}};

    /// Reads characters up to the first that is invalid, cut off or finds no room.
    /// @param count     the bytes there are on entry, those consumed on return
    /// @param capacity  the units that fit on entry, those written on return; what lies behind
    ///     them may be overwritten
    virtual int32_t DecodeRun(const signed char* bytes, int32_t* count, char16_t* units,
                              int32_t* capacity) = 0;
    /// Writes characters up to the first that has no mapping, is half of a pair or finds no room.
    /// @param count     the units there are on entry, those consumed on return
    /// @param capacity  the bytes that fit on entry, those written on return; what lies behind
    ///     them may be overwritten
    virtual int32_t EncodeRun(const char16_t* units, int32_t* count, signed char* bytes,
                              int32_t* capacity) = 0;

protected:
    ~IQXCharRunCodec() = default;
};

/// What a codec offers beside both when its characters depend on what stands before them: it
/// switches between sets of characters, or has bytes of its own for two characters in a row. Such a
/// codec belongs to one converter; its runs and single characters go on from its state. What
/// switches is consumed by runs alone.
class QX_INTERFACE IQXCharStateCodec : public IQXUnknown {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0x5C0F6C1E, 0x2B7A, 0x4D5B, {0x9D, 0x11, 0x3E, 0x61, 0x0A, 0xC4, 0x77, 0x92}};

    /// The state, a number that means something to the codec alone; 0 at the start of a text. But
    /// its upper 16 bits are the character that has been taken and waits to be written until the
    /// next one shows whether both have bytes of their own, 0 for none.
    virtual int32_t GetState(uint32_t* state) = 0;
    /// Goes back to a state of before. 0x80070057 for a number that is none.
    virtual int32_t SetState(uint32_t state) = 0;
    /// Writes what a text has to end with, and goes back to the start.
    virtual int32_t EncodeEnd(IQXByteBuffer* bytes) = 0;

protected:
    ~IQXCharStateCodec() = default;
};

/// Codecs of many encodings, by all their names. The library looks for one under the programmatic
/// identifier "Orbelle.CharCodecList", then in its own module of codecs, which lies beside it.
class QX_INTERFACE IQXCharCodecList : public IQXUnknown {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0x8E1B8E07, 0x64D2, 0x4B0C, {0x8C, 0x3F, 0x52, 0x19, 0xD8, 0x06, 0xEA, 0x4B}};

    /// A codec for an encoding by any of its names, in any letter case, and when there is none of
    /// that name without regard to hyphens, underlines and blanks; with a reference for the caller.
    /// 0x8BB34103 for one that is not served.
    virtual int32_t CreateCodec(const char16_t* name, IQXCharCodec** codec) = 0;
    /// The names of the encoding at @p index, counted from 0, with a blank between them: the first
    /// is that of its codec, the second the one that mail and web pages are labelled with.
    /// @param codePage  0 for none
    /// @return 0x80070103 behind the last
    virtual int32_t GetEncoding(int32_t index, uint32_t* codePage, IQXCharBuffer* names) = 0;

protected:
    ~IQXCharCodecList() = default;
};

namespace qx::text::charset {

/// The class of the list in the library's own module of codecs.
inline constexpr GUID CodecListClass{
    0x12098000, 0x0722, 0x4F11, {0x84, 0x8E, 0x9A, 0xAE, 0x88, 0xAF, 0xDE, 0xD2}};

/// Whether a unit makes no difference between names of encodings where none is found as it is
/// written.
constexpr bool isNameFiller(char16_t unit) { return unit == u'-' || unit == u'_' || unit == u' '; }

/// Decodes through a codec component.
class QX_API BTCCom : public BTCMultiByte {
public:
    /// Asks the codec for its name and factors.
    /// @throws ResultException when it fails to tell
    explicit BTCCom(Reference<IQXCharCodec> codec);

    /// Returns the code point that the codec stores, whatever its result; U+FFFD when it stores
    /// none.
    char32_t convertBytes(const signed char* bytes, int32_t* count) override;

    int32_t convert(const signed char* in, int32_t* inPosition, int32_t inLength, char16_t* out,
                    int32_t* outPosition, int32_t outCapacity) override;
    void reset() override;

    /// How far a text has come, for a later setState; 0 for its start, and for a codec without
    /// state.
    uint32_t getState() const;
    /// Goes back to where getState gave that number. Another number changes nothing.
    void setState(uint32_t state);

protected:
    RunLength convertRun(const uint8_t* in, size_t size, char16_t* out, size_t capacity) override;

private:
    Reference<IQXCharCodec> m_codec;
    Reference<IQXCharRunCodec> m_runs;    ///< null when the codec converts single characters only
    Reference<IQXCharStateCodec> m_state; ///< null when the codec has none
};

/// Encodes through a codec component.
class QX_API CTBCom : public CTBMultiByte {
public:
    /// Asks the codec for its name and factors.
    /// @throws ResultException when it fails to tell
    explicit CTBCom(Reference<IQXCharCodec> codec);

    int32_t convertChar(char32_t codePoint, signed char* bytes, int32_t room) override;

    int32_t convert(const char16_t* in, int32_t* inPosition, int32_t inLength, signed char* out,
                    int32_t* outPosition, int32_t outCapacity) override;
    /// Writes what the text has to end with.
    /// @throws ResultException with result::BufferTooSmall
    int32_t flush(signed char* out, int32_t* outPosition, int32_t outCapacity) override;
    void reset() override;

    /// False for a codec that writes every character by itself.
    bool hasState() const { return static_cast<bool>(m_state); }
    /// See BTCCom.
    uint32_t getState() const;
    void setState(uint32_t state);

protected:
    RunLength convertRun(const char16_t* in, size_t size, uint8_t* out, size_t capacity) override;
    int32_t beginSubstitution(signed char* bytes, int32_t room) override;
    void takeBack() override;

private:
    /// Copies what @p write leaves in the buffer.
    template <class Write>
    int32_t take(signed char* bytes, int32_t room, Write&& write);

    Reference<IQXCharCodec> m_codec;
    Reference<IQXCharRunCodec> m_runs;      ///< null when it converts single characters only
    Reference<IQXCharStateCodec> m_state;   ///< null when the codec has none
    uint32_t m_before = 0;                  ///< the state in front of the last character
    Reference<util::RWByteBuffer> m_buffer; ///< reused, so that converting allocates nothing
};

} // namespace qx::text::charset
