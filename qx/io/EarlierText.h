#pragma once

namespace qx::io {

/// What marks the refusal of text that an earlier call has brought: the call that meets it has not
/// come to its own text, which whoever is in front keeps therefore.
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

} // namespace qx::io
