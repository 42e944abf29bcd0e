#pragma once

#include <qx/collections/pcom/Collection.h>

namespace qx::collections::pcom {

/// A collection without two equal elements; add returns false for one that it has.
class QX_API Set : public virtual Collection {
protected:
    ~Set() = default;
};

} // namespace qx::collections::pcom

using CQXSet = qx::collections::pcom::Set;
