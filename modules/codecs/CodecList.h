#pragma once

#include <qx/core/Implements.h>
#include <qx/text/charset/ComCodec.h>

namespace qx::codecs {

/// What the module serves, by every name; its codecs belong to the same module. May be used from
/// any thread.
class CodecList : public pcom::Implements<ComObject, IQXCharCodecList> {
public:
    int32_t CreateCodec(const char16_t* name, IQXCharCodec** codec) override;
    int32_t GetEncoding(int32_t index, uint32_t* codePage, IQXCharBuffer* names) override;
};

} // namespace qx::codecs
