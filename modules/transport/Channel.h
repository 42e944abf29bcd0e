#pragma once

#include <cstdint>

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/io/IInheritableChannel.h>
#include <qx/io/pcom/IQXChannel.h>

#include "Connection.h"

namespace qx::transport {

/// A connection as a channel, which ends with it. One thread may read while another one writes.
class Channel : public pcom::Implements<Object, io::IInheritableChannel, io::pcom::IQXChannel> {
public:
    explicit Channel(Reference<Connection> connection);

    int read(io::ByteBuffer& buffer) override;
    int write(io::ByteBuffer& buffer) override;

    String getInheritableName() override;

    int32_t Read(signed char* buffer, int32_t* length) override;
    int32_t Write(const signed char* buffer, int32_t* length) override;
    int32_t GetInheritableName(IQXCharBuffer* name) override;

private:
    const Reference<Connection> m_connection;
    /// The connection's two directions, which move the bytes; and what they are as a component.
    const Reference<io::IChannel> m_bytes;
    Reference<io::pcom::IQXChannel> m_component;
};

} // namespace qx::transport
