#include "qx/io/ReadWriteChannel.h"

#include <qx/io/detail/ChannelSteps.h>

namespace qx::io {

ReadWriteChannel::ReadWriteChannel(IReadChannel* reader, IWriteChannel* writer)
    : m_reader(required(reader)), m_writer(required(writer)) {}

int ReadWriteChannel::read(ByteBuffer& buffer) { return m_reader->read(buffer); }

int ReadWriteChannel::write(ByteBuffer& buffer) { return m_writer->write(buffer); }

int32_t ReadWriteChannel::Read(signed char* buffer, int32_t* length) {
    return detail::readThrough(*this, buffer, length);
}

int32_t ReadWriteChannel::Write(const signed char* buffer, int32_t* length) {
    return detail::writeThrough(*this, buffer, length);
}

} // namespace qx::io
