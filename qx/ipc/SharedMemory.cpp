#include "qx/ipc/SharedMemory.h"

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/sync/detail/Opened.h>

namespace qx::ipc {

namespace {

constexpr uint32_t ReadAndWrite = 0xC0000000;

} // namespace

SharedMemory::SharedMemory(const char* name, unsigned int size, unsigned int flags,
                           unsigned int permissions) {
    const auto require = [=](int32_t code, const char16_t* description) {
        if (code == result::InvalidArgument)
            throw withDetail(ResultException(code, description), sync::detail::shownName(name) +
                                                                     u", " + String::valueOf(size) +
                                                                     u" bytes");
        if (code < 0)
            throw withDetail(ResultException(code, description), sync::detail::shownName(name));
    };
    require(QXSharedMemOpen(name, flags, permissions, size, m_handle.put()),
            u"Failed to open shared memory.");
    require(QXSharedMemAttach(m_handle.get(), ReadAndWrite, &m_address),
            u"Failed to attach shared memory");
}

SharedMemory::~SharedMemory() {
    if (m_address != nullptr)
        QXSharedMemDetach(m_address);
}

} // namespace qx::ipc
