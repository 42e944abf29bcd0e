#pragma once

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/IInheritableChannel.h>
#include <qx/io/InputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/io/pcom/IQXChannel.h>

namespace qx::io::detail {

/// A pair of streams as a channel, for callers of the class level and for components.
class IoStreamChannel : public qx::pcom::Implements<Object, IInheritableChannel, pcom::IQXChannel> {
public:
    /// @param name  the inheritable name; empty for none
    IoStreamChannel(InputStream* in, OutputStream* out, const String& name);

    int read(ByteBuffer& buffer) override;
    int write(ByteBuffer& buffer) override;
    String getInheritableName() override;

    int32_t Read(signed char* buffer, int32_t* length) override;
    int32_t Write(const signed char* buffer, int32_t* length) override;
    int32_t GetInheritableName(IQXCharBuffer* name) override;

private:
    const Reference<InputStream> m_in;
    const Reference<OutputStream> m_out;
    const String m_name;
};

} // namespace qx::io::detail
