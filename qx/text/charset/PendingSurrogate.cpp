#include "qx/text/charset/PendingSurrogate.h"

#include <qx/text/charset/EncodingException.h>

namespace qx::text::charset {

void PendingSurrogate::throwUnpaired() {
    throw InvalidCharacterException(u"leading surrogate without trailing"_qs);
}

} // namespace qx::text::charset
