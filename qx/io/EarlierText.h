#pragma once

#include <qx/text/charset/EncodingException.h>

namespace qx::io {

/// Marks the refusal of text that an earlier call has brought. The call in which it comes to light
/// has not got as far as its own text, which its caller therefore has to keep.
class EarlierText {
protected:
    ~EarlierText() = default;
};

/// A refusal with the mark.
template <class Refusal>
class OfEarlierText : public Refusal, public EarlierText {
public:
    explicit OfEarlierText(const Refusal& refusal) : Refusal(refusal) {}
};

/// Runs @p write, which writes text that earlier calls have brought. When it is refused as text
/// that the encoding does not have, calls @p drop and passes the refusal on with the mark. A
/// refusal that has the mark already is not about this text, but about some that is kept further
/// on.
template <class Write, class Drop>
void writeEarlierText(Write&& write, Drop&& drop) {
    try {
        write();
    } catch (const EarlierText&) {
        throw;
    } catch (const text::charset::InvalidCharacterException& refusal) {
        drop();
        throw OfEarlierText(refusal);
    } catch (const text::charset::UnmappableCharacterException& refusal) {
        drop();
        throw OfEarlierText(refusal);
    }
}

} // namespace qx::io
