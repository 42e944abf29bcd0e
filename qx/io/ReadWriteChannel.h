#pragma once

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/io/IReadChannel.h>
#include <qx/io/IWriteChannel.h>
#include <qx/io/pcom/IQXChannel.h>
#include <qx/platform/export.h>

namespace qx::io {

/// A reader and a writer joined into one channel, for callers of the class level and for
/// components. A base class: the derived one says which inheritable name there is.
class QX_API ReadWriteChannel
    : public qx::pcom::Implements<Object, IReadChannel, IWriteChannel, pcom::IQXChannel> {
public:
    /// Keeps both by references.
    /// @throws ResultException with result::NullPointer for null
    ReadWriteChannel(IReadChannel* reader, IWriteChannel* writer);

    int read(ByteBuffer& buffer) override;
    int write(ByteBuffer& buffer) override;

    int32_t Read(signed char* buffer, int32_t* length) override;
    int32_t Write(const signed char* buffer, int32_t* length) override;

private:
    const Reference<IReadChannel> m_reader;
    const Reference<IWriteChannel> m_writer;
};

} // namespace qx::io
