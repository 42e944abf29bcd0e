#include "qx/io/detail/Utf8Turn.h"

#include <qx/io/detail/ExactClass.h>

namespace qx::io::detail {

Utf8Writers Utf8Writers::behind(Writer& writer) noexcept {
    Utf8Writers writers;
    writers.held = exactly<HeldFlushWriter>(writer);
    writers.out = exactly<OutputStreamWriter>(writers.held ? writers.held->wrapped() : writer);
    return writers.out && writers.out->m_utf8 ? writers : Utf8Writers();
}

} // namespace qx::io::detail
