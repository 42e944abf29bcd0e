#include "qx/platform/converter.h"

#include <cerrno>
#include <fcntl.h>
#include <iconv.h>

#include <qx/platform/result.h>

#include <qx/platform/posix/CLibraryCall.h>
#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/handle.h>

using namespace qx;

namespace {

constexpr auto Failed = static_cast<size_t>(-1);

iconv_t converterOf(QXHandle handle) noexcept { return reinterpret_cast<iconv_t>(handle); }

int32_t failure() noexcept {
    switch (errno) {
    case EINVAL:
        return result::EndOfFile;
    case E2BIG:
        return result::BufferTooSmall;
    default:
        return result::UnmappableCharacter;
    }
}

/// The system says that it has no converter also when it could not open its file.
int32_t whyNotAvailable() noexcept {
    const platform::Descriptor any = platform::Descriptor::open("/", O_RDONLY | O_DIRECTORY);
    return !any && (errno == EMFILE || errno == ENFILE) ? result::TooManyFiles
                                                        : result::NotAvailable;
}

} // namespace

int32_t QXConverterOpen(const char* to, const char* from, QXHandle* converter) {
    if (to == nullptr || from == nullptr || converter == nullptr)
        return result::NullPointer;
    *converter = platform::NoHandle;
    const iconv_t opened = platform::callCLibrary([&] { return ::iconv_open(to, from); });
    if (opened == reinterpret_cast<iconv_t>(-1))
        return errno == ENOMEM ? result::OutOfMemory : whyNotAvailable();
    *converter = reinterpret_cast<QXHandle>(opened);
    return result::Ok;
}

int32_t QXConverterClose(QXHandle converter) {
    if (converter == platform::NoHandle)
        return result::InvalidHandle;
    return platform::callCLibrary([&] { return ::iconv_close(converterOf(converter)); }) == 0
               ? result::Ok
               : platform::lastResult();
}

int32_t QXConverterRun(QXHandle converter, const void* in, int32_t inSize, void* out,
                       int32_t* outSize, int32_t isWhole) {
    if (in == nullptr || out == nullptr || outSize == nullptr)
        return result::NullPointer;
    if (converter == platform::NoHandle)
        return result::InvalidHandle;
    if (inSize < 0 || *outSize < 0)
        return result::InvalidArgument;
    auto* from = static_cast<char*>(const_cast<void*>(in)); // it is only read
    auto* to = static_cast<char*>(out);
    auto left = static_cast<size_t>(inSize);
    auto room = static_cast<size_t>(*outSize);
    const size_t capacity = room;
    *outSize = 0;
    const iconv_t opened = converterOf(converter);
    ::iconv(opened, nullptr, nullptr, nullptr, nullptr);
    if (::iconv(opened, &from, &left, &to, &room) == Failed)
        return failure();
    // What might combine with more is held back until the end.
    if (isWhole != 0 && ::iconv(opened, nullptr, nullptr, &to, &room) == Failed)
        return failure();
    *outSize = static_cast<int32_t>(capacity - room);
    return result::Ok;
}
