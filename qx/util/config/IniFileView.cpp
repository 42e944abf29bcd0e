#include "qx/util/config/IniFileView.h"

#include <qx/core/Result.h>
#include <qx/core/detail/ErrorText.h>
#include <qx/util/SystemName.h>
#include <qx/util/config/detail/IniSets.h>

namespace qx::util {

std::optional<std::u16string_view> IniFileView::find(TextView set, TextView key) const& {
    const detail::IniKey* const found = m_sets->findKey(set, key);
    return found ? std::optional(found->value) : std::nullopt;
}

bool IniFileView::hasSet(TextView set) const { return m_sets->findSet(set) != nullptr; }

std::vector<std::u16string_view> IniFileView::sets() const& {
    return detail::namesOf<std::u16string_view>(m_sets->sets());
}

std::vector<std::u16string_view> IniFileView::keys(TextView set) const& {
    const detail::IniSet* const found = m_sets->findSet(set);
    return found ? detail::namesOf<std::u16string_view>(found->keys.entries())
                 : std::vector<std::u16string_view>();
}

IniFileReport IniFileView::report() const {
    if (m_readResult < 0 && m_sets->lineNotUnderstood() == 0)
        return {0, qx::detail::errorText(m_readResult)};
    return {m_sets->lineNotUnderstood(), String(m_sets->whyNotUnderstood())};
}

void IniFileView::requireRead() const {
    throwIfFailedOf(m_readResult, [this] { return fromSystemName(m_path->c_str()); });
}

} // namespace qx::util
