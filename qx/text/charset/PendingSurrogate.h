#pragma once

#include <utility>

#include <qx/platform/export.h>
#include <qx/text/charset/Surrogates.h>

namespace qx::text::charset {

/// The high surrogate that an encoder has read and not yet written.
class QX_API PendingSurrogate {
public:
    explicit operator bool() const { return m_high != 0; }
    void set(char16_t high) { m_high = high; }
    void clear() { m_high = 0; }

    /// The code point that @p unit completes; the surrogate stays pending until it is cleared.
    /// @throws InvalidCharacterException when @p unit is no low surrogate
    char32_t join(char16_t unit) const {
        if (!isLowSurrogate(unit))
            throwUnpaired();
        return joinSurrogates(m_high, unit);
    }

    /// Does the same as requireNone, but forgets the surrogate that it reports.
    void reportAndClear() {
        if (std::exchange(m_high, u'\0') != 0)
            throwUnpaired();
    }

    /// To be called at the end of the text.
    /// @throws InvalidCharacterException when a surrogate is still pending
    void requireNone() const {
        if (m_high != 0)
            throwUnpaired();
    }

    /// Reports a high surrogate that no low one follows.
    /// @throws InvalidCharacterException
    [[noreturn]] static void throwUnpaired();

private:
    char16_t m_high = 0;
};

} // namespace qx::text::charset
