#include "qx/io/LockingChannel.h"

#include <qx/io/detail/ChannelSteps.h>
#include <qx/platform/sync.h>

namespace qx::io {

namespace {

bool isNamed(const char* name) noexcept { return name && *name; }

} // namespace

LockingChannel::LockingChannel(IChannel* channel, const char* mutexName)
    : m_channel(required(channel)),
      m_mutex(isNamed(mutexName) ? mutexName : nullptr, isNamed(mutexName) ? QX_SYNC_SHARED : 0) {}

void LockingChannel::wait() { m_mutex.wait(); }

bool LockingChannel::tryWait() { return m_mutex.tryWait(); }

void LockingChannel::signal() { m_mutex.signal(); }

bool LockingChannel::acquiredFromDead() const { return m_mutex.acquiredFromDead(); }

int LockingChannel::read(ByteBuffer& buffer) { return m_channel->read(buffer); }

int LockingChannel::write(ByteBuffer& buffer) { return m_channel->write(buffer); }

} // namespace qx::io
