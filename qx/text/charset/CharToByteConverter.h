#pragma once

#include <qx/text/charset/Converter.h>
#include <qx/text/charset/PendingSurrogate.h>

namespace qx::text::charset {

/// An encoder: UTF-16 becomes bytes of one encoding. The substitution, for characters that the
/// encoding lacks, is "?" at first.
class QX_API CharToByteConverter : public Converter<char16_t, signed char, 7> {
public:
    /// @param traits  what getEncodingName and the two factors return, unless a class over this one
    ///     overrides them
    explicit CharToByteConverter(const EncodingTraits& traits = {});

    int32_t flush(signed char* out, int32_t* outPosition, int32_t outCapacity) override;
    void reset() override;

    /// Copies up to @p capacity bytes of the substitution and returns their count; with null
    /// returns its length.
    virtual int32_t getSubstitutionBytes(signed char* bytes, int32_t capacity) const;
    /// @throws RangeErrorException for more than 7 bytes
    virtual void setSubstitutionBytes(const signed char* bytes, int32_t count);

    /// Writes U+FFFD for half a surrogate pair, or the substitution where the encoding lacks that;
    /// off at first, when half a pair throws unless the encoder says otherwise. What stands in the
    /// text by itself is then always written.
    void setReplaceHalves(bool replace) { m_replacesHalves = replace; }
    bool replacesHalves() const { return m_replacesHalves; }

    /// A new encoder for the encoding, with count 0; null asks for the default one.
    /// @throws UnknownEncodingException with the name; ResultException with result::TooManyFiles
    ///     and std::bad_alloc when that keeps the codec from being found
    static CharToByteConverter* getConverter(const char16_t* encodingName);
    /// A new encoder for the encoding of the user's locale, ASCII when it names none.
    /// @throws UnknownEncodingException with the name
    static CharToByteConverter* getDefaultConverter();

protected:
    /// The next character of a text, and how many of its units beyond the pending one it takes.
    struct Next {
        char32_t character;
        size_t units;
    };
    /// The character that @p unit is or completes. A high surrogate that none is pending in front
    /// of stands for itself. A pending one stays pending until it is cleared.
    /// @throws InvalidCharacterException when it does not complete one and halves are not replaced
    Next next(char16_t unit) const {
        if (m_replacesHalves && m_pending && !isLowSurrogate(unit))
            return {ReplacementCharacter, 0};
        if (m_pending)
            return {m_pending.join(unit), 1};
        return {m_replacesHalves && isLowSurrogate(unit) ? ReplacementCharacter : char32_t{unit},
                1};
    }
    /// What flush does about a pending surrogate when halves are replaced: writes U+FFFD. Else does
    /// nothing.
    int32_t flushPending(signed char* out, int32_t* outPosition, int32_t outCapacity);

    /// The first half of a pair that came at the end of the input of convert, for an encoder that
    /// takes it in.
    PendingSurrogate m_pending;

private:
    bool m_replacesHalves = false;
};

} // namespace qx::text::charset

using CQXCharToByteConverter = qx::text::charset::CharToByteConverter;
