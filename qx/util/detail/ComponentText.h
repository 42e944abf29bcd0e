#pragma once

#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/core/detail/TakeInterface.h>
#include <qx/util/buffer/CopyCharBuffer.h>

// Texts that cross a component interface, and what one does not offer.

namespace qx::util::detail {

/// Makes the text that @p body returns that of a buffer of the caller.
template <class Body>
int32_t writeText(IQXCharBuffer* to, Body&& body) {
    if (!to)
        return result::NullPointer;
    return resultOf([&] {
        const String text = body();
        QXCopyCharBuffer(to, &text);
    });
}

/// Answers a call for an interface that is not offered.
template <class T>
int32_t notOffered(T* out) {
    if (out)
        *out = T();
    return result::NotImplemented;
}

/// A copy of the text of a component.
/// @throws ResultException with result::NoInterface when it is null or has no text
inline String textOf(IQXUnknown* component) {
    if (!component)
        throwResult(result::NoInterface);
    Reference<IQXCharBuffer> buffer;
    throwIfFailed(qx::detail::takeInterface(buffer, [component](const GUID& iid, void** out) {
        return component->QueryInterface(iid, out);
    }));
    String text;
    QXCopyCharBuffer(&text, buffer);
    return text;
}

} // namespace qx::util::detail
