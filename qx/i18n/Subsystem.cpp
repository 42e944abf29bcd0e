#include "qx/core/detail/Subsystem.h"

#include <qx/i18n/Locale.h>
#include <qx/i18n/StringBundle.h>
#include <qx/i18n/StringMapBundle.h>

namespace qx::i18n {

namespace {

// clang-format off
constexpr ClassRow Classes[] = {
    known<Locale>(u"CQXLocale"),
    known<StringBundle>(u"CQXResourceBundle"),
    known<StringMapBundle>(u"qx::i18n::StringMapBundle"),
};
// clang-format on

} // namespace

constinit const Subsystem subsystem{.classes = Classes};

} // namespace qx::i18n
