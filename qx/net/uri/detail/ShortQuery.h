#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include <qx/core/String.h>
#include <qx/core/detail/UnitSearch.h>

namespace qx::net::detail {

/// Calls @p put (key, value) for each piece of a query text, of which the empty one has none. A
/// piece without "=" is both.
template <class Put>
void forEachPiece(std::u16string_view text, Put&& put) {
    for (bool isLast = text.empty(); !isLast;) {
        const size_t end = qx::detail::findUnit(text, u'&');
        const std::u16string_view piece = text.substr(0, end);
        const size_t equals = qx::detail::findUnit(piece, u'=');
        put(piece.substr(0, equals), equals == piece.npos ? piece : piece.substr(equals + 1));
        isLast = end == text.npos;
        if (!isLast)
            text.remove_prefix(end + 1);
    }
}

/// The pairs of a short query text straight from the text: what the table of QueryPairs would hold
/// if it were filled with them, in the order in which it would be walked.
///
/// Short is a text in ASCII of fewer than ManyPieces pieces, as nearly every query is. Each
/// operation takes time linear in the text, comparisons of at most so many keys included.
class ShortQuery {
public:
    static constexpr size_t ManyPieces = 16;

    static bool hasFewPieces(std::u16string_view text) noexcept;
    static bool isShort(std::u16string_view text) noexcept;
    static bool isAscii(std::u16string_view text) noexcept;

    /// @param text  is short
    explicit ShortQuery(std::u16string_view text) noexcept : m_text(text) {}

    /// The value of @p key, which is ASCII; nothing when there is none.
    std::optional<std::u16string_view> find(std::u16string_view key) const noexcept;

    /// Calls @p visit (key, value) for each pair.
    template <class Visit>
    void forEach(Visit&& visit) const {
        Pair pairs[ManyPieces];
        const size_t count = collect(pairs);
        for (size_t i = 0; i < count; ++i)
            visit(pairs[i].key, pairs[i].value);
    }

private:
    struct Pair {
        std::u16string_view key;
        std::u16string_view value;
        uint32_t bucket;
    };
    size_t collect(Pair (&pairs)[ManyPieces]) const noexcept;

    std::u16string_view m_text;
};

} // namespace qx::net::detail
