#include "qx/util/PathNormalizer.h"

#include <string_view>

#include <qx/core/Exception.h>
#include <qx/core/detail/FindEither.h>
#include <qx/core/detail/UnitSearch.h>

namespace qx::util {

namespace {

using qx::detail::findEither;
using qx::detail::findUnit;

enum UnitClass : uint8_t { Dot, Separator, Other, Nul };

UnitClass classOf(char16_t unit) {
    switch (unit) {
    case u'.':
        return Dot;
    case u'/':
    case u'\\':
        return Separator;
    case 0:
        return Nul;
    default:
        return Other;
    }
}

constexpr std::u16string_view CurrentFolder = u"./";

} // namespace

enum PathNormalizer::STATE : uint8_t {
    Start = 0,
    InName = 1,
    AfterSeparator = 2,
    AfterSeparatorDot = 3,
    AfterSeparatorDotDot = 4,
    LeadingDot = 5,
    LeadingDotSeparator = 6,
    LeadingDotDot = 7,
    LeadingDotDotSeparator = 8,
    End = 9,
};

/// What follows a state, and what was read there but not written yet.
struct PathNormalizer::StateRow {
    STATE next[4]; // by UnitClass
    bool pendingSeparator;
    uint8_t pendingDots;
};

// clang-format off
constexpr PathNormalizer::StateRow PathNormalizer::s_states[] = {
    //                             "."                   separator               other   NUL   pending
    /* Start                  */ {{LeadingDot,           AfterSeparator,         InName, End}, false, 0},
    /* InName                 */ {{InName,               AfterSeparator,         InName, End}, false, 0},
    /* AfterSeparator         */ {{AfterSeparatorDot,    AfterSeparator,         InName, End}, true,  0},
    /* AfterSeparatorDot      */ {{AfterSeparatorDotDot, AfterSeparator,         InName, End}, true,  1},
    /* AfterSeparatorDotDot   */ {{InName,               AfterSeparator,         InName, End}, true,  2},
    /* LeadingDot             */ {{LeadingDotDot,        LeadingDotSeparator,    InName, End}, false, 1},
    /* LeadingDotSeparator    */ {{LeadingDot,           LeadingDotSeparator,    InName, End}, false, 0},
    /* LeadingDotDot          */ {{InName,               LeadingDotDotSeparator, InName, End}, false, 2},
    /* LeadingDotDotSeparator */ {{LeadingDot,           LeadingDotDotSeparator, InName, End}, false, 0},
};
// clang-format on

PathNormalizer::PathNormalizer(SLASH_TYPE type) : m_state(Start) { setSlashType(type); }

void PathNormalizer::setSlashType(SLASH_TYPE type) {
    switch (type) {
    case SLASH_DEFAULT:
    case SLASH_BACKWARD:
        m_separator = u'\\';
        return;
    case SLASH_FORWARD:
        m_separator = u'/';
        return;
    }
    throw Exception(u"Invalid slash type specified."_qs);
}

String PathNormalizer::normalize(const String& path) {
    std::u16string_view text = path.view();
    text = text.substr(0, findUnit(text, u'\0'));
    const char16_t* const units = text.data();
    const auto length = static_cast<int32_t>(text.size());
    m_output.clear();
    m_output.reserve(text.size());
    m_state = Start;
    for (m_position = 0; m_position < length; ++m_position) {
        nextState(units[m_position]);
        if (m_state != InName)
            continue;
        // What is left of the name leads nowhere else.
        const char16_t* const rest = units + m_position + 1;
        const int32_t count = findEither<u'/', u'\\'>(rest, length - m_position - 1);
        m_output.append(rest, static_cast<std::size_t>(count));
        m_position += count;
    }
    nextState(0);
    return String(m_output);
}

void PathNormalizer::nextState(char16_t unit) {
    m_unit = unit;
    transition(s_states[m_state].next[classOf(unit)]);
}

void PathNormalizer::transition(STATE next) {
    if (next == InName) {
        writePending();
        m_output += m_unit;
    } else if (m_state == AfterSeparatorDotDot && next == AfterSeparator) {
        cutBack(false);
        if (m_output.empty())
            next = Start;
    } else if (m_state == LeadingDotDot && next == LeadingDotDotSeparator) {
        writePending();
        m_output += m_separator;
    } else if (next == End) {
        finish();
    }
    m_state = next;
}

void PathNormalizer::writePending() {
    const StateRow& state = s_states[m_state];
    if (state.pendingSeparator)
        m_output += m_separator;
    for (int dots = state.pendingDots; dots > 0; --dots)
        m_output += u'.';
}

void PathNormalizer::finish() {
    switch (m_state) {
    case AfterSeparator:
    case AfterSeparatorDot:
        m_output += m_separator;
        break;
    case AfterSeparatorDotDot:
        cutBack(true);
        break;
    case LeadingDot:
        if (m_position == 1)
            m_output += u'.';
        else if (m_output.empty())
            m_output += CurrentFolder;
        break;
    case LeadingDotSeparator:
        m_output += CurrentFolder;
        break;
    case LeadingDotDot:
        writePending();
        break;
    default:
        break;
    }
}

/// Takes back the last segment, with the separator before it unless that is kept.
void PathNormalizer::cutBack(bool keepSeparator) {
    const std::size_t last = m_output.rfind(m_separator);
    m_output.resize(last == std::u16string::npos ? 0 : last + (keepSeparator ? 1 : 0));
}

} // namespace qx::util
