#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <qx/core/ComObject.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/text/charset/SingleByte.h>

#include "DecodeTable.h"
#include "EncodeTable.h"
#include "EncodingTable.h"

namespace qx::codecs {

/// The tables of an encoding, which never change. May be used from any thread.
///
/// Most encodings have one set of characters, with the number 0, and no state. Others switch
/// between several, or have sequences of two characters with bytes of their own: what such a text
/// has come to is a State.
class Encoding : public ComObject {
public:
    /// The tables of EncodingRows[@p index], made by the first call and kept while the module is
    /// loaded.
    /// @throws ResultException with result::NotAvailable when the system lacks the encoding
    static Reference<Encoding> get(std::size_t index);

    explicit Encoding(const EncodingRow& row);

    const String& name() const { return m_name; }
    int32_t maxBytesPerChar() const { return m_maxBytesPerChar; }
    bool hasState() const { return m_sets.size() > 1 || !m_pairs.empty(); }

    /// See DecodeTable::decode.
    Meaning decode(const uint8_t* bytes, std::size_t size, std::size_t* read) const {
        return m_sets[0].decode.decode(bytes, size, read);
    }
    text::charset::RunLength decodeRun(const uint8_t* bytes, std::size_t size, char16_t* units,
                                       std::size_t capacity) const;
    /// See EncodeTable::encode.
    std::size_t encode(char32_t codePoint, uint8_t* bytes) const {
        return m_sets[0].encode.encode(codePoint, bytes);
    }
    text::charset::RunLength encodeRun(const char16_t* units, std::size_t size, uint8_t* bytes,
                                       std::size_t capacity) const;

    /// How far a text has come.
    struct State {
        uint8_t set = 0;
        /// A character that was read and not yet written, for the next may belong to it; 0 if none.
        char16_t held = 0;
    };
    static constexpr std::size_t LongestForm = 12;
    bool isState(const State& state) const {
        return state.set < m_sets.size() && (state.held == 0 || beginsPair(state.held));
    }

    /// The same from a state on, which runs take on with the text.
    Meaning decode(const State& state, const uint8_t* bytes, std::size_t size,
                   std::size_t* read) const;
    text::charset::RunLength decodeRun(State& state, const uint8_t* bytes, std::size_t size,
                                       char16_t* units, std::size_t capacity) const;
    /// Writes up to LongestForm bytes. To be called for a character at which a run has stopped.
    std::size_t encode(State& state, char32_t codePoint, uint8_t* bytes) const;
    text::charset::RunLength encodeRun(State& state, const char16_t* units, std::size_t size,
                                       uint8_t* bytes, std::size_t capacity) const;
    /// Writes what ends a text, and takes the state back to its start.
    std::size_t encodeEnd(State& state, uint8_t* bytes) const;

private:
    /// The library's converters of such encodings, for the sake of their runs.
    class SingleByteDecoder : public text::charset::BTCSingleByteTable {
    public:
        using BTCSingleByteTable::BTCSingleByteTable;
        using BTCSingleByteTable::convertRunByTable;
    };
    class SingleByteEncoder : public text::charset::CTBSingleByteTable {
    public:
        using CTBSingleByteTable::convertRunByTable;
        using CTBSingleByteTable::CTBSingleByteTable;
    };

    struct Set {
        std::string shift; ///< what switches to it
        DecodeTable decode;
        EncodeTable encode;
    };
    struct Pair {
        char16_t first;
        char16_t second;
        uint8_t set;
        std::string bytes;
    };

    void makeSets(const EncodingRow& row);
    void makeEncodeTables(const char* name);
    void collectPairs();
    std::size_t shiftAt(const uint8_t* bytes, std::size_t size, State* state) const;
    std::size_t encodeIn(State& state, uint8_t set, std::string_view form, uint8_t* bytes) const;
    std::size_t encodeNext(State& state, char32_t codePoint, uint8_t* bytes) const;
    bool beginsShift(uint8_t byte) const { return m_beginsShift[byte]; }
    bool beginsPair(char32_t codePoint) const;
    const Pair* findPair(char16_t first, char32_t second) const;

    String m_name;
    std::vector<Set> m_sets;
    std::array<bool, 256> m_beginsShift{};
    std::vector<Pair> m_pairs;
    int32_t m_maxBytesPerChar = 1;
    std::optional<SingleByteDecoder> m_singleByteDecoder;
    std::optional<SingleByteEncoder> m_singleByteEncoder;
};

} // namespace qx::codecs
