#include "qx/log/detail/OwnProcessors.h"

#include <typeinfo>

#include <qx/core/ObjectBehind.h>
#include <qx/log/BasicLogWriter.h>
#include <qx/log/XmlLogWriter.h>

namespace qx::log::detail {

namespace {

template <class Class>
Class* behind(ILogProcessor* processor) {
    auto* const object = qx::pcom::objectBehind<Class>(processor);
    return object && static_cast<ILogProcessor*>(object) == processor ? object : nullptr;
}

} // namespace

AbstractLogWriter* asOwnWriter(ILogProcessor* processor) {
    auto* const writer = behind<AbstractLogWriter>(processor);
    if (!writer)
        return nullptr;
    const std::type_info& type = typeid(*writer);
    return type == typeid(BasicLogWriter) || type == typeid(XmlLogWriter) ? writer : nullptr;
}

AsyncProcessor* asQueue(ILogProcessor* processor) {
    return behind<AsyncProcessor>(processor); // has no public constructor
}

} // namespace qx::log::detail
