#include "qx/log/detail/OwnProcessors.h"

#include <typeinfo>

#include <qx/core/ObjectBehind.h>
#include <qx/log/BasicLogWriter.h>
#include <qx/log/XmlLogWriter.h>

namespace qx::log::detail {

AbstractLogWriter* asOwnWriter(ILogProcessor* processor) {
    auto* const writer = qx::pcom::objectBehind<AbstractLogWriter>(processor);
    if (!writer || static_cast<ILogProcessor*>(writer) != processor)
        return nullptr;
    const std::type_info& type = typeid(*writer);
    return type == typeid(BasicLogWriter) || type == typeid(XmlLogWriter) ? writer : nullptr;
}

} // namespace qx::log::detail
