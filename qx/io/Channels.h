#pragma once

#include <qx/core/Reference.h>
#include <qx/io/IInheritableChannel.h>
#include <qx/io/pcom/IQXChannel.h>
#include <qx/platform/export.h>

namespace qx::io {

class InputStream;
class OutputStream;

/// Makes channels of what moves bytes. Each call gives a new channel, owned by the reference alone,
/// that keeps what it adapts by references.
///
/// Failures of streams pass through; a negative result of a component becomes a ResultException,
/// and one that claims to have moved more than it was offered an IoException. All functions throw
/// ResultException with result::NullPointer for null.
class QX_API Channels {
public:
    Channels() = delete;

    /// A channel that reads from @p in and writes to @p out; also a pcom::IQXChannel, which has no
    /// inheritable name.
    static Reference<IChannel> adaptStreams(InputStream* in, OutputStream* out);
    /// The same with an inheritable name, which is none when it is empty.
    static Reference<IInheritableChannel> adaptStreams(InputStream* in, OutputStream* out,
                                                       const String& name);
    /// A component channel for callers of the class level.
    static Reference<IChannel> adaptPcomChannel(pcom::IQXChannel* channel);
    /// The same for a component that has an inheritable name.
    /// @throws ResultException with the component's result when it does not tell one
    static Reference<IInheritableChannel> adaptPcomWithInheritance(pcom::IQXChannel* channel);
};

} // namespace qx::io
