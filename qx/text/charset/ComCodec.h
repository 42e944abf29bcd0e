#pragma once

#include <qx/core/Reference.h>
#include <qx/platform/export.h>
#include <qx/text/charset/MultiByte.h>
#include <qx/util/buffer/RWBuffer.h>

/// Component interface of an encoding that lives outside the library. A codec is registered under
/// "Orbelle.CharCodec." and the name of its encoding.
class IQXCharCodec : public IQXUnknown {
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
class IQXCharRunCodec : public IQXUnknown {
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

namespace qx::text::charset {

/// Decodes through a codec component.
class QX_API BTCCom : public BTCMultiByte {
public:
    /// Asks the codec for its name and factors.
    /// @throws ResultException when it fails to tell
    explicit BTCCom(Reference<IQXCharCodec> codec);

    /// Returns the code point that the codec stores, whatever its result; U+FFFD when it stores
    /// none.
    char32_t convertBytes(const signed char* bytes, int32_t* count) override;

protected:
    RunLength convertRun(const uint8_t* in, size_t size, char16_t* out, size_t capacity) override;

private:
    Reference<IQXCharCodec> m_codec;
    Reference<IQXCharRunCodec> m_runs; ///< null when the codec converts single characters only
};

/// Encodes through a codec component.
class QX_API CTBCom : public CTBMultiByte {
public:
    /// Asks the codec for its name and factors.
    /// @throws ResultException when it fails to tell
    explicit CTBCom(Reference<IQXCharCodec> codec);

    int32_t convertChar(char32_t codePoint, signed char* bytes, int32_t room) override;

protected:
    RunLength convertRun(const char16_t* in, size_t size, uint8_t* out, size_t capacity) override;

private:
    Reference<IQXCharCodec> m_codec;
    Reference<IQXCharRunCodec> m_runs;      ///< null when it converts single characters only
    Reference<util::RWByteBuffer> m_buffer; ///< reused, so that converting allocates nothing
};

} // namespace qx::text::charset
