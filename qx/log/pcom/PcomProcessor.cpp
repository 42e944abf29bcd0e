#include <qx/log/pcom/PcomProcessor.h>

#include <qx/core/Required.h>
#include <qx/core/Result.h>
#include <qx/log/ILogEntry.h>
#include <qx/log/pcom/ILogEntry.h>
#include <qx/util/detail/ComponentText.h>

namespace qx::log::pcom {

Reference<log::ILogProcessor> PcomProcessor::create(pcom::ILogProcessor* target) {
    return Reference<PcomProcessor>(new PcomProcessor(target));
}

PcomProcessor::PcomProcessor(pcom::ILogProcessor* target) : m_target(required(target)) {}

void PcomProcessor::process(const log::ILogEntry* entry) {
    // Components know no constant objects.
    auto* const object = const_cast<log::ILogEntry*>(required(entry));
    Reference<ILogEntry> component;
    if (util::detail::takeInterface(component, [object](const GUID& iid, void** out) {
            return object->QueryInterface(iid, out);
        }) < 0)
        throwResult(result::NoInterface);
    throwIfFailed(m_target->Process(component));
}

} // namespace qx::log::pcom
