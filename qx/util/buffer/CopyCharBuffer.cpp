#include "qx/util/buffer/CopyCharBuffer.h"

#include <algorithm>

#include <qx/core/Required.h>
#include <qx/util/buffer/detail/BufferHold.h>

int32_t QXCopyCharBuffer(IQXCharBuffer* destination, const IQXCharBuffer* source) {
    const int32_t length = qx::required(source)->GetLength();
    qx::util::detail::WriteHold target(*qx::required(destination), length);
    qx::util::detail::ReadHold text(*source);
    // Another thread may have shortened the source before it was locked.
    const int32_t copied = std::min(length, source->GetLength());
    std::copy_n(text.units(), copied, target.units());
    text.finish();
    return target.finish(copied);
}
