#include "qx/io/detail/IoStreamChannel.h"

#include <qx/io/detail/ChannelSteps.h>
#include <qx/util/detail/ComponentText.h>

namespace qx::io::detail {

IoStreamChannel::IoStreamChannel(InputStream* in, OutputStream* out, const String& name)
    : m_in(required(in)), m_out(required(out)), m_name(name, String::AM_COPY) {}

int IoStreamChannel::read(ByteBuffer& buffer) {
    return readRemaining(
        buffer, [this](signed char* to, int32_t length) { return m_in->read(to, length); });
}

int IoStreamChannel::write(ByteBuffer& buffer) {
    return writeRemaining(buffer, [this](const signed char* from, int32_t length) {
        m_out->write(from, length);
        return length;
    });
}

String IoStreamChannel::getInheritableName() {
    if (m_name.isEmpty())
        throwResult(result::NotAvailable);
    return m_name;
}

int32_t IoStreamChannel::Read(signed char* buffer, int32_t* length) {
    return readThrough(*this, buffer, length);
}

int32_t IoStreamChannel::Write(const signed char* buffer, int32_t* length) {
    return writeThrough(*this, buffer, length);
}

int32_t IoStreamChannel::GetInheritableName(IQXCharBuffer* name) {
    return util::detail::writeText(name, [this] { return getInheritableName(); });
}

} // namespace qx::io::detail
