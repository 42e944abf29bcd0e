#pragma once

#include <qx/collections/IComparator.h>
#include <qx/core/Reference.h>
#include <qx/platform/export.h>

namespace qx::collections {

/// The comparator of collections that are given none: the one qx::util::Comparator of the process,
/// made on the first call. Safe from any thread.
QX_API Reference<IQXComparator> GetDefaultComparator();

/// Drops the library's own reference when it is unloaded; collections that are still alive keep
/// theirs.
QX_API void releaseDefaultComparator() noexcept;

} // namespace qx::collections

/// Legacy access to what collections share.
class QX_API CQXCollections {
public:
    CQXCollections() = delete;

    /// The same comparator as qx::collections::GetDefaultComparator.
    static CQXSmartPtr<IQXComparator> getDefaultComparator();
};
