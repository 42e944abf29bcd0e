#include "Channel.h"

#include <utility>

#include <qx/core/Result.h>
#include <qx/io/Channels.h>
#include <qx/io/InputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/util/buffer/CopyCharBuffer.h>

namespace qx::transport {

namespace {

class Input : public io::InputStream {
public:
    explicit Input(Reference<Connection> connection) : m_connection(std::move(connection)) {}

    using InputStream::read;
    int32_t read(signed char* to, int32_t length) override {
        return length < 1 ? 0 : m_connection->receive(to, length);
    }

private:
    const Reference<Connection> m_connection;
};

class Output : public io::OutputStream {
public:
    explicit Output(Reference<Connection> connection) : m_connection(std::move(connection)) {}

    using OutputStream::write;
    void write(const signed char* from, int32_t length) override {
        m_connection->send(from, length);
    }

private:
    const Reference<Connection> m_connection;
};

} // namespace

Channel::Channel(Reference<Connection> connection)
    : m_connection(std::move(connection)),
      m_bytes(io::Channels::adaptStreams(makeReference<Input>(m_connection).get(),
                                         makeReference<Output>(m_connection).get())) {
    throwIfFailed(m_bytes->QueryInterface(io::pcom::IQXChannel::Iid, m_component.putVoid()));
}

int Channel::read(io::ByteBuffer& buffer) { return m_bytes->read(buffer); }

int Channel::write(io::ByteBuffer& buffer) { return m_bytes->write(buffer); }

String Channel::getInheritableName() { return m_connection->inheritableName(); }

int32_t Channel::Read(signed char* buffer, int32_t* length) {
    return m_component->Read(buffer, length);
}

int32_t Channel::Write(const signed char* buffer, int32_t* length) {
    return m_component->Write(buffer, length);
}

int32_t Channel::GetInheritableName(IQXCharBuffer* name) {
    if (!name)
        return result::NullPointer;
    return resultOf([&] {
        const String text = getInheritableName();
        QXCopyCharBuffer(name, &text);
    });
}

} // namespace qx::transport
