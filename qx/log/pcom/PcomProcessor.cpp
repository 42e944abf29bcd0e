#include "qx/log/pcom/PcomProcessor.h"

#include <qx/core/Required.h>
#include <qx/core/Result.h>
#include <qx/core/detail/TakeInterface.h>
#include <qx/log/ILogEntry.h>
#include <qx/log/pcom/ILogEntry.h>

namespace qx::log::pcom {

Reference<log::ILogProcessor> PcomProcessor::create(pcom::ILogProcessor* target) {
    return Reference<PcomProcessor>(new PcomProcessor(target));
}

PcomProcessor::PcomProcessor(pcom::ILogProcessor* target) : m_target(required(target)) {}

void PcomProcessor::process(const log::ILogEntry* entry) {
    // Components know no constant objects.
    auto* const object = const_cast<log::ILogEntry*>(required(entry));
    const auto component = qx::detail::interfaceOf<ILogEntry>(*object);
    if (!component)
        throwResult(result::NoInterface);
    throwIfFailed(m_target->Process(component));
}

} // namespace qx::log::pcom
