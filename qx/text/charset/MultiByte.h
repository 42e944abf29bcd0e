#pragma once

#include <utility>

#include <qx/core/String.h>
#include <qx/text/charset/ByteToCharConverter.h>
#include <qx/text/charset/CharToByteConverter.h>
#include <qx/text/charset/RunLength.h>

namespace qx::text::charset {

/// EncodingTraits with a name that the converter keeps.
struct MultiByteTraits {
    String name;
    int32_t maxBytesPerChar = 1;
    int32_t maxCharsPerByte = 1;
};

/// Base of decoders that read one character at a time.
class QX_API BTCMultiByte : public ByteToCharConverter {
public:
    int32_t convert(const signed char* in, int32_t* inPosition, int32_t inLength, char16_t* out,
                    int32_t* outPosition, int32_t outCapacity) override;
    /// Writes the pending unit.
    /// @throws InvalidCharacterException when there is one and room for less than two units
    int32_t flush(char16_t* out, int32_t* outPosition, int32_t outCapacity) override;
    void reset() override;
    const char16_t* getEncodingName() const override;

    /// Reads the character at the start of @p bytes.
    /// @param count  the bytes there are on entry, those consumed on return; 0: more are needed
    /// @return its code point, U+FFFD for an invalid sequence
    virtual char32_t convertBytes(const signed char* bytes, int32_t* count) = 0;

protected:
    explicit BTCMultiByte(MultiByteTraits traits)
        : ByteToCharConverter({u"", traits.maxBytesPerChar, traits.maxCharsPerByte}),
          m_name(std::move(traits.name)) {}

    /// Converts any number of characters that need no rule: valid, whole, and with room for them.
    /// The rest goes through convertBytes, as everything does by default; a class that overrides
    /// both keeps them in agreement.
    virtual RunLength convertRun(const uint8_t* in, size_t size, char16_t* out, size_t capacity);

    /// Holds a unit back for flush; 0 for none.
    void setPendingUnit(char16_t unit) { m_pendingUnit = unit; }

private:
    char16_t m_pendingUnit = 0;
    String m_name;
};

/// Base of encoders that write one character at a time. Lone surrogates that the encoding lacks
/// throw.
class QX_API CTBMultiByte : public CharToByteConverter {
public:
    int32_t convert(const char16_t* in, int32_t* inPosition, int32_t inLength, signed char* out,
                    int32_t* outPosition, int32_t outCapacity) override;
    const char16_t* getEncodingName() const override;

    /// Writes the bytes of a code point, which may be a lone surrogate.
    /// @return their count, less than 1 when it has no mapping
    virtual int32_t convertChar(char32_t codePoint, signed char* bytes, int32_t room) = 0;

protected:
    explicit CTBMultiByte(MultiByteTraits traits)
        : CharToByteConverter({u"", traits.maxBytesPerChar, traits.maxCharsPerByte}),
          m_name(std::move(traits.name)) {}

    /// Converts any number of characters that need no rule: with a mapping, whole, and with room
    /// for them. The rest goes through convertChar, as everything does by default; a class that
    /// overrides both keeps them in agreement.
    virtual RunLength convertRun(const char16_t* in, size_t size, uint8_t* out, size_t capacity);

    /// Room for the bytes of any character, and for what beginSubstitution writes.
    static constexpr int32_t LongestForm = 16;
    /// Writes what has to stand in front of the substitution; nothing by default.
    /// @return count of bytes
    virtual int32_t beginSubstitution(signed char* bytes, int32_t room);
    /// What convertChar or beginSubstitution wrote last has found no room: it will be asked for
    /// again.
    virtual void takeBack();

private:
    String m_name;
};

} // namespace qx::text::charset
