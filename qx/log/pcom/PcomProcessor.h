#pragma once

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/log/ILogProcessor.h>
#include <qx/log/pcom/ILogProcessor.h>
#include <qx/platform/export.h>

namespace qx::log::pcom {

/// Hands entries on to a processor that is a component.
class QX_API PcomProcessor : public qx::pcom::Implements<Object, log::ILogProcessor> {
public:
    /// @param target  kept by a reference
    /// @throws ResultException with result::NullPointer for null
    static Reference<log::ILogProcessor> create(pcom::ILogProcessor* target);

    /// @throws ResultException with result::NoInterface for an entry that is no pcom::ILogEntry,
    ///     with the target's result when that is negative
    void process(const log::ILogEntry* entry) override;

private:
    explicit PcomProcessor(pcom::ILogProcessor* target);

    const Reference<pcom::ILogProcessor> m_target;
};

} // namespace qx::log::pcom
