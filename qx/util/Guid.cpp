#include "qx/util/Guid.h"

#include <memory>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/detail/Terminated.h>

namespace qx::util {

namespace {

constexpr int32_t TextLength = 38;

} // namespace

Guid::Guid(const String& text) {
    // The length is compared because the platform reads up to the first 0 unit only.
    if (text.getLength() != TextLength ||
        QXComGUIDFromString(qx::detail::Terminated(text).get(), &m_guid) < 0)
        throw withDetail(Exception(u"invalid GUID string"_qs), text);
}

String Guid::toString() const {
    char16_t text[TextLength + 1];
    throwIfFailed(QXComStringFromGUID(&m_guid, text, TextLength + 1));
    return String(text, TextLength);
}

Guid* Guid::Generate() {
    auto guid = std::make_unique<Guid>();
    throwIfFailed(QXComGenerateGUID(&guid->m_guid));
    return guid.release();
}

} // namespace qx::util
