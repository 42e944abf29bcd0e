#pragma once

#include <utility>

#include <qx/core/Implements.h>
#include <qx/text/charset/ComCodec.h>

#include "Encoding.h"

namespace qx::codecs {

/// The codec component of an encoding. One without state may be used from any thread, and whatever
/// the pieces that text comes in, the result is that of the whole. One with a state is for one
/// direction of one text at a time.
///
/// A byte of a code page whose characters combine (1255, 1258) is a character by itself, although
/// the system's converter joins them. In the other direction a composed character is written as its
/// parts where the encoding has those alone.
class TableCodec
    : public pcom::Implements<ComObject, IQXCharCodec, IQXCharRunCodec, IQXCharStateCodec> {
public:
    explicit TableCodec(Reference<Encoding> encoding) : m_encoding(std::move(encoding)) {}

    /// Answers IQXCharStateCodec for an encoding with state only.
    int32_t QueryInterface(const GUID& iid, void** out) override;

    int32_t GetEncodingName(IQXCharBuffer* name) override;
    int32_t GetMaxBytesPerChar(int32_t* bytes) override;
    int32_t GetMaxCharsPerByte(int32_t* chars) override;
    int32_t Decode(const signed char* bytes, int32_t* count, char32_t* codePoint) override;
    int32_t Encode(char32_t codePoint, IQXByteBuffer* bytes) override;
    int32_t DecodeRun(const signed char* bytes, int32_t* count, char16_t* units,
                      int32_t* capacity) override;
    int32_t EncodeRun(const char16_t* units, int32_t* count, signed char* bytes,
                      int32_t* capacity) override;

    int32_t GetState(uint32_t* state) override;
    int32_t SetState(uint32_t state) override;
    int32_t EncodeEnd(IQXByteBuffer* bytes) override;

private:
    /// Lets @p write fill the buffer with up to Encoding::LongestForm bytes and give their count.
    template <class Write>
    static int32_t writeTo(IQXByteBuffer* bytes, Write&& write);

    Reference<Encoding> m_encoding;
    Encoding::State m_state; ///< unused without
};

} // namespace qx::codecs
