#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/FileHandle.h>
#include <qx/io/OutputStream.h>
#include <qx/ipc/SemaphoreR.h>
#include <qx/platform/export.h>
#include <qx/sync/Mutex.h>
#include <qx/util/FileName.h>

namespace qx::util {
class FilePath;
}

namespace qx::io {

/// Permission bits of a file that is created, of which the umask takes its away: one of these, or
/// any other number up to 0777 as FilePermissions(0640).
enum class FilePermissions : uint32_t {
    AllForOwner = 0700,   ///< what files get that nobody names permissions for
    OwnerOnly = 0600,     ///< its owner may read and write it
    OthersMayRead = 0644, ///< and everybody else read it
    ForAll = 0666,        ///< as the umask says
};

/// Writes a file, a pipe or whatever else a handle stands for. A file that does not exist is
/// created so that only its owner can use it. Failures raise ResultException with the platform's
/// code; bytes that were written before stay written. A write that fails in the middle, as on a
/// full disk, takes back what it has put at the end of a file that the stream has opened, so that
/// it can be repeated; not what somebody else has written behind, nor what a pipe has taken.
///
///     qx::io::FileOutputStream log(qx::String(u"events.log"), FileOutputStream::APPEND);
///     log.write("started\n", 8);
///     log.flush(); // now it is on the disk
///
/// Nothing is held back: every write goes to the system at once, so wrap a BufferedOutputStream
/// around it for small pieces. The modes are bits that can be combined; without ATEND, APPEND and
/// TRUNC writing begins at the start of what is there. A relative name is one in the folder that
/// the process was in when it made the stream, also when the file is opened again, if that folder
/// has a name by which it can be found.
///
/// Used by one thread at a time, except in the modes that say otherwise.
class QX_API FileOutputStream : public OutputStream {
public:
    /// Starts at the end of an existing file.
    static constexpr unsigned int ATEND = 1;
    /// Moves to the end of the file before every write, whoever else writes to it meanwhile:
    /// streams in this mode never write over each other. Writes of all streams in this mode or
    /// LOCK, in whatever process, that were given the same name never interleave. Their lock is an
    /// ipc::SemaphoreR of that name, with slashes for backslashes: whoever holds an object of his
    /// own by that name waits for himself, or cannot have it.
    static constexpr unsigned int APPEND = 2;
    /// Empties the file on the first open.
    static constexpr unsigned int TRUNC = 4;
    /// Keeps the file closed between operations: each write opens it, makes the bytes durable and
    /// closes it. Any thread may use the stream.
    static constexpr unsigned int KEEPCLOSED = 8;
    /// Serialises writes as APPEND does, without moving to the end.
    static constexpr unsigned int LOCK = 16;
    /// A flush does not wait for the disk. What was written is then with the system: other programs
    /// see it, and it survives the end of this one, but not a power cut. For streams that are
    /// flushed often; sync waits. With KEEPCLOSED a write does not wait either.
    static constexpr unsigned int NOSYNC = 32;

    /// @throws InvalidPathException for an empty name and one with a 0 unit in it
    FileOutputStream(const util::FilePath& name, unsigned int mode);
    FileOutputStream(const String& name, unsigned int mode);
    /// @param permissions  of a file that is created; one that is there keeps its own
    FileOutputStream(const String& name, unsigned int mode, FilePermissions permissions);
    FileOutputStream(const util::OtherFileName auto& name, unsigned int mode,
                     FilePermissions permissions)
        : FileOutputStream(util::FileName(name).toString(), mode, permissions) {}
    /// ATEND when @p append, else TRUNC.
    FileOutputStream(const util::FilePath& name, bool append);
    FileOutputStream(const String& name, bool append);
    /// The same for a path of the standard library, a view, and UTF-8.
    FileOutputStream(const util::OtherFileName auto& name, unsigned int mode)
        : FileOutputStream(util::FileName(name).toString(), mode) {}
    FileOutputStream(const util::OtherFileName auto& name, bool append)
        : FileOutputStream(util::FileName(name).toString(), append) {}
    /// Refuses a mode of the C library ("w"), which would be a true @p append.
    template <class Name, class T>
    FileOutputStream(const Name& name, T* mode) = delete;
    /// @param owns  true to close the handle with the stream
    FileOutputStream(uint64_t handle, bool owns) noexcept : m_file(handle, owns) {}

    using OutputStream::write;
    /// Goes on after short writes until everything is written.
    void write(const signed char* from, int32_t length) override;
    /// Makes what was written durable, unless the mode is NOSYNC; with KEEPCLOSED the file is
    /// closed afterwards, also when that failed. When it has failed once, bytes may be lost, and so
    /// every later flush and sync of the open file raises that failure.
    void flush() override;
    /// Makes what was written durable in every mode. Does nothing when the file is closed, except
    /// with KEEPCLOSED, which opens it for this.
    void sync();
    /// Closes a handle that the stream owns. A failure is not reported.
    void close() override;

    /// 1 while a handle is open, else 0.
    virtual int16_t is_open() const;
    /// Opens a closed file again, without TRUNC; does nothing when it is open.
    /// @throws InvalidPathException for a stream without a name
    virtual void open();
    /// Size of the file in bytes.
    virtual int64_t getSize();

    /// Takes and releases the lock between processes of APPEND and LOCK, to hold it over several
    /// writes. Calls of one thread nest. Does nothing in other modes.
    void wait();
    void signal();

    /// All ones while closed.
    uint64_t getHandle() const;
    unsigned int getMode() const noexcept { return m_mode; }

protected:
    /// Closes the stream for a derived class that knows who owns the handle and will close it.
    void forgetHandle() noexcept { m_file = FileHandle(); }

private:
    class ClosedAfter;

    void init();
    void openFile(bool truncate);
    void requireName() const;
    bool keepsClosed() const noexcept { return (m_mode & KEEPCLOSED) != 0; }
    std::unique_lock<sync::Mutex> exclusive() const;
    void writeAll(const signed char* from, int32_t length);

    String m_name;
    std::string m_path; ///< for the system, which files are opened by again
    FileHandle m_file;
    unsigned int m_mode = 0;
    FilePermissions m_permissions = FilePermissions::AllForOwner;
    Reference<ipc::SemaphoreR> m_semaphore; // with APPEND or LOCK
    Reference<sync::Mutex> m_mutex;         // with APPEND, LOCK or KEEPCLOSED
};

} // namespace qx::io

using CQXFileOutputStream = qx::io::FileOutputStream;
