#include "qx/log/Level.h"

#include <qx/core/String.h>

namespace qx::log {

namespace {

constexpr std::u16string_view Names[] = {u"TRACE",   u"DEBUG", u"INFO",
                                         u"WARNING", u"ERROR", u"FATAL"};

} // namespace

std::u16string_view Level::nameOf(int level) noexcept {
    return level >= Trace && level <= Fatal ? Names[level - Trace] : std::u16string_view();
}

std::optional<int> Level::find(const AnyText& name) {
    for (int level = Trace; level <= Fatal; ++level) {
        if (name.view().size() == nameOf(level).size() &&
            String(name.view()).equals(nameOf(level), true))
            return level;
    }
    return std::nullopt;
}

} // namespace qx::log
