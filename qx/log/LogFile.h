#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include <qx/core/String.h>
#include <qx/io/FileHandle.h>
#include <qx/io/OutputStream.h>
#include <qx/platform/export.h>
#include <qx/util/FileName.h>

namespace qx::log {

/// Settings of a LogFile.
struct LogFileOptions {
    /// Bytes that a file may have before the next one begins; 0 for any number.
    int64_t limit = 0;
    /// Full files that are kept, 1 at least.
    int kept = 5;
    /// A flush waits until the disk has what was written, so that it outlives a crash of the system
    /// as well. Without it the system has it, which the end of the process cannot change.
    bool waitsForDisk = false;
};

/// The file that a log of lines goes to. It is written at its end, and when the limit is reached,
/// it becomes "name.1", the one that was called so before "name.2" and so on, and a new file
/// begins. A line never lies in two files; the last line of a file may go beyond the limit when it
/// is longer than that or was written in parts.
///
///     auto file = qx::makeReference<LogFile>(u"app.log", LogFileOptions{.limit = 10 << 20});
///     logger->setProcessor(LineLogWriter::create(file));
///
/// Every write goes to the system at once. Whenever the process is killed, what was written is in
/// one of the files; a line that was cut by that is ended when the file is opened again.
///
/// A symbolic link stays one: the file that it leads to is renamed, beside itself. Devices, pipes
/// and whatever else is no regular file have no limit. A relative name is one in the folder that
/// the process was in when it made the object, if that folder has a name by which it can be found.
///
/// A file that cannot be renamed or opened anew costs no entry: what comes is written to the
/// present one, beyond the limit, until a later attempt succeeds. The counts tell of it. Such a
/// file is also one that a link leads to but that has no name which could be found, as of a
/// standard output. The new file is made as "name.0" before anything is renamed; a file of that
/// name which has any bytes is in the way.
///
/// When the disk loses something, it says so once. The next flush raises that, whichever file it
/// was, and so does every later one, since all of them are to make durable what is lost. That ends
/// when the file is opened anew by a request that comes after such a flush.
///
/// A write that fails is taken back where the system allows that, except for those of its lines
/// that went to a file which has become full. Whoever writes it again, as OutputStreamWriter does
/// with what is pending, loses none of it and may have these twice.
///
/// Programs that rename log files themselves ask for the file to be opened anew by the name, most
/// often with SIGHUP. That happens at the next write.
///
/// Writing, flushing and closing are for one thread at a time, as they are behind a log writer; the
/// other members are for any. Several processes must not write to one name with a limit.
class QX_API LogFile : public io::OutputStream {
public:
    /// Opens the file, or creates it for its owner alone.
    /// @throws ResultException that names the file
    explicit LogFile(const util::FileName& name, const LogFileOptions& options = {});

    using OutputStream::write;
    void write(const signed char* from, int32_t length) override;
    void flush() override;
    void close() override;

    /// Has the file opened anew before the next write. Safe in a signal handler.
    void requestReopen() noexcept { m_asked.fetch_add(1, std::memory_order_relaxed); }
    /// The same for all files.
    static void requestReopenOfAll() noexcept;
    /// Lets SIGHUP do that from now on, in the place of what the program did at it.
    /// @throws ResultException
    static void reopenAllOnHangup();

    /// How many files have become full; how often one could not be renamed, opened anew or, until
    /// flushes succeed again, made durable; the result code of the first such failure, result::Ok
    /// when there was none.
    uint64_t getRotatedCount() const noexcept { return m_rotated; }
    uint64_t getFailedCount() const noexcept { return m_failed; }
    int32_t getFirstFailure() const noexcept { return m_firstFailure; }

private:
    struct Opened {
        io::FileHandle file;
        int64_t size = 0;
        bool isLineCut = false;
    };

    void open();
    Opened openFile(const std::string& path) const;
    Opened openNext() const;
    std::string targetOf(QXHandle file) const;
    void take(Opened opened) noexcept;
    uint32_t requests() const noexcept;
    void reopenWhenAsked();
    int32_t countFitting(const signed char* from, int32_t length);
    bool tryRotate();
    void rotate();
    void renameAll();
    bool exists(int number) const;
    void rename(int from, int to) const;
    std::string pathOf(int number) const;
    String nameOf(int number) const;
    void writeAll(const signed char* from, int32_t length);
    int32_t flushName() noexcept;
    int32_t sync() noexcept;
    void countFailure(int32_t result) noexcept;

    const String m_name;
    const std::string m_path; ///< for the system, whatever becomes of locale and folder
    const LogFileOptions m_options;
    std::string m_target; ///< the path of the present file, without links; empty when not known
    io::FileHandle m_file;
    int64_t m_size = 0;
    int64_t m_bound = 0; ///< where to begin the next file; beyond the limit after a failure
    int64_t m_reopenAt = INT64_MAX; ///< the size from which on to try a failed reopening again
    bool m_isLineEnd = true;        ///< a line may begin here
    bool m_isLineCut = false;       ///< by a failure
    int32_t m_lost = 0;             ///< why something may not be on the disk; else not negative
    bool m_isLossTold = false;      ///< by a flush
    bool m_isNameFlushed = true;    ///< the disk has the name of the file
    uint32_t m_told = 0;            ///< the requests before that flush
    uint32_t m_followed;            ///< the requests that were followed
    std::atomic<uint32_t> m_asked{0};
    std::atomic<uint64_t> m_rotated{0};
    std::atomic<uint64_t> m_failed{0};
    std::atomic<int32_t> m_firstFailure{0};
};

} // namespace qx::log
