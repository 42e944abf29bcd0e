#include "qx/core/FormatArgument.h"

#include <qx/core/Exception.h>
#include <qx/core/String.h>

namespace qx {

String FormatArgument::objectText() const {
    return m_reference.data ? m_reference.textOf(m_reference.data) : u"null"_qs;
}

} // namespace qx
