#include "qx/io/detail/Utf8Turn.h"

#include <qx/core/CastTo.h>
#include <qx/io/detail/ExactClass.h>

namespace qx::io::detail {

Utf8Writers Utf8Writers::behind(Writer& writer) noexcept {
    Utf8Writers writers;
    writers.held = exactly<HeldFlushWriter>(writer);
    writers.out = exactly<OutputStreamWriter>(writers.held ? writers.held->wrapped() : writer);
    return writers.out && writers.out->m_utf8 ? writers : Utf8Writers();
}

void Utf8Writers::replaceHalves(Writer& writer) {
    auto* const held = castTo<HeldFlushWriter>(&writer);
    auto* const out = castTo<OutputStreamWriter>(held ? &held->wrapped() : &writer);
    if (out && out->m_converter) // is not closed
        out->setReplaceHalves(true);
}

} // namespace qx::io::detail
