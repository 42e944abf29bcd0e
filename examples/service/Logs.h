#pragma once

#include <string>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/HeldFlushWriter.h>
#include <qx/log/AsyncProcessor.h>
#include <qx/log/ILogProcessor.h>
#include <qx/log/LogFile.h>

#include "FolderLock.h"
#include "Protocol.h"

namespace collector {

/// Two logs of everything behind one worker thread: service.log, lines that go on from one run of
/// the service to the next and may be renamed by others who then send SIGHUP, and service-N.xml, a
/// document for each run. That one SIGHUP does not concern: a document has one beginning and one
/// end, and goes on under whatever name it has been given. They are complete when the object is
/// gone; a document of a run that was killed lacks its end.
///
/// Any thread may call the members.
class Logs {
public:
    /// @param level    lowest level in the plain-text log
    /// @param largest  bytes that it may have before a new one begins; 0 for any number
    /// @throws UsageFailure when another service writes there; qx::Exception or std::runtime_error
    ///     when they cannot be written
    Logs(const qx::String& folder, int32_t level, int32_t largest);

    /// Queues a message, which is stored when a later store says so. False when it cannot be.
    /// @param peer  who has sent it
    bool add(const Message& message, const qx::String& peer) noexcept;

    /// Waits until all that was queued before is on the disk. One such wait serves all who wait at
    /// the same time. False when something could not be written, and for ever after: there is no
    /// telling any more what the disk has.
    bool store() noexcept;

    bool hasFailed() const { return m_queue->getFailedCount() != 0; }
    /// Why it has.
    std::string failure() const;

    /// Has service.log opened anew before its next line. For one thread, as the next one.
    void reopen();
    /// Why it could not be opened anew, or renamed when it was full, the first time ever. Empty
    /// when it could, and when that was told since the last time that it could or reopen was
    /// called. Nothing is lost then: it goes on as it is, until it can.
    std::string takeRenewalFailure();

    /// Where loggers of the service itself write to.
    qx::Reference<qx::log::ILogProcessor> processor() const { return m_queue; }

    /// Ends both logs, when no logger writes to them any more; nothing else may be called after it.
    /// @throws qx::Exception when their ends cannot be written
    void close();

private:
    FolderLock m_lock;
    const qx::Reference<qx::log::LogFile> m_file;
    uint64_t m_failedBefore = 0; ///< of the file, when it was last looked at, as m_rotatedBefore
    uint64_t m_rotatedBefore = 0;
    bool m_isFailureTold = false;
    qx::Reference<qx::io::HeldFlushWriter> m_plain;
    qx::Reference<qx::io::HeldFlushWriter> m_xml;
    qx::Reference<qx::log::AsyncProcessor> m_queue;
};

} // namespace collector
