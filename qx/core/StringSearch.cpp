// Comparison and search of String.

#include "qx/core/String.h"

#include <algorithm>

#include <qx/core/detail/UnitSearch.h>
#include <qx/platform/text.h>

namespace qx {

namespace {

using detail::lengthOf;
using detail::limited;
using detail::sizeOf;

int sign(int value) { return (value > 0) - (value < 0); }

/// -1, 0 or 1 for two runs of @p count units.
int compareUnits(const char16_t* left, const char16_t* right, size_t count) {
    const size_t at = detail::mismatch(left, right, count);
    return at == count ? 0 : left[at] < right[at] ? -1 : 1;
}

/// Equality of units, in lower case when case is ignored.
struct SameUnit {
    bool ignoreCase;
    bool operator()(char16_t left, char16_t right) const {
        return left == right || (ignoreCase && QXToLowerW(left) == QXToLowerW(right));
    }
};

bool matches(const char16_t* left, std::u16string_view right, bool ignoreCase) {
    return ignoreCase ? QXTextNICmpW(left, right.data(), static_cast<int32_t>(right.size())) == 0
                      : compareUnits(left, right.data(), right.size()) == 0;
}

/// Whether units belong to a set, in lower case when case is ignored.
class Membership {
public:
    Membership(std::u16string_view set, bool ignoreCase)
        : m_lowered(ignoreCase ? set : std::u16string_view()), m_ignoreCase(ignoreCase),
          m_set(ignoreCase ? lowered() : set) {}
    Membership(const Membership&) = delete;
    Membership& operator=(const Membership&) = delete;

    bool has(char16_t unit) const { return m_set.has(m_ignoreCase ? QXToLowerW(unit) : unit); }

private:
    std::u16string_view lowered() {
        QXTextToLowerW(m_lowered.data(), lengthOf(m_lowered));
        return m_lowered;
    }

    std::u16string m_lowered;
    bool m_ignoreCase;
    detail::UnitSet m_set;
};

/// First place from @p start (-1: the end) on whose unit is in the set, or not in it, or -1.
int32_t firstPlace(std::u16string_view text, int32_t start, const Membership& set, bool member) {
    for (size_t i = sizeOf(limited(start, lengthOf(text))); i < text.size(); ++i) {
        if (set.has(text[i]) == member)
            return static_cast<int32_t>(i);
    }
    return -1;
}

/// Last such place up to @p start (-1: the end), or -1.
int32_t lastPlace(std::u16string_view text, int32_t start, const Membership& set, bool member) {
    int32_t i = limited(start, lengthOf(text) - 1);
    while (i >= 0 && set.has(text[sizeOf(i)]) != member)
        --i;
    return i;
}

} // namespace

int String::regionCompare(int32_t start, int32_t count, TextView other, int32_t otherStart,
                          bool ignoreCase) const {
    const int32_t length = getLength();
    const int32_t from = limited(start, length);
    const int32_t mine = limited(count, length - from);
    const TextView theirs = offsetIn(other, otherStart);
    const int32_t common = std::min(mine, lengthOf(theirs));
    const char16_t* const units = getData() + from;
    const int order = ignoreCase ? sign(QXTextNICmpW(units, theirs.data(), common))
                                 : compareUnits(units, theirs.data(), sizeOf(common));
    return order != 0 ? order : mine - lengthOf(theirs);
}

bool String::regionMatches(int32_t start, int32_t count, TextView other, int32_t otherStart,
                           bool ignoreCase) const {
    const int32_t length = getLength();
    const int32_t from = limited(start, length);
    const int32_t mine = limited(count, length - from);
    const TextView theirs = offsetIn(other, otherStart);
    return sizeOf(mine) == theirs.size() && matches(getData() + from, theirs, ignoreCase);
}

bool String::startsWith(TextView text, bool ignoreCase) const {
    return text.size() <= view().size() && matches(getData(), text, ignoreCase);
}

bool String::endsWith(TextView text, bool ignoreCase) const {
    return text.size() <= view().size() &&
           matches(getData() + (view().size() - text.size()), text, ignoreCase);
}

int32_t String::indexOf(TextView text, int32_t start, bool ignoreCase) const {
    const auto own = view();
    const size_t from = sizeOf(limited(start, lengthOf(own)));
    if (text.empty() || text.size() > own.size() || from > own.size() - text.size())
        return -1;
    if (!ignoreCase) {
        const size_t found = detail::findText(own.substr(from), text);
        return found == own.npos ? -1 : static_cast<int32_t>(from + found);
    }
    const char16_t first = QXToLowerW(text[0]);
    for (size_t i = from; i <= own.size() - text.size(); ++i) {
        if (QXToLowerW(own[i]) == first && matches(own.data() + i, text, true))
            return static_cast<int32_t>(i);
    }
    return -1;
}

int32_t String::indexOf(char16_t unit, int32_t start, bool ignoreCase) const {
    return indexOf(TextView(&unit, 1), start, ignoreCase);
}

int32_t String::lastIndexOf(TextView text, int32_t start, bool ignoreCase) const {
    const int32_t length = getLength();
    if (text.empty() || text.size() > sizeOf(length))
        return -1;
    const SameUnit same{ignoreCase};
    int32_t i = limited(start, length - 1) - lengthOf(text) + 1;
    while (i >= 0 && !(same(getCharAt(i), text[0]) && matches(getData() + i, text, ignoreCase)))
        --i;
    return std::max(i, -1);
}

int32_t String::lastIndexOf(char16_t unit, int32_t start, bool ignoreCase) const {
    return lastIndexOf(TextView(&unit, 1), start, ignoreCase);
}

int32_t String::findFirstOf(TextView set, int32_t start, bool ignoreCase) const {
    return firstPlace(view(), start, Membership(set, ignoreCase), true);
}

int32_t String::findFirstNotOf(TextView set, int32_t start, bool ignoreCase) const {
    return firstPlace(view(), start, Membership(set, ignoreCase), false);
}

int32_t String::findLastOf(TextView set, int32_t start, bool ignoreCase) const {
    return lastPlace(view(), start, Membership(set, ignoreCase), true);
}

int32_t String::findLastNotOf(TextView set, int32_t start, bool ignoreCase) const {
    return lastPlace(view(), start, Membership(set, ignoreCase), false);
}

} // namespace qx
