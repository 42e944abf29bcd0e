#include "qx/collections/DefaultComparator.h"

#include <qx/collections/Comparator.h>
#include <qx/core/runtime/Singleton.h>

namespace qx::collections {

namespace {

struct DefaultComparator {
    const Reference<IQXComparator> reference{new util::Comparator()};
};

// Not a static of the function: that one would die before the static collections of programs.
using Instance = util::Singleton<DefaultComparator, &g_pGlobalLock>;

} // namespace

Reference<IQXComparator> GetDefaultComparator() { return Instance::getInstance()->reference; }

void releaseDefaultComparator() noexcept { Instance::freeInstance(); }

} // namespace qx::collections

CQXSmartPtr<IQXComparator> CQXCollections::getDefaultComparator() {
    return qx::collections::GetDefaultComparator();
}
