#include <qx/util/CopyCharBuffer.h>

#include <algorithm>

#include <qx/core/Result.h>
#include <qx/util/detail/WriteHold.h>

int32_t QXCopyCharBuffer(IQXCharBuffer* destination, const IQXCharBuffer* source) {
    const int32_t length = source->GetLength();
    qx::util::detail::WriteHold hold(*destination, length);
    const char16_t* units = nullptr;
    qx::throwIfFailed(source->GetReadLock(&units));
    std::copy_n(units, length, hold.units());
    qx::throwIfFailed(source->ReleaseReadLock());
    return hold.finish(length);
}
