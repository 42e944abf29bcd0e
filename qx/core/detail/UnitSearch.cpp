#include "qx/core/detail/UnitSearch.h"

#include <cstring>

namespace qx::detail {

namespace {

constexpr size_t Lanes = 8;
constexpr size_t Step = 2 * Lanes;

/// Eight units side by side; comparisons give all ones or zeros in each.
using Vector = uint16_t __attribute__((vector_size(Lanes * sizeof(char16_t))));
using Halves = uint64_t __attribute__((vector_size(Lanes * sizeof(char16_t))));

Vector load(const char16_t* units) {
    Vector vector;
    std::memcpy(&vector, units, sizeof(vector));
    return vector;
}

Vector splat(char16_t unit) { return Vector{} + static_cast<uint16_t>(unit); }

template <class Mask>
bool any(Mask mask) {
    const auto halves = reinterpret_cast<Halves>(mask);
    return (halves[0] | halves[1]) != 0;
}

/// Smallest i below @p count with @p matches(i), else count.
template <class Matches>
size_t firstOf(size_t count, Matches&& matches) {
    size_t i = 0;
    while (i < count && !matches(i))
        ++i;
    return i;
}

} // namespace

size_t mismatch(const char16_t* left, const char16_t* right, size_t count) noexcept {
    size_t i = 0;
    for (; i + Step <= count; i += Step) {
        const auto differs =
            (load(left + i) ^ load(right + i)) | (load(left + i + Lanes) ^ load(right + i + Lanes));
        if (any(differs))
            break;
    }
    return i + firstOf(count - i, [=](size_t k) { return left[i + k] != right[i + k]; });
}

size_t findUnit(std::u16string_view text, char16_t unit) noexcept {
    const Vector wanted = splat(unit);
    const char16_t* const units = text.data();
    size_t i = 0;
    for (; i + Step <= text.size(); i += Step) {
        if (any((load(units + i) == wanted) | (load(units + i + Lanes) == wanted)))
            break;
    }
    i += firstOf(text.size() - i, [=](size_t k) { return units[i + k] == unit; });
    return i < text.size() ? i : std::u16string_view::npos;
}

size_t findText(std::u16string_view text, std::u16string_view pattern) noexcept {
    if (pattern.size() > text.size())
        return std::u16string_view::npos;
    if (pattern.size() == 1)
        return findUnit(text, pattern[0]);
    const Vector first = splat(pattern.front());
    const Vector last = splat(pattern.back());
    const size_t distance = pattern.size() - 1;
    const size_t places = text.size() - distance;
    const char16_t* const units = text.data();
    const auto liesAt = [=](size_t place) {
        return units[place] == pattern.front() &&
               std::memcmp(units + place, pattern.data(), pattern.size() * sizeof(char16_t)) == 0;
    };
    size_t i = 0;
    for (; i + Step <= places; i += Step) {
        const auto candidates =
            ((load(units + i) == first) & (load(units + i + distance) == last)) |
            ((load(units + i + Lanes) == first) & (load(units + i + Lanes + distance) == last));
        if (!any(candidates))
            continue;
        const size_t found = firstOf(Step, [&](size_t k) { return liesAt(i + k); });
        if (found < Step)
            return i + found;
    }
    i += firstOf(places - i, [&](size_t k) { return liesAt(i + k); });
    return i < places ? i : std::u16string_view::npos;
}

} // namespace qx::detail
