#include <qx/log/pcom/PcomProcessor.h>

#include <qx/core/Result.h>
#include <qx/log/ILogEntry.h>
#include <qx/log/pcom/ILogEntry.h>

namespace qx::log::pcom {

Reference<log::ILogProcessor> PcomProcessor::create(pcom::ILogProcessor* target) {
    return Reference<PcomProcessor>(new PcomProcessor(target));
}

PcomProcessor::PcomProcessor(pcom::ILogProcessor* target) : m_target(target) {
    if (target == nullptr)
        throwResult(result::NullPointer);
}

void PcomProcessor::process(const log::ILogEntry* entry) {
    // Components know no constant objects.
    auto* const object = const_cast<log::ILogEntry*>(entry);
    Reference<ILogEntry> component;
    if (object->QueryInterface(ILogEntry::Iid, component.putVoid()) < 0 || !component)
        throwResult(result::NoInterface);
    throwIfFailed(m_target->Process(component));
}

} // namespace qx::log::pcom
