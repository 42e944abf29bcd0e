#pragma once

#include <qx/log/AbstractLogWriter.h>
#include <qx/log/ILogProcessor.h>

namespace qx::log::detail {

/// @p processor as a writer of this library, whose operations nobody has overridden; null for any
/// other processor, one that passes its queries on to such a writer among them. Takes no reference.
AbstractLogWriter* asOwnWriter(ILogProcessor* processor);

} // namespace qx::log::detail
