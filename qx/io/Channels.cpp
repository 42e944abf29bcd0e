#include "qx/io/Channels.h"

#include <qx/core/String.h>
#include <qx/io/detail/IoStreamChannel.h>
#include <qx/io/detail/PcomChannel.h>

namespace qx::io {

Reference<IChannel> Channels::adaptStreams(InputStream* in, OutputStream* out) {
    return adaptStreams(in, out, String());
}

Reference<IInheritableChannel> Channels::adaptStreams(InputStream* in, OutputStream* out,
                                                      const String& name) {
    return makeReference<detail::IoStreamChannel>(in, out, name);
}

Reference<IChannel> Channels::adaptPcomChannel(pcom::IQXChannel* channel) {
    return makeReference<detail::PcomChannel>(channel);
}

Reference<IInheritableChannel> Channels::adaptPcomWithInheritance(pcom::IQXChannel* channel) {
    auto adapted = makeReference<detail::PcomChannel>(channel);
    adapted->getInheritableName(); // throws unless there is one
    return adapted;
}

} // namespace qx::io
