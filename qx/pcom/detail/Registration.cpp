#include "qx/pcom/detail/Registration.h"

#include <qx/core/Result.h>
#include <qx/core/detail/CheckedSize.h>
#include <qx/platform/registry.h>

namespace qx::pcom::detail {

void Registration::apply() const {
    std::vector<QXRegistryChange> changes;
    changes.reserve(m_changes.size());
    for (const auto& [path, value, isDeletion] : m_changes) {
        if (isDeletion) {
            changes.push_back(
                {QX_REG_DELETE_KEY, QX_REG_STRING, path.getData(), nullptr, nullptr, 0});
            continue;
        }
        const int64_t length = (int64_t{value.getLength()} + 1) * int64_t{sizeof(char16_t)};
        changes.push_back({QX_REG_SET_VALUE, QX_REG_STRING, path.getData(), u"", value.getData(),
                           qx::detail::checkedSize(length)});
    }
    throwIfFailed(QXRegistryApply(QX_HKEY_CLASSES_64, changes.data(),
                                  qx::detail::checkedSize(static_cast<int64_t>(changes.size()))));
}

} // namespace qx::pcom::detail
