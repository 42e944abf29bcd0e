#pragma once

#include <cstdint>
#include <span>

#include <qx/core/Exception.h>
#include <qx/core/Object.h>
#include <qx/core/Required.h>

namespace qx::text::charset {

/// What a converter tells about its encoding.
struct EncodingTraits {
    /// Canonical name, 0-terminated; not copied.
    const char16_t* name = u"";
    /// Factors by which callers size their buffers.
    int32_t maxBytesPerChar = 1;
    int32_t maxCharsPerByte = 1;
};

/// What both directions of conversion have in common: text of @p In units becomes text of @p Out
/// units, piece by piece, in buffers that the caller owns.
///
/// A converter is used by one thread at a time. Positions, lengths and capacities count units of
/// their own buffer. Nothing is allocated while converting.
template <class In, class Out, int32_t MaxSubstitution>
class QX_API Converter : public Object {
public:
    /// Converts from @p *inPosition up to @p inLength into @p out from @p *outPosition up to
    /// @p outCapacity, and moves both positions behind what was done. Stops at the end of the
    /// input, before a sequence that the input cuts off, and before a character that the output
    /// has no room for; the next call goes on from there. What lies behind the units written, up
    /// to @p outCapacity, may be overwritten.
    /// @return count of units written by this call
    /// @throws InvalidCharacterException, UnmappableCharacterException; the positions, and what is
    ///     held between calls, then stay as they were, and what was written before the fault stays
    ///     in the output
    virtual int32_t convert(const In* in, int32_t* inPosition, int32_t inLength, Out* out,
                            int32_t* outPosition, int32_t outCapacity) = 0;
    /// Writes what the converter still holds, at the end of the text. A converter that holds
    /// nothing between calls leaves this and reset as they are.
    /// @return count of units written
    /// @throws InvalidCharacterException when the text ended within a character
    virtual int32_t flush(Out* /*out*/, int32_t* /*outPosition*/, int32_t /*outCapacity*/) {
        return 0;
    }
    /// Forgets a character that was begun.
    virtual void reset() {}
    /// Canonical name, 0-terminated, valid as long as the converter.
    virtual const char16_t* getEncodingName() const { return m_traits.name; }
    /// Factors by which callers size their buffers.
    virtual int32_t getMaxBytesPerChar() const { return m_traits.maxBytesPerChar; }
    virtual int32_t getMaxCharsPerByte() const { return m_traits.maxCharsPerByte; }
    /// True (the default): what has no mapping is written as the substitution. False: it throws.
    virtual bool getSubstitutionMode() const { return m_substitutionMode; }
    virtual void setSubstitutionMode(bool mode) { m_substitutionMode = mode; }

protected:
    Converter(const EncodingTraits& traits, Out substitution)
        : m_substitution{substitution}, m_traits(traits) {}

    std::span<const Out> substitution() const {
        return {m_substitution, static_cast<size_t>(m_substitutionLength)};
    }

    /// Copies up to @p capacity units of the substitution; with null only counts them.
    int32_t copySubstitution(Out* units, int32_t capacity) const {
        if (!units)
            return m_substitutionLength;
        int32_t count = 0;
        for (; count < m_substitutionLength && count < capacity; ++count)
            units[count] = m_substitution[count];
        return count;
    }

    void assignSubstitution(const Out* units, int32_t count) {
        if (count < 0 || count > MaxSubstitution || (count > 0 && !units))
            throwOutOfRange(count, MaxSubstitution);
        for (m_substitutionLength = 0; m_substitutionLength < count; ++m_substitutionLength)
            m_substitution[m_substitutionLength] = units[m_substitutionLength];
    }

private:
    bool m_substitutionMode = true;
    Out m_substitution[MaxSubstitution];
    int32_t m_substitutionLength = 1;
    EncodingTraits m_traits;
};

} // namespace qx::text::charset
