#pragma once

#include <cstdint>

#include <qx/core/String.h>
#include <qx/io/FileHandle.h>
#include <qx/io/InputStream.h>
#include <qx/platform/export.h>
#include <qx/util/FileName.h>

namespace qx::util {
class FilePath;
}

namespace qx::io {

/// Reads a file, a pipe or whatever else a handle stands for. Every block read is one read of the
/// system, and a length of 0 gives -1. Failures raise ResultException with the platform's code and
/// the name of the file.
class QX_API FileInputStream : public InputStream {
public:
    /// @throws InvalidPathException for a name with a 0 unit in it
    explicit FileInputStream(const util::FilePath& name);
    explicit FileInputStream(const String& name);
    /// The same for a path of the standard library, a view, and UTF-8.
    explicit FileInputStream(const util::OtherFileName auto& name)
        : FileInputStream(util::FileName(name).toString()) {}
    /// @param owns  true to close the handle with the stream
    FileInputStream(uint64_t handle, bool owns) noexcept : m_file(handle, owns) {}

    using InputStream::read;
    int32_t read(signed char* to, int32_t length) override;
    /// Moves on and reads but the last byte where the place in a file can be moved; else, and in a
    /// derived class, reads all with the block read and drops it.
    int32_t skip(int32_t count) override;
    /// What is left of a file, what waits in a pipe, socket or terminal; 0 where it cannot be
    /// known.
    int32_t available() override;
    /// Closes a handle that the stream owns; a second close does nothing.
    void close() override;

    /// All ones once closed.
    uint64_t getHandle() const noexcept { return m_file.get(); }

private:
    int32_t skipWithin(int32_t count);

    String m_name; // empty for a handle
    FileHandle m_file;
};

} // namespace qx::io

using CQXFileInputStream = qx::io::FileInputStream;
