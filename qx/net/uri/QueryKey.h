#pragma once

#include <cstdint>

#include <qx/core/String.h>
#include <qx/platform/export.h>

namespace qx::net {

/// The key of a query pair of a URI: a text that compares, and hashes, without regard to letter
/// case. The text must not be changed once the key has been compared or hashed.
class QX_API QueryKey : public String {
public:
    explicit QueryKey(const String& text) : String(text) {}
    explicit QueryKey(std::u16string_view text) : String(text) {}

    [[nodiscard]] QueryKey* clone() const override;
    /// Order of the lower-case texts; @p other may be any String.
    /// @throws CastFailedException when @p other is no string
    int compareTo(const Object& other) const override;
    bool equals(const Object& other) const override;
    uint32_t hashCode() const override;

    /// The text in lower case, made on first use.
    const String& getLowerCase() const;

private:
    mutable String m_lowerCase;
};

} // namespace qx::net
