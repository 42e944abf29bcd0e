#pragma once

#include <qx/log/AbstractLogWriter.h>
#include <qx/log/AsyncProcessor.h>
#include <qx/log/ILogProcessor.h>

// A processor as an object of this library whose operations nobody has overridden; null for any
// other, one that passes its queries on to such an object among them. Takes no reference.

namespace qx::log::detail {

AbstractLogWriter* asOwnWriter(ILogProcessor* processor);
AsyncProcessor* asQueue(ILogProcessor* processor);

} // namespace qx::log::detail
