#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>

#include <qx/core/ComObject.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/text/charset/SingleByte.h>

#include "CodePage720.h"
#include "DecodeTable.h"
#include "EncodeTable.h"

namespace qx::codecs {

/// An encoding that the module serves.
struct EncodingRow {
    /// Of the library's encoding table; the system's converter knows the encoding by it too.
    const char* name;
    uint32_t codePage;
    /// Of an encoding that the system lacks the 128 units above ASCII, else null.
    const char16_t* upperHalf = nullptr;
};

// clang-format off
inline constexpr EncodingRow EncodingRows[] = {
    {"CP1250", 1250}, {"CP1251", 1251}, {"CP1253", 1253}, {"CP1254", 1254}, {"CP1255", 1255},
    {"CP1256", 1256}, {"CP1257", 1257}, {"CP1258", 1258},
    {"CP720", 720, CodePage720},
    {"CP737", 737}, {"CP775", 775}, {"CP850", 850}, {"CP852", 852}, {"CP855", 855},
    {"CP857", 857}, {"CP858", 858}, {"CP862", 862}, {"CP866", 866},
    {"CP932", 932}, {"CP936", 936}, {"CP949", 949}, {"CP950", 950}, {"EUCJP", 20932},
};
// clang-format on
inline constexpr std::size_t EncodingCount = std::size(EncodingRows);

/// The tables of an encoding, which never change. May be used from any thread.
class Encoding : public ComObject {
public:
    /// The tables of EncodingRows[@p index], made by the first call and kept while the module is
    /// loaded.
    /// @throws ResultException with result::NotAvailable when the system lacks the encoding
    static Reference<Encoding> get(std::size_t index);

    explicit Encoding(const EncodingRow& row);

    const String& name() const { return m_name; }
    int32_t maxBytesPerChar() const { return m_encode.longest(); }

    /// See DecodeTable::decode.
    char16_t decode(const uint8_t* bytes, std::size_t size, std::size_t* read) const {
        return m_decode.decode(bytes, size, read);
    }
    text::charset::RunLength decodeRun(const uint8_t* bytes, std::size_t size, char16_t* units,
                                       std::size_t capacity) const;
    /// See EncodeTable::encode.
    std::size_t encode(char16_t unit, uint8_t* bytes) const { return m_encode.encode(unit, bytes); }
    text::charset::RunLength encodeRun(const char16_t* units, std::size_t size, uint8_t* bytes,
                                       std::size_t capacity) const;

private:
    /// The library's converters of such encodings, for the sake of their runs.
    class SingleByteDecoder : public text::charset::BTCSingleByteTable {
    public:
        using BTCSingleByteTable::BTCSingleByteTable;
        using BTCSingleByteTable::convertRun;
    };
    class SingleByteEncoder : public text::charset::CTBSingleByteTable {
    public:
        using CTBSingleByteTable::convertRun;
        using CTBSingleByteTable::CTBSingleByteTable;
    };

    String m_name;
    DecodeTable m_decode;
    EncodeTable m_encode;
    std::optional<SingleByteDecoder> m_singleByteDecoder;
    std::optional<SingleByteEncoder> m_singleByteEncoder;
};

} // namespace qx::codecs
