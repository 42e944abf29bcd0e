#include "qx/io/detail/PcomChannel.h"

#include <qx/core/String.h>
#include <qx/io/detail/ChannelSteps.h>

namespace qx::io::detail {

PcomChannel::PcomChannel(pcom::IQXChannel* channel) : m_channel(required(channel)) {}

int PcomChannel::read(ByteBuffer& buffer) {
    return readRemaining(buffer, [this](signed char* to, int32_t length) {
        const qx::detail::CauseText cause;
        cause.check(m_channel->Read(to, &length));
        return length;
    });
}

int PcomChannel::write(ByteBuffer& buffer) {
    return writeRemaining(buffer, [this](const signed char* from, int32_t length) {
        const qx::detail::CauseText cause;
        cause.check(m_channel->Write(from, &length));
        return length;
    });
}

String PcomChannel::getInheritableName() {
    String name;
    throwIfFailed(m_channel->GetInheritableName(&name));
    return name;
}

} // namespace qx::io::detail
