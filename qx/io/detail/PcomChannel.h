#pragma once

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/io/IInheritableChannel.h>
#include <qx/io/pcom/IQXChannel.h>

namespace qx::io::detail {

/// A component channel for callers of the class level.
class PcomChannel : public qx::pcom::Implements<Object, IInheritableChannel> {
public:
    explicit PcomChannel(pcom::IQXChannel* channel);

    int read(ByteBuffer& buffer) override;
    int write(ByteBuffer& buffer) override;
    String getInheritableName() override;

private:
    const Reference<pcom::IQXChannel> m_channel;
};

} // namespace qx::io::detail
